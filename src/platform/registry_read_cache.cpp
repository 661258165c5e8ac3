#include "registry_read_cache.h"

#include <sqlite3.h>

#include <atomic>
#include <cstring>

namespace tlv::platform {
namespace {

// The wal-index header: 48 bytes, written twice (the second copy first, then a barrier, then
// the first copy) so that a reader can tell a torn read. Its first word is the version of the
// layout, its fourth word's low byte says whether the header has been built.
constexpr std::size_t kHeaderWords = 12;
constexpr std::uint32_t kWalIndexVersion = 3007000;
constexpr int kRegionSize = 32768;
// Enough for the settings an application reads over and over; beyond it the cache starts
// afresh rather than growing without bound.
constexpr std::size_t kMaxEntries = 4096;

} // namespace

bool RegistryReadCache::MapHeader(sqlite3* db) {
    state_ = -1;
    // Only a WAL database has the shared header (asking before mapping keeps a database in
    // another mode from getting a "-shm" file it does not use).
    sqlite3_stmt* s = nullptr;
    bool wal = false;
    if (sqlite3_prepare_v2(db, "PRAGMA journal_mode", -1, &s, nullptr) == SQLITE_OK &&
        sqlite3_step(s) == SQLITE_ROW) {
        const unsigned char* mode = sqlite3_column_text(s, 0);
        wal = mode && std::strcmp(reinterpret_cast<const char*>(mode), "wal") == 0;
    }
    sqlite3_finalize(s);
    sqlite3_file* file = nullptr;
    if (!wal || sqlite3_file_control(db, "main", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK ||
        !file || !file->pMethods || file->pMethods->iVersion < 2 || !file->pMethods->xShmMap)
        return false;
    volatile void* region = nullptr;
    if (file->pMethods->xShmMap(file, 0, kRegionSize, 0, &region) != SQLITE_OK)
        return false;
    if (!region) {
        state_ = 0; // not built yet: the next read tries again
        return false;
    }
    header_ = static_cast<const volatile std::uint32_t*>(region);
    state_ = 1;
    return true;
}

bool RegistryReadCache::ReadStamp(sqlite3* db, Stamp& out) {
    if (state_ == 0)
        MapHeader(db);
    if (state_ != 1)
        return false;
    std::uint32_t second[kHeaderWords];
    for (std::size_t i = 0; i < kHeaderWords; ++i)
        out[i] = header_[i];
    std::atomic_thread_fence(std::memory_order_acquire);
    for (std::size_t i = 0; i < kHeaderWords; ++i)
        second[i] = header_[kHeaderWords + i];
    if (std::memcmp(out.data(), second, sizeof second) != 0)
        return false; // being rewritten
    if (out[0] != kWalIndexVersion) {
        state_ = -1; // a layout this code does not know: never cache
        return false;
    }
    return (out[3] & 0xFF) != 0; // isInit
}

bool RegistryReadCache::Find(const Stamp& now, std::int64_t key, const std::string& fold,
                             DWORD& type, std::string& data) {
    if (!haveStamp_ || now != stamp_) {
        entries_.clear();
        stamp_ = now;
        haveStamp_ = true;
        return false;
    }
    probe_.assign(reinterpret_cast<const char*>(&key), sizeof key);
    probe_ += fold;
    const auto it = entries_.find(probe_);
    if (it == entries_.end())
        return false;
    type = it->second.type;
    data = it->second.data;
    return true;
}

void RegistryReadCache::Put(const Stamp& at, std::int64_t key, const std::string& fold, DWORD type,
                            const std::string& data) {
    if (!haveStamp_ || at != stamp_)
        return;
    if (entries_.size() >= kMaxEntries)
        entries_.clear();
    std::string k(reinterpret_cast<const char*>(&key), sizeof key);
    k += fold;
    entries_[std::move(k)] = Entry{type, data};
}

} // namespace tlv::platform
