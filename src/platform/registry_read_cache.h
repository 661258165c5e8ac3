// A per-connection cache of value reads from a registry hive that is never stale, whichever
// process wrote last.
//
// The hive is a SQLite database in WAL mode. Every process that commits to it rewrites the
// header of the database's shared-memory wal-index (the "-shm" file every connection maps):
// its change counter, its last frame and the checksum over them. That header is therefore a
// stamp of the database's state as every connection sees it, readable with a few loads
// instead of a read transaction (which costs file locks, microseconds). A value read between
// two equal stamps is the value at that stamp, and stays valid while the stamp does not
// change. When the stamp cannot be read (another journal mode, a header being rewritten, a
// layout this code does not know), nothing is cached and every read goes to SQLite.
//
// Not thread-safe: the hive calls it under its own lock.
#ifndef TLVUTL_PLATFORM_REGISTRY_READ_CACHE_H
#define TLVUTL_PLATFORM_REGISTRY_READ_CACHE_H

#include <tlvutl/wintypes.h>

#include <array>
#include <cstdint>
#include <string>
#include <unordered_map>

struct sqlite3;

namespace tlv::platform {

class RegistryReadCache {
public:
    // The two copies of the wal-index header, as SQLite writes them.
    using Stamp = std::array<std::uint32_t, 12>;

    // The current stamp of db (the same connection every time); false when it cannot be
    // known now.
    bool ReadStamp(sqlite3* db, Stamp& out);
    // The value of name (folded) in key as cached at stamp now; false when not cached.
    bool Find(const Stamp& now, std::int64_t key, const std::string& fold, DWORD& type,
              std::string& data);
    // Remembers a value read between two reads of the stamp that both gave at.
    void Put(const Stamp& at, std::int64_t key, const std::string& fold, DWORD type,
             const std::string& data);
    // Drops every entry (this process's own writes; the stamp would tell too).
    void Clear() { entries_.clear(); }

private:
    struct Entry {
        DWORD type;
        std::string data;
    };
    bool MapHeader(sqlite3* db);

    int state_ = 0; // 0 not tried yet, 1 mapped, -1 unusable for good
    const volatile std::uint32_t* header_ = nullptr;
    bool haveStamp_ = false;
    Stamp stamp_{};
    std::string probe_; // the look-up key, kept to spare an allocation per read
    // Key: the key's id in 8 bytes, then the folded name.
    std::unordered_map<std::string, Entry> entries_;
};

} // namespace tlv::platform

#endif
