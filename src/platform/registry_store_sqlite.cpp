#include "core/case_fold.h"
#include "file_system.h"
#include "registry_raw.h"
#include "registry_read_cache.h"
#include "registry_store.h"

#include <tlvutl/encoding.h>

#include <tlvutl/registry.h>

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <locale.h>
#include <mutex>
#include <thread>
#include <wctype.h>

namespace tlv::platform {
namespace {

// Marks a database as a registry hive ("TLVR"), so that a foreign SQLite file placed in the
// registry folder is reported and left alone instead of being taken over.
constexpr int kApplicationId = 0x544C5652;
constexpr int kSchemaVersion = 1;
constexpr std::size_t kMaxKeyNameLength = 255;
constexpr std::size_t kMaxValueNameLength = 16383;
// Another process holds the write lock for one commit at a time; waiting this long means it
// is stuck, and the caller is better served by an error than by a hang.
constexpr int kBusyTimeoutMs = 10000;

// Names are kept in the database as WTF-8 (TlvUtils::ToWtf8), so that any wchar_t name
// comes back exactly as it was given, lone surrogate halves included.
std::string NameBytes(std::wstring_view name) {
    return TlvUtils::ToWtf8(name);
}

std::wstring NameFromBytes(const unsigned char* s, int n) {
    return TlvUtils::FromWtf8(std::string_view(reinterpret_cast<const char*>(s),
                                               static_cast<std::size_t>(n > 0 ? n : 0)));
}

// Names are kept with their case and found by their upper-case form, as the registry
// compares them.
std::string FoldBytes(std::wstring_view name) {
    return TlvUtils::ToWtf8(tlv::core::FoldUpper(name));
}

std::int64_t NowFileTime() {
    using namespace std::chrono;
    const auto since1970 =
        duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count() / 100;
    return since1970 + 116444736000000000LL;
}

// Set by StatusOf when SQLite reports a damaged file, so that the hive whose call saw it can
// stop writing (see Impl::Watch).
thread_local bool t_sawDamage = false;

LONG StatusOf(int rc) {
    switch (rc & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
        return ERROR_SUCCESS;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return ERROR_BUSY;
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
        t_sawDamage = true;
        return ERROR_BADDB;
    case SQLITE_FORMAT:
    case SQLITE_SCHEMA:
    case SQLITE_ERROR: // a statement that does not fit the file's tables
        return ERROR_BADDB;
    case SQLITE_FULL:
        return ERROR_DISK_FULL;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return ERROR_ACCESS_DENIED;
    case SQLITE_NOMEM:
        return ERROR_OUTOFMEMORY;
    case SQLITE_TOOBIG:
    case SQLITE_RANGE:
        return ERROR_INVALID_PARAMETER;
    default:
        return ERROR_REGISTRY_IO_FAILED;
    }
}

// Short naps first: the write lock is held for one commit, well under a millisecond, and two
// writers taking turns should not pay a scheduler tick each.
int BusyWait(void*, int count) {
    constexpr int kRamp = 6; // 50 µs doubling up to 1.6 ms, then 2 ms steps
    constexpr int kSteps = kRamp + kBusyTimeoutMs / 2;
    if (count >= kSteps)
        return 0;
    const int us = count < kRamp ? 50 << count : 2000;
    std::this_thread::sleep_for(std::chrono::microseconds(us));
    return 1;
}

enum Stmt {
    kFindChild,
    kKeyExists,
    kParentOf,
    kInsertKey,
    kTouchKey,
    kHasChildren,
    kDeleteKeyValues,
    kDeleteKeyRow,
    kDeleteTreeValues,
    kDeleteTreeKeys,
    kGetValue,
    kSetValue,
    kDeleteValue,
    kEnumKeyAt,
    kEnumKeyAfter,
    kEnumValueAt,
    kEnumValueAfter,
    kKeyInfo,
    kSubKeyStats,
    kValueStats,
    kDataVersion,
    kBeginWrite,
    kCommit,
    kRollback,
    kStmtCount
};

// The enumeration orders rely on the indexes: sub-keys by (parent, fold), values by their
// row number within the key (the order they were first set; an update keeps the row).
const char* const kSql[kStmtCount] = {
    "SELECT id FROM keys WHERE parent=?1 AND fold=?2",
    "SELECT 1 FROM keys WHERE id=?1",
    "SELECT parent FROM keys WHERE id=?1",
    "INSERT INTO keys(parent,name,fold,class,written) VALUES(?1,?2,?3,?4,?5)",
    "UPDATE keys SET written=?2 WHERE id=?1",
    "SELECT 1 FROM keys WHERE parent=?1 LIMIT 1",
    "DELETE FROM vals WHERE key=?1",
    "DELETE FROM keys WHERE id=?1",
    "WITH RECURSIVE t(id) AS (SELECT ?1 UNION ALL SELECT k.id FROM keys k JOIN t ON "
    "k.parent=t.id) DELETE FROM vals WHERE key IN t",
    "WITH RECURSIVE t(id) AS (SELECT ?1 UNION ALL SELECT k.id FROM keys k JOIN t ON "
    "k.parent=t.id) DELETE FROM keys WHERE id IN t",
    "SELECT type,data FROM vals WHERE key=?1 AND fold=?2",
    "INSERT INTO vals(key,name,fold,type,data) VALUES(?1,?2,?3,?4,?5) "
    "ON CONFLICT(key,fold) DO UPDATE SET type=excluded.type,data=excluded.data",
    "DELETE FROM vals WHERE key=?1 AND fold=?2",
    "SELECT name,class,written,fold FROM keys WHERE parent=?1 ORDER BY fold LIMIT 1 OFFSET ?2",
    "SELECT name,class,written,fold FROM keys WHERE parent=?1 AND fold>?2 ORDER BY fold LIMIT 1",
    "SELECT name,type,data,id FROM vals INDEXED BY vals_by_key WHERE key=?1 ORDER BY id "
    "LIMIT 1 OFFSET ?2",
    "SELECT name,type,data,id FROM vals INDEXED BY vals_by_key WHERE key=?1 AND id>?2 "
    "ORDER BY id LIMIT 1",
    "SELECT class,written FROM keys WHERE id=?1",
    "SELECT count(*),ifnull(max(length(name)),0),ifnull(max(length(class)),0) FROM keys "
    "WHERE parent=?1",
    "SELECT count(*),ifnull(max(length(name)),0),ifnull(max(length(data)),0) FROM vals "
    "WHERE key=?1",
    "PRAGMA data_version",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
};

const char kSchema[] = "CREATE TABLE keys("
                       " id INTEGER PRIMARY KEY AUTOINCREMENT,"
                       " parent INTEGER NOT NULL,"
                       " name TEXT NOT NULL,"
                       " fold TEXT NOT NULL,"
                       " class TEXT NOT NULL DEFAULT '',"
                       " written INTEGER NOT NULL,"
                       " UNIQUE(parent,fold));"
                       "CREATE TABLE vals("
                       " id INTEGER PRIMARY KEY,"
                       " key INTEGER NOT NULL,"
                       " name TEXT NOT NULL,"
                       " fold TEXT NOT NULL,"
                       " type INTEGER NOT NULL,"
                       " data BLOB NOT NULL,"
                       " UNIQUE(key,fold));"
                       "CREATE INDEX vals_by_key ON vals(key);";

// Resets a statement when the step that used it is done, whatever the way out.
class Use {
public:
    explicit Use(sqlite3_stmt* s) : s_(s) {}
    ~Use() { sqlite3_reset(s_); }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    sqlite3_stmt* operator->() const { return s_; }
    operator sqlite3_stmt*() const { return s_; }

private:
    sqlite3_stmt* s_;
};

void BindText(sqlite3_stmt* s, int i, const std::string& text) {
    sqlite3_bind_text(s, i, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

std::wstring ColumnName(sqlite3_stmt* s, int i) {
    return NameFromBytes(sqlite3_column_text(s, i), sqlite3_column_bytes(s, i));
}

bool HeaderLooksRight(const std::string& file) {
    File in;
    if (in.Open(WidePath(file), File::Mode::kRead))
        return true; // missing: SQLite creates it
    char head[16] = {};
    std::size_t got = 0;
    in.Read(head, sizeof head, got);
    return got == 0 || (got == 16 && std::memcmp(head, "SQLite format 3", 16) == 0);
}

// A process creating the store writes the header while we read it, and a read racing that
// write may see part of it: a mismatch is looked at again before the file is called foreign.
bool LooksLikeDatabase(const std::string& file) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        if (HeaderLooksRight(file))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return false;
}

bool Transient(int rc) {
    return (rc & 0xFF) == SQLITE_BUSY || (rc & 0xFF) == SQLITE_LOCKED;
}

} // namespace

std::wstring FoldRegistryName(std::wstring_view name) {
    return tlv::core::FoldUpper(name);
}

struct RegistryHive::Impl {
    sqlite3* db = nullptr;
    sqlite3_stmt* st[kStmtCount] = {};
    std::mutex m;
    std::uint64_t ownCommits = 0;
    // Once any call has met damage, or the check before the first write found some, the
    // file is only read: writing into a damaged b-tree spreads the damage.
    bool damaged = false;
    bool checked = false;

