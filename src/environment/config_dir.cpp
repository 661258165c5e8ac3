#include "config_dir.h"

namespace tlv::environment {

// The registry store is not part of the library yet: no installation is recorded, so the
// installation paths stay relative until a root is set with TlvUtl::SetFolderRoot.
std::wstring ReadConfigDir(const std::wstring&) {
    return {};
}

} // namespace tlv::environment
