#include <tlvutl/data_backup.h>

namespace TlvUtl {

WDataBackup::~WDataBackup() = default;

} // namespace TlvUtl