    // Records damage met by the calls made while it lives (under m).
    class Watch {
    public:
        explicit Watch(Impl& h) : h_(h) { t_sawDamage = false; }
        ~Watch() {
            if (t_sawDamage)
                h_.damaged = true;
        }
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;

    private:
        Impl& h_;
    };

    RegistryReadCache reads;

    ~Impl() {
        for (sqlite3_stmt* s : st)
            sqlite3_finalize(s);
        sqlite3_close_v2(db);
    }

    int Exec(const char* sql) { return sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }

    // Runs a statement and keeps the first column of its first row as text.
    int QueryText(const char* sql, std::string& value) {
        sqlite3_stmt* s = nullptr;
        int rc = sqlite3_prepare_v2(db, sql, -1, &s, nullptr);
        if (rc == SQLITE_OK) {
            rc = sqlite3_step(s);
            if (rc == SQLITE_ROW) {
                const auto* text = sqlite3_column_text(s, 0);
                value = text ? reinterpret_cast<const char*>(text) : "";
                rc = SQLITE_OK;
            } else if (rc == SQLITE_DONE) {
                rc = SQLITE_OK;
            }
        }
        sqlite3_finalize(s);
        return rc;
    }

    // What the file holds, read in one transaction so that a process creating the schema
    // meanwhile is seen either before or after.
    int ReadHeader(std::int64_t& appId, std::int64_t& tables, std::int64_t& version) {
        int rc = Exec("BEGIN");
        if (rc == SQLITE_OK)
            rc = QueryInt("PRAGMA application_id", appId);
        if (rc == SQLITE_OK)
            rc = QueryInt("SELECT count(*) FROM sqlite_schema", tables);
        if (rc == SQLITE_OK)
            rc = QueryInt("PRAGMA user_version", version);
        const int end = Exec(rc == SQLITE_OK ? "COMMIT" : "ROLLBACK");
        return rc == SQLITE_OK ? end : rc;
    }

