// A folder getter after its first call (a lock and a copy), next to copying a CString.
#include <tlvutl/folders.h>

#include <benchmark/benchmark.h>

#include <filesystem>

namespace {

void UseTempRoots() {
    static const bool done = [] {
        const auto root = std::filesystem::temp_directory_path() / "tlvutl-bench-folders";
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::AppData, (root / "appdata").wstring());
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Config, (root / "install" / "Config").wstring());
        return true;
    }();
    (void)done;
}

void BM_CachedFolderGetter(benchmark::State& state) {
    UseTempRoots();
    const CString first = GetUserProfileSymbolsDir();
    if (first.IsEmpty() || first.Find(L"tlvutl-bench-folders") < 0 ||
        first != GetUserProfileSymbolsDir()) {
        state.SkipWithError(("unexpected folder " + first.ToUtf8()).c_str());
        return;
    }
    for (auto _ : state) {
        CString path = GetUserProfileSymbolsDir();
        benchmark::DoNotOptimize(path.GetString());
    }
}
BENCHMARK(BM_CachedFolderGetter);

void BM_CStringCopyFloor(benchmark::State& state) {
    UseTempRoots();
    const CString source = GetUserProfileSymbolsDir();
    if (CString(source) != source) {
        state.SkipWithError("copy differs");
        return;
    }
    for (auto _ : state) {
        CString path = source;
        benchmark::DoNotOptimize(path.GetString());
    }
}
BENCHMARK(BM_CStringCopyFloor);

} // namespace
