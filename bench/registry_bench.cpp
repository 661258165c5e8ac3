// Registry reads and durable writes through WUTLRegistry, next to the same operations on a
// bare SQLite table with a prepared statement, in the same folder and the same run.
//
// Goals: at least 1,000,000 reads per second (the connection's read cache, checked against
// the database's shared change stamp at every read); writes within 1.2x.
// Writes are dominated by the disk's sync time, which drifts with the machine's load, so the
// write pair runs interleaved in one loop and reports both times and their ratio.
//   build/release/bin/bench_registry --benchmark_min_time=0.5
#include <tlvutl/registry.h>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kValues = 1000;
const wchar_t* const kKey = L"HKEY_CURRENT_USER\\Software\\Talvo\\Bench";

class Setup {
public:
    static Setup& Get() {
        static Setup s;
        return s;
    }
    std::vector<std::wstring> names;
    std::vector<std::string> rawNames;
    sqlite3* raw = nullptr;
    sqlite3_stmt* read = nullptr;
    sqlite3_stmt* write = nullptr;

    ~Setup() {
        sqlite3_finalize(read);
        sqlite3_finalize(write);
        sqlite3_close(raw);
        TlvUtl::SetRegistryDirectory(L"");
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }

private:
    Setup() {
        const char* base = std::getenv("TLV_BENCH_DIR");
        dir_ = std::filesystem::path(base ? base : std::filesystem::temp_directory_path()) /
               ("tlvutl-registry-bench-" + std::to_string(getpid()));
        std::filesystem::create_directories(dir_ / "store");
        TlvUtl::SetRegistryDirectory((dir_ / "store").wstring());

        sqlite3_open((dir_ / "raw.db").string().c_str(), &raw);
        sqlite3_exec(raw,
                     "PRAGMA journal_mode=WAL;PRAGMA synchronous=FULL;"
                     "CREATE TABLE kv(k TEXT PRIMARY KEY, v BLOB);",
                     nullptr, nullptr, nullptr);
        sqlite3_prepare_v2(raw, "SELECT v FROM kv WHERE k=?1", -1, &read, nullptr);
        sqlite3_prepare_v2(raw, "INSERT OR REPLACE INTO kv VALUES(?1,?2)", -1, &write, nullptr);

        WUTLRegistry key(kKey, KEY_ALL_ACCESS, 1);
        sqlite3_exec(raw, "BEGIN", nullptr, nullptr, nullptr);
        for (int i = 0; i < kValues; ++i) {
            names.push_back(L"Setting" + std::to_wstring(i));
            rawNames.push_back("Setting" + std::to_string(i));
            const std::wstring value = L"C:\\Program Files\\Talvo\\" + std::to_wstring(i);
            key.SetValue(names.back().c_str(), value.c_str());
            RawWrite(rawNames.back(), std::string(value.begin(), value.end()));
        }
        sqlite3_exec(raw, "COMMIT", nullptr, nullptr, nullptr);
    }

public:
    int RawWrite(const std::string& name, const std::string& value) {
        sqlite3_bind_text(write, 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
        sqlite3_bind_blob(write, 2, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
        const int rc = sqlite3_step(write);
        sqlite3_reset(write);
        return rc;
    }

private:
    std::filesystem::path dir_;
};

void BM_Read_WUTLRegistry(benchmark::State& state) {
    Setup& s = Setup::Get();
    WUTLRegistry key(kKey);
    CString value;
    for (int k = 0; k < kValues; ++k)
        if (key.GetValue(s.names[static_cast<std::size_t>(k)].c_str(), value) != 0 ||
            value != CString(L"C:\\Program Files\\Talvo\\" + std::to_wstring(k))) {
            state.SkipWithError("wrong value");
            return;
        }
    int i = 0;
    for (auto _ : state) {
        if (key.GetValue(s.names[static_cast<std::size_t>(i)].c_str(), value) != 0)
            state.SkipWithError("read failed");
        benchmark::DoNotOptimize(value);
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Read_WUTLRegistry);

void BM_Read_RawSqlite(benchmark::State& state) {
    Setup& s = Setup::Get();
    std::string value;
    for (int k = 0; k < kValues; ++k) {
        const std::string& name = s.rawNames[static_cast<std::size_t>(k)];
        sqlite3_bind_text(s.read, 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
        const bool row = sqlite3_step(s.read) == SQLITE_ROW;
        value.assign(row ? static_cast<const char*>(sqlite3_column_blob(s.read, 0)) : "",
                     row ? static_cast<std::size_t>(sqlite3_column_bytes(s.read, 0)) : 0);
        sqlite3_reset(s.read);
        if (value != "C:\\Program Files\\Talvo\\" + std::to_string(k)) {
            state.SkipWithError("wrong value");
            return;
        }
    }
    int i = 0;
    for (auto _ : state) {
        const std::string& name = s.rawNames[static_cast<std::size_t>(i)];
        sqlite3_bind_text(s.read, 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
        if (sqlite3_step(s.read) != SQLITE_ROW)
            state.SkipWithError("read failed");
        value.assign(static_cast<const char*>(sqlite3_column_blob(s.read, 0)),
                     static_cast<std::size_t>(sqlite3_column_bytes(s.read, 0)));
        sqlite3_reset(s.read);
        benchmark::DoNotOptimize(value);
        i = (i + 1) % kValues;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Read_RawSqlite);

// One durable single-value write each way per iteration.
void BM_Write_Paired(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    Setup& s = Setup::Get();
    WUTLRegistry key(kKey, KEY_ALL_ACCESS);
    Clock::duration ours{}, theirs{};
    CString back;
    if (key.SetValue(L"Setting1", L"checked") != 0 || key.GetValue(L"Setting1", back) != 0 ||
        back != CString(L"checked") || s.RawWrite("Setting1", "checked") != SQLITE_DONE) {
        state.SkipWithError("write not read back");
        return;
    }
    int i = 0;
    for (auto _ : state) {
        const std::wstring value = L"value " + std::to_wstring(i);
        const std::string rawValue(value.begin(), value.end());
        const auto t0 = Clock::now();
        if (key.SetValue(L"Setting1", value.c_str()) != 0)
            state.SkipWithError("write failed");
        const auto t1 = Clock::now();
        if (s.RawWrite("Setting1", rawValue) != SQLITE_DONE)
            state.SkipWithError("raw write failed");
        const auto t2 = Clock::now();
        ours += t1 - t0;
        theirs += t2 - t1;
        ++i;
    }
    const double n = static_cast<double>(state.iterations());
    const double a = std::chrono::duration<double, std::micro>(ours).count() / n;
    const double b = std::chrono::duration<double, std::micro>(theirs).count() / n;
    state.counters["wutl_us"] = a;
    state.counters["raw_us"] = b;
    state.counters["ratio"] = a / b;
}
BENCHMARK(BM_Write_Paired)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(2.0);

} // namespace