    // The open-time steps; any of them may meet another process doing the same on a new
    // file, and then gives SQLITE_BUSY or SQLITE_LOCKED for the caller to try again.
    int Prepare() {
        std::int64_t appId = 0, tables = 0, version = 0;
        int rc = ReadHeader(appId, tables, version);
        if (rc != SQLITE_OK)
            return rc;
        // Only a file that is ours, or still empty, is touched further.
        if (appId != kApplicationId && (appId != 0 || tables != 0))
            return SQLITE_NOTADB;
        // WAL lets readers go on while another process writes; FULL syncs the log at every
        // commit, so an acknowledged write survives a crash of the machine, not only of the
        // process.
        std::string mode;
        rc = QueryText("PRAGMA journal_mode=WAL", mode);
        if (rc == SQLITE_OK && mode != "wal")
            rc = SQLITE_BUSY; // another connection kept the file from switching yet
        if (rc == SQLITE_OK)
            rc = Exec("PRAGMA synchronous=FULL");
        if (rc != SQLITE_OK)
            return rc;
        if (tables == 0) {
            // The schema is made and checked under the write lock: of two processes meeting
            // on a new file, the second finds it made.
            rc = Exec("BEGIN IMMEDIATE");
            if (rc == SQLITE_OK)
                rc = QueryInt("PRAGMA application_id", appId);
            if (rc == SQLITE_OK)
                rc = QueryInt("SELECT count(*) FROM sqlite_schema", tables);
            if (rc == SQLITE_OK && appId == 0 && tables == 0) {
                rc = Exec(kSchema);
                if (rc == SQLITE_OK) {
                    const std::string seed =
                        "INSERT INTO keys(id,parent,name,fold,written) VALUES(1,0,'',''," +
                        std::to_string(NowFileTime()) +
                        ");PRAGMA application_id=" + std::to_string(kApplicationId) +
                        ";PRAGMA user_version=" + std::to_string(kSchemaVersion) + ";";
                    rc = Exec(seed.c_str());
                }
            } else if (rc == SQLITE_OK && appId != kApplicationId) {
                rc = SQLITE_NOTADB;
            }
            if (rc == SQLITE_OK)
                rc = QueryInt("PRAGMA user_version", version);
            if (rc == SQLITE_OK)
                rc = Exec("COMMIT");
            if (rc != SQLITE_OK)
                Exec("ROLLBACK");
            if (rc != SQLITE_OK)
                return rc;
        }
        if (version != kSchemaVersion)
            return SQLITE_NOTADB; // made by another version of the store
        for (int i = 0; rc == SQLITE_OK && i < kStmtCount; ++i)
            rc = sqlite3_prepare_v3(db, kSql[i], -1, SQLITE_PREPARE_PERSISTENT, &st[i], nullptr);
        if (rc != SQLITE_OK)
            for (sqlite3_stmt*& s : st)
                sqlite3_finalize(s), s = nullptr;
        return rc;
    }

    // Runs a statement that yields at most one integer row.
    int QueryInt(const char* sql, std::int64_t& value) {
        sqlite3_stmt* s = nullptr;
        int rc = sqlite3_prepare_v2(db, sql, -1, &s, nullptr);
        if (rc == SQLITE_OK) {
            rc = sqlite3_step(s);
            if (rc == SQLITE_ROW)
                value = sqlite3_column_int64(s, 0), rc = SQLITE_OK;
            else if (rc == SQLITE_DONE)
                rc = SQLITE_OK;
        }
        sqlite3_finalize(s);
        return rc;
    }

    std::uint64_t Stamp() {
        Use s(st[kDataVersion]);
        const std::uint64_t other = sqlite3_step(s) == SQLITE_ROW
                                        ? static_cast<std::uint64_t>(sqlite3_column_int64(s, 0))
                                        : 0;
        return (other << 32) ^ ownCommits;
    }

