// One hive of the registry store: a database file holding the keys and values of one
// predefined root.
//
// Keys are rows addressed by a numeric id that is never reused, so a handle can resolve its
// path once at open and keep the id; the root key of every hive has kRootKey. Names are
// compared by their upper-case form and keep the case they were created with. Each write is
// one transaction, committed durably before the call returns; readers see the last committed
// state, also of other processes. Value data is kept byte for byte: the caller decides how
// text is encoded. All members are thread-safe; statuses are Win32 ones.
#ifndef TLVUTL_PLATFORM_REGISTRY_STORE_H
#define TLVUTL_PLATFORM_REGISTRY_STORE_H

#include <tlvutl/wintypes.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tlv::platform {

using RegKeyId = std::int64_t;
constexpr RegKeyId kRootKey = 1;

// A path below a key, one name per level.
using RegPath = std::vector<std::wstring>;

// Remembers where the last enumeration step of one handle stood, so that walking indices
// 0, 1, 2, ... costs one index step each instead of a scan from the start.
struct RegEnumCursor {
    const void* hive = nullptr;
    RegKeyId key = 0;
    DWORD index = 0;
    std::uint64_t stamp = 0;
    std::string fold;     // sub-keys continue after this folded name
    std::int64_t row = 0; // values continue after this row
};

struct RegKeyInfo {
    std::wstring className;
    DWORD subKeys = 0;
    DWORD maxSubKeyLength = 0; // in characters
    DWORD maxClassLength = 0;
    DWORD values = 0;
    DWORD maxValueNameLength = 0;
    DWORD maxValueBytes = 0;
    std::int64_t lastWrite = 0; // FILETIME ticks
};

// One change of an import batch; paths are relative to the root key.
struct RegChange {
    enum class Kind { CreateKey, DeleteTree, SetValue, DeleteValue };
    Kind kind = Kind::CreateKey;
    RegPath path;
    std::wstring name;
    DWORD type = 0;
    std::string data;
};

class RegistryHive {
public:
    // Opens the database, creating it with its schema when the file is new or empty; several
    // processes may do so at once, each waits for the others. A file that is damaged or holds
    // something else is left untouched: null with ERROR_BADDB. A hive that has met damage
    // refuses every later write with ERROR_BADDB, and its first write checks the file first.
    static std::unique_ptr<RegistryHive> Open(const std::string& file, LONG& status);
    ~RegistryHive();
    RegistryHive(const RegistryHive&) = delete;
    RegistryHive& operator=(const RegistryHive&) = delete;

    LONG OpenKey(RegKeyId from, const RegPath& path, RegKeyId& id);
    // created tells whether the last level was made by this call.
    LONG CreateKey(RegKeyId from, const RegPath& path, const std::wstring& className, RegKeyId& id,
                   bool& created);
    // The key must have no sub-keys; an empty path deletes from itself.
    LONG DeleteKey(RegKeyId from, const RegPath& path);

    LONG QueryValue(RegKeyId key, std::wstring_view name, DWORD& type, std::string& data);
    LONG SetValue(RegKeyId key, std::wstring_view name, DWORD type, std::string_view data);
    LONG DeleteValue(RegKeyId key, std::wstring_view name);

    LONG EnumKey(RegKeyId key, DWORD index, RegEnumCursor& cursor, std::wstring& name,
                 std::wstring& className, std::int64_t& lastWrite);
    LONG EnumValue(RegKeyId key, DWORD index, RegEnumCursor& cursor, std::wstring& name,
                   DWORD& type, std::string& data);
    LONG QueryInfo(RegKeyId key, RegKeyInfo& info);

    // All changes in one transaction: either every one is made or none.
    LONG Apply(const std::vector<RegChange>& changes);

    // Changes to several hives (each at most once, given in the same order by every caller):
    // all are made before any is committed, so a failing change leaves every hive untouched.
    struct Batch {
        RegistryHive* hive;
        const std::vector<RegChange>* changes;
    };
    static LONG ApplyTogether(const std::vector<Batch>& batches);

    struct Impl;

private:
    explicit RegistryHive(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

// Checks a hive's database file through and through without changing it: ERROR_SUCCESS when
// sound, ERROR_BADDB with what is wrong in problems, ERROR_FILE_NOT_FOUND when there is none
// or it is still empty.
LONG CheckRegistryHiveFile(const std::string& file, std::vector<std::string>& problems);

// The comparison form of a name: upper case by the invariant simple mapping, as the
// registry compares names.
std::wstring FoldRegistryName(std::wstring_view name);

} // namespace tlv::platform

#endif
