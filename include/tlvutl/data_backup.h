// TlvUtl::WDataBackup: a saved copy of an object's data that the object can be restored
// from. The object that makes a backup defines what it holds; the caller owns the backup
// and deletes it, which releases whatever it holds (for example a temporary file).
#ifndef TLVUTL_DATA_BACKUP_H
#define TLVUTL_DATA_BACKUP_H

#include <tlvutl/export.h>

namespace TlvUtl {

// Base of the backups objects make of their data; delete one through this type.
class TLVUTL_API WDataBackup {
public:
    WDataBackup() = default;
    virtual ~WDataBackup();
    WDataBackup(const WDataBackup&) = delete;
    WDataBackup& operator=(const WDataBackup&) = delete;
};

} // namespace TlvUtl

#endif