    // One write transaction; rolled back unless committed.
    class Write {
    public:
        explicit Write(Impl& h) : h_(h) {
            if (h_.damaged) {
                status_ = ERROR_BADDB;
                return;
            }
            Use s(h_.st[kBeginWrite]);
            status_ = StatusOf(sqlite3_step(s));
            open_ = status_ == ERROR_SUCCESS;
            if (open_ && !h_.checked) {
                // The first write of this connection looks over the whole file once: damage
                // that no read has met yet must not be written into either.
                std::string verdict;
                const int rc = h_.QueryText("PRAGMA quick_check(1)", verdict);
                if (rc != SQLITE_OK || verdict != "ok") {
                    h_.damaged = h_.damaged || rc == SQLITE_OK || !Transient(rc);
                    status_ = rc == SQLITE_OK ? ERROR_BADDB : StatusOf(rc);
                    return; // the destructor rolls back
                }
                h_.checked = true;
            }
        }
        ~Write() {
            if (open_) {
                Use s(h_.st[kRollback]);
                sqlite3_step(s);
            }
        }
        Write(const Write&) = delete;
        Write& operator=(const Write&) = delete;
        LONG Status() const { return status_; }
        LONG Commit() {
            Use s(h_.st[kCommit]);
            const int rc = sqlite3_step(s);
            if (rc != SQLITE_DONE)
                return StatusOf(rc); // the destructor rolls back
            open_ = false;
            ++h_.ownCommits;
            return ERROR_SUCCESS;
        }

    private:
        Impl& h_;
        LONG status_;
        bool open_ = false;
    };

    LONG FindChild(RegKeyId parent, const std::wstring& name, RegKeyId& id) {
        if (name.size() > kMaxKeyNameLength)
            return ERROR_FILE_NOT_FOUND;
        const std::string fold = FoldBytes(name);
        Use s(st[kFindChild]);
        sqlite3_bind_int64(s, 1, parent);
        BindText(s, 2, fold);
        const int rc = sqlite3_step(s);
        if (rc == SQLITE_ROW) {
            id = sqlite3_column_int64(s, 0);
            return ERROR_SUCCESS;
        }
        return rc == SQLITE_DONE ? ERROR_FILE_NOT_FOUND : StatusOf(rc);
    }

    LONG KeyExists(RegKeyId id) {
        Use s(st[kKeyExists]);
        sqlite3_bind_int64(s, 1, id);
        const int rc = sqlite3_step(s);
        return rc == SQLITE_ROW    ? ERROR_SUCCESS
               : rc == SQLITE_DONE ? ERROR_KEY_DELETED
                                   : StatusOf(rc);
    }

    // What a miss under key means: the name is not there, or key itself was deleted.
    LONG Missing(RegKeyId key, LONG notFound) {
        const LONG r = KeyExists(key);
        return r == ERROR_SUCCESS ? notFound : r;
    }

    LONG Walk(RegKeyId from, const RegPath& path, RegKeyId& id, RegKeyId* parent = nullptr) {
        LONG r = path.empty() ? KeyExists(from) : ERROR_SUCCESS;
        RegKeyId at = from, above = 0;
        for (std::size_t i = 0; r == ERROR_SUCCESS && i < path.size(); ++i) {
            above = at;
            r = FindChild(above, path[i], at);
            if (r == ERROR_FILE_NOT_FOUND && i == 0)
                r = Missing(from, r);
        }
        if (r == ERROR_SUCCESS) {
            id = at;
            if (parent)
                *parent = above;
        }
        return r;
    }

    LONG Touch(RegKeyId id, std::int64_t now) {
        Use s(st[kTouchKey]);
        sqlite3_bind_int64(s, 1, id);
        sqlite3_bind_int64(s, 2, now);
        const int rc = sqlite3_step(s);
        if (rc != SQLITE_DONE)
            return StatusOf(rc);
        return sqlite3_changes(db) ? ERROR_SUCCESS : ERROR_KEY_DELETED;
    }

    LONG InsertChild(RegKeyId parent, const std::wstring& name, const std::wstring& className,
                     std::int64_t now, RegKeyId& id) {
        const std::string bytes = NameBytes(name), fold = FoldBytes(name),
                          cls = NameBytes(className);
        Use s(st[kInsertKey]);
        sqlite3_bind_int64(s, 1, parent);
        BindText(s, 2, bytes);
        BindText(s, 3, fold);
        BindText(s, 4, cls);
        sqlite3_bind_int64(s, 5, now);
        const int rc = sqlite3_step(s);
        if (rc != SQLITE_DONE)
            return StatusOf(rc);
        id = sqlite3_last_insert_rowid(db);
        return ERROR_SUCCESS;
    }

    // Inside a write transaction: finds or makes every level of path below from.
    LONG WalkCreate(RegKeyId from, const RegPath& path, const std::wstring& className, RegKeyId& id,
                    bool& created) {
        for (const std::wstring& name : path)
            if (name.empty() || name.size() > kMaxKeyNameLength)
                return ERROR_INVALID_PARAMETER;
        created = false;
        LONG r = KeyExists(from);
        const std::int64_t now = NowFileTime();
        RegKeyId at = from;
        for (std::size_t i = 0; r == ERROR_SUCCESS && i < path.size(); ++i) {
            RegKeyId child = 0;
            r = FindChild(at, path[i], child);
            if (r == ERROR_FILE_NOT_FOUND) {
                // The first new level changes its parent; deeper parents are new anyway.
                r = created ? ERROR_SUCCESS : Touch(at, now);
                if (r == ERROR_SUCCESS)
                    r = InsertChild(at, path[i], i + 1 == path.size() ? className : L"", now,
                                    child);
                created = r == ERROR_SUCCESS;
            } else {
                created = false;
            }
            at = child;
        }
        if (r == ERROR_SUCCESS)
            id = at;
        return r;
    }

    LONG Upsert(RegKeyId key, std::wstring_view name, DWORD type, std::string_view data) {
        const std::string bytes = NameBytes(name), fold = FoldBytes(name);
        Use s(st[kSetValue]);
        sqlite3_bind_int64(s, 1, key);
        BindText(s, 2, bytes);
        BindText(s, 3, fold);
        sqlite3_bind_int64(s, 4, type);
        // An empty value has no bytes and maybe no pointer; a null pointer would bind NULL.
        if (data.empty())
            sqlite3_bind_zeroblob(s, 5, 0);
        else
            sqlite3_bind_blob(s, 5, data.data(), static_cast<int>(data.size()), SQLITE_STATIC);
        return StatusOf(sqlite3_step(s));
    }

    LONG RemoveValue(RegKeyId key, std::wstring_view name) {
        const std::string fold = FoldBytes(name);
        Use s(st[kDeleteValue]);
        sqlite3_bind_int64(s, 1, key);
        BindText(s, 2, fold);
        const int rc = sqlite3_step(s);
        if (rc != SQLITE_DONE)
            return StatusOf(rc);
        return sqlite3_changes(db) ? ERROR_SUCCESS : Missing(key, ERROR_FILE_NOT_FOUND);
    }

    LONG RemoveTree(RegKeyId id) {
        for (Stmt which : {kDeleteTreeValues, kDeleteTreeKeys}) {
            Use s(st[which]);
            sqlite3_bind_int64(s, 1, id);
            const int rc = sqlite3_step(s);
            if (rc != SQLITE_DONE)
                return StatusOf(rc);
        }
        return ERROR_SUCCESS;
    }

    LONG ApplyOne(const RegChange& c) {
        RegKeyId id = 0;
        bool created = false;
        switch (c.kind) {
        case RegChange::Kind::CreateKey:
            return WalkCreate(kRootKey, c.path, L"", id, created);
        case RegChange::Kind::DeleteTree: {
            RegKeyId parent = 0;
            const LONG r = Walk(kRootKey, c.path, id, &parent);
            if (r == ERROR_FILE_NOT_FOUND)
                return ERROR_SUCCESS;
            if (r != ERROR_SUCCESS)
                return r;
            if (id == kRootKey)
                return ERROR_ACCESS_DENIED;
            const LONG t = Touch(parent, NowFileTime());
            return t == ERROR_SUCCESS ? RemoveTree(id) : t;
        }
        case RegChange::Kind::SetValue: {
            if (c.name.size() > kMaxValueNameLength)
                return ERROR_INVALID_PARAMETER;
            LONG r = WalkCreate(kRootKey, c.path, L"", id, created);
            if (r == ERROR_SUCCESS)
                r = Touch(id, NowFileTime());
            return r == ERROR_SUCCESS ? Upsert(id, c.name, c.type, c.data) : r;
        }
        case RegChange::Kind::DeleteValue: {
            const LONG r = Walk(kRootKey, c.path, id);
            if (r == ERROR_FILE_NOT_FOUND)
                return ERROR_SUCCESS;
            if (r != ERROR_SUCCESS)
                return r;
            const LONG d = RemoveValue(id, c.name);
            return d == ERROR_SUCCESS          ? Touch(id, NowFileTime())
                   : d == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS
                                               : d;
        }
        }
        return ERROR_INVALID_PARAMETER;
    }
};

RegistryHive::RegistryHive(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
RegistryHive::~RegistryHive() = default;

std::unique_ptr<RegistryHive> RegistryHive::Open(const std::string& file, LONG& status) {
    // SQLite would report a foreign file too, but only once it has read it as a database;
    // checking the signature first keeps a damaged file strictly read-only to us.
    if (!LooksLikeDatabase(file)) {
        status = ERROR_BADDB;
        return nullptr;
    }
    auto h = std::make_unique<Impl>();
    int rc =
        sqlite3_open_v2(file.c_str(), &h->db,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        status = (rc & 0xFF) == SQLITE_CANTOPEN ? ERROR_REGISTRY_IO_FAILED : StatusOf(rc);
        return nullptr;
    }
    sqlite3_busy_handler(h->db, BusyWait, nullptr);
    // Some steps report a busy file without calling the busy handler (a journal mode switch
    // meeting another connection, a log being recovered): those are tried again, with the
    // busy handler's patience, before the caller hears of it.
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kBusyTimeoutMs);
    for (int attempt = 0;; ++attempt) {
        rc = h->Prepare();
        if (!Transient(rc) || std::chrono::steady_clock::now() >= deadline)
            break;
        std::this_thread::sleep_for(std::chrono::microseconds(attempt < 6 ? 100 << attempt : 5000));
    }
    if (rc != SQLITE_OK) {
        status = StatusOf(rc);
        return nullptr;
    }
    status = ERROR_SUCCESS;
    return std::unique_ptr<RegistryHive>(new RegistryHive(std::move(h)));
}

LONG RegistryHive::OpenKey(RegKeyId from, const RegPath& path, RegKeyId& id) {
    std::lock_guard<std::mutex> g(impl_->m);
    Impl::Watch watch(*impl_);
    return impl_->Walk(from, path, id);
}

LONG RegistryHive::CreateKey(RegKeyId from, const RegPath& path, const std::wstring& className,
                             RegKeyId& id, bool& created) {
    std::lock_guard<std::mutex> g(impl_->m);
    Impl::Watch watch(*impl_);
    // Most creates find the key there already; that needs no write lock.
    created = false;
    LONG r = impl_->Walk(from, path, id);
    if (r != ERROR_FILE_NOT_FOUND)
        return r;
    Impl::Write w(*impl_);
    if (w.Status() != ERROR_SUCCESS)
        return w.Status();
    r = impl_->WalkCreate(from, path, className, id, created);
    return r == ERROR_SUCCESS ? w.Commit() : r;
}

LONG RegistryHive::DeleteKey(RegKeyId from, const RegPath& path) {
    std::lock_guard<std::mutex> g(impl_->m);
    Impl::Watch watch(*impl_);
    Impl::Write w(*impl_);
    if (w.Status() != ERROR_SUCCESS)
        return w.Status();
    RegKeyId id = 0, parent = 0;
    LONG r = impl_->Walk(from, path, id, &parent);
    if (r != ERROR_SUCCESS)
        return r;
    if (id == kRootKey)
        return ERROR_ACCESS_DENIED;
    if (path.empty()) {
        Use s(impl_->st[kParentOf]);
        sqlite3_bind_int64(s, 1, id);
        const int rc = sqlite3_step(s);
        if (rc != SQLITE_ROW)
            return rc == SQLITE_DONE ? ERROR_KEY_DELETED : StatusOf(rc);
        parent = sqlite3_column_int64(s, 0);
    }
    {
        Use s(impl_->st[kHasChildren]);
        sqlite3_bind_int64(s, 1, id);
        const int rc = sqlite3_step(s);
        if (rc == SQLITE_ROW)
            return ERROR_ACCESS_DENIED;
        if (rc != SQLITE_DONE)
            return StatusOf(rc);
    }
    for (Stmt which : {kDeleteKeyValues, kDeleteKeyRow}) {
        Use s(impl_->st[which]);
        sqlite3_bind_int64(s, 1, id);
        const int rc = sqlite3_step(s);
        if (rc != SQLITE_DONE)
            return StatusOf(rc);
    }
    r = impl_->Touch(parent, NowFileTime());
    return r == ERROR_SUCCESS ? w.Commit() : r;
}

LONG RegistryHive::QueryValue(RegKeyId key, std::wstring_view name, DWORD& type,
                              std::string& data) {
    const std::string fold = FoldBytes(name);
    std::lock_guard<std::mutex> g(impl_->m);
    Impl::Watch watch(*impl_);

    // Served from the cache while no connection anywhere has committed since it was read.
    RegistryReadCache::Stamp before{};
    const bool stamped = impl_->reads.ReadStamp(impl_->db, before);
    if (stamped && impl_->reads.Find(before, key, fold, type, data))
        return ERROR_SUCCESS;
    Use s(impl_->st[kGetValue]);
    sqlite3_bind_int64(s, 1, key);
    BindText(s, 2, fold);
    const int rc = sqlite3_step(s);
    if (rc != SQLITE_ROW)
        return rc == SQLITE_DONE ? impl_->Missing(key, ERROR_FILE_NOT_FOUND) : StatusOf(rc);
    type = static_cast<DWORD>(sqlite3_column_int64(s, 0));
    const void* blob = sqlite3_column_blob(s, 1);
    data.assign(static_cast<const char*>(blob),
                blob ? static_cast<std::size_t>(sqlite3_column_bytes(s, 1)) : 0);
    RegistryReadCache::Stamp after{};
    if (stamped && impl_->reads.ReadStamp(impl_->db, after) && after == before)
        impl_->reads.Put(before, key, fold, type, data);
    return ERROR_SUCCESS;
}

LONG RegistryHive::SetValue(RegKeyId key, std::wstring_view name, DWORD type,
                            std::string_view data) {
    if (name.size() > kMaxValueNameLength)
        return ERROR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> g(impl_->m);
    Impl::Watch watch(*impl_);
    Impl::Write w(*impl_);
    if (w.Status() != ERROR_SUCCESS)
        return w.Status();
    LONG r = impl_->Touch(key, NowFileTime()); // also tells whether the key still exists
    if (r == ERROR_SUCCESS)
        r = impl_->Upsert(key, name, type, data);
    return r == ERROR_SUCCESS ? w.Commit() : r;
}

LONG RegistryHive::DeleteValue(RegKeyId key, std::wstring_view name) {
    std::lock_guard<std::mutex> g(impl_->m);
    Impl::Watch watch(*impl_);
    Impl::Write w(*impl_);
    if (w.Status() != ERROR_SUCCESS)
        return w.Status();
    LONG r = impl_->RemoveValue(key, name);
    if (r == ERROR_SUCCESS)
        r = impl_->Touch(key, NowFileTime());
    return r == ERROR_SUCCESS ? w.Commit() : r;
}

LONG RegistryHive::EnumKey(RegKeyId key, DWORD index, RegEnumCursor& cursor, std::wstring& name,
                           std::wstring& className, std::int64_t& lastWrite) {
    std::lock_guard<std::mutex> g(impl_->m);
    Impl::Watch watch(*impl_);
    const std::uint64_t stamp = impl_->Stamp();
    const bool next = cursor.hive == this && cursor.key == key && cursor.stamp == stamp &&
                      index > 0 && cursor.index + 1 == index;
    Use s(impl_->st[next ? kEnumKeyAfter : kEnumKeyAt]);
    sqlite3_bind_int64(s, 1, key);
    if (next)
        BindText(s, 2, cursor.fold);
    else
        sqlite3_bind_int64(s, 2, index);
    const int rc = sqlite3_step(s);
    if (rc != SQLITE_ROW)
        return rc == SQLITE_DONE ? impl_->Missing(key, ERROR_NO_MORE_ITEMS) : StatusOf(rc);
    name = ColumnName(s, 0);
    className = ColumnName(s, 1);
    lastWrite = sqlite3_column_int64(s, 2);
    cursor.hive = this;
    cursor.key = key;
    cursor.index = index;
    cursor.stamp = stamp;
    cursor.fold.assign(reinterpret_cast<const char*>(sqlite3_column_text(s, 3)),
                       static_cast<std::size_t>(sqlite3_column_bytes(s, 3)));
    return ERROR_SUCCESS;
}

LONG RegistryHive::EnumValue(RegKeyId key, DWORD index, RegEnumCursor& cursor, std::wstring& name,
                             DWORD& type, std::string& data) {
    std::lock_guard<std::mutex> g(impl_->m);
    Impl::Watch watch(*impl_);
    const std::uint64_t stamp = impl_->Stamp();
    const bool next = cursor.hive == this && cursor.key == key && cursor.stamp == stamp &&
                      index > 0 && cursor.index + 1 == index;
    Use s(impl_->st[next ? kEnumValueAfter : kEnumValueAt]);
    sqlite3_bind_int64(s, 1, key);
    sqlite3_bind_int64(s, 2, next ? cursor.row : static_cast<std::int64_t>(index));
    const int rc = sqlite3_step(s);
    if (rc != SQLITE_ROW)
        return rc == SQLITE_DONE ? impl_->Missing(key, ERROR_NO_MORE_ITEMS) : StatusOf(rc);
    name = ColumnName(s, 0);
    type = static_cast<DWORD>(sqlite3_column_int64(s, 1));
    const void* blob = sqlite3_column_blob(s, 2);
    data.assign(static_cast<const char*>(blob),
                blob ? static_cast<std::size_t>(sqlite3_column_bytes(s, 2)) : 0);
    cursor.hive = this;
    cursor.key = key;
    cursor.index = index;
    cursor.stamp = stamp;
    cursor.row = sqlite3_column_int64(s, 3);
    return ERROR_SUCCESS;
}

LONG RegistryHive::QueryInfo(RegKeyId key, RegKeyInfo& info) {
    std::lock_guard<std::mutex> g(impl_->m);
    Impl::Watch watch(*impl_);
    {
        Use s(impl_->st[kKeyInfo]);
        sqlite3_bind_int64(s, 1, key);
        const int rc = sqlite3_step(s);
        if (rc != SQLITE_ROW)
            return rc == SQLITE_DONE ? ERROR_KEY_DELETED : StatusOf(rc);
        info.className = ColumnName(s, 0);
        info.lastWrite = sqlite3_column_int64(s, 1);
    }
    for (Stmt which : {kSubKeyStats, kValueStats}) {
        Use s(impl_->st[which]);
        sqlite3_bind_int64(s, 1, key);
        const int rc = sqlite3_step(s);
        if (rc != SQLITE_ROW)
            return StatusOf(rc);
        const auto a = static_cast<DWORD>(sqlite3_column_int64(s, 0));
        const auto b = static_cast<DWORD>(sqlite3_column_int64(s, 1));
        const auto c = static_cast<DWORD>(sqlite3_column_int64(s, 2));
        if (which == kSubKeyStats)
            info.subKeys = a, info.maxSubKeyLength = b, info.maxClassLength = c;
        else
            info.values = a, info.maxValueNameLength = b, info.maxValueBytes = c;
    }
    return ERROR_SUCCESS;
}

LONG RegistryHive::Apply(const std::vector<RegChange>& changes) {
    std::lock_guard<std::mutex> g(impl_->m);
    Impl::Watch watch(*impl_);
    Impl::Write w(*impl_);
    if (w.Status() != ERROR_SUCCESS)
        return w.Status();
    for (const RegChange& c : changes) {
        const LONG r = impl_->ApplyOne(c);
        if (r != ERROR_SUCCESS)
            return r;
    }
    return w.Commit();
}

LONG RegistryHive::ApplyTogether(const std::vector<Batch>& batches) {
    // Every hive's write lock is taken, in the callers' order (by root, the same in every
    // process, so two importers cannot wait for each other), and every change made before
    // the first commit: a change that fails leaves every hive as it was. Only a commit that
    // fails after an earlier hive committed (a disk failing between two syncs) can split them.
    std::vector<std::unique_lock<std::mutex>> locks;
    std::vector<std::unique_ptr<Impl::Write>> writes;
    std::vector<Impl*> seen;
    std::size_t position = 0;
    for (const Batch& b : batches) {
        Impl& h = *b.hive->impl_;
        if (std::find(seen.begin(), seen.end(), &h) != seen.end())
            return ERROR_INVALID_PARAMETER;
        seen.push_back(&h);
        locks.emplace_back(h.m);
        Impl::Watch watch(h);
        writes.push_back(std::make_unique<Impl::Write>(h));
        if (writes.back()->Status() != ERROR_SUCCESS)
            return writes.back()->Status();
        for (const RegChange& c : *b.changes) {
            LONG r = InjectedRegChangeFault(position++);
            if (r == ERROR_SUCCESS)
                r = h.ApplyOne(c);
            if (r != ERROR_SUCCESS)
                return r;
        }
    }
    for (std::size_t i = 0; i < writes.size(); ++i) {
        Impl::Watch watch(*seen[i]);
        const LONG r = writes[i]->Commit();
        if (r != ERROR_SUCCESS)
            return r;
    }
    return ERROR_SUCCESS;
}

LONG CheckRegistryHiveFile(const std::string& file, std::vector<std::string>& problems) {
    problems.clear();
    FileInfo info;
    if (Stat(WidePath(file), info))
        return ERROR_FILE_NOT_FOUND;
    if (!HeaderLooksRight(file)) {
        problems.push_back("the file is not a database (its first bytes are wrong)");
        return ERROR_BADDB;
    }
    sqlite3* db = nullptr;
    int rc =
        sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc == SQLITE_OK)
        sqlite3_busy_handler(db, BusyWait, nullptr);
    auto ask = [&](const char* sql, std::vector<std::string>& rows) {
        rows.clear();
        sqlite3_stmt* s = nullptr;
        int r = sqlite3_prepare_v2(db, sql, -1, &s, nullptr);
        while (r == SQLITE_OK && (r = sqlite3_step(s)) == SQLITE_ROW) {
            const auto* text = sqlite3_column_text(s, 0);
            rows.emplace_back(text ? reinterpret_cast<const char*>(text) : "");
            r = SQLITE_OK;
        }
        sqlite3_finalize(s);
        return r == SQLITE_DONE ? SQLITE_OK : r;
    };
    std::vector<std::string> rows;
    if (rc == SQLITE_OK)
        rc = ask("PRAGMA integrity_check(100)", rows);
    if (rc == SQLITE_OK && !(rows.size() == 1 && rows[0] == "ok"))
        problems = rows;
    bool empty = false;
    if (rc == SQLITE_OK && problems.empty()) {
        rc = ask("PRAGMA application_id", rows);
        const bool ours =
            rc == SQLITE_OK && !rows.empty() && rows[0] == std::to_string(kApplicationId);
        std::vector<std::string> tables;
        if (rc == SQLITE_OK && !ours && !rows.empty() && rows[0] == "0")
            rc = ask("SELECT count(*) FROM sqlite_schema", tables);
        // A file still empty is a store not made yet, as the first opener makes it.
        empty = rc == SQLITE_OK && !ours && !tables.empty() && tables[0] == "0";
        if (rc == SQLITE_OK && !ours && !empty)
            problems.push_back("the database is not a registry store");
    }
    if (rc == SQLITE_OK && empty) {
        sqlite3_close_v2(db);
        return ERROR_FILE_NOT_FOUND;
    }
    if (rc == SQLITE_OK && problems.empty()) {
        rc = ask("PRAGMA user_version", rows);
        if (rc == SQLITE_OK && (rows.empty() || rows[0] != std::to_string(kSchemaVersion)))
            problems.push_back("the store was made by another version");
    }
    if (rc != SQLITE_OK) {
        const LONG status = StatusOf(rc);
        if (status == ERROR_BADDB)
            problems.push_back(db ? sqlite3_errmsg(db) : "the file cannot be read as a database");
        sqlite3_close_v2(db);
        return status;
    }
    sqlite3_close_v2(db);
    return problems.empty() ? ERROR_SUCCESS : ERROR_BADDB;
}

} // namespace tlv::platform
