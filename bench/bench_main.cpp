// The main of every benchmark program. The programs link the library's objects, so the
// library would look for its resource module and its default installation next to the
// benchmark executable, find neither, and every string load or expression with a function
// name would fail fast: the figures would time failures. The build tree's locations are
// compiled in and set through the library's own overrides before anything runs, and the
// program says where it found them.
#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <sys/stat.h>

namespace {

bool Exists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

} // namespace

int main(int argc, char** argv) {
    const char* resources = TLVUTL_BENCH_RESOURCE_DIR;
    const char* installation = TLVUTL_BENCH_INSTALL_DIR;
    const std::string module = std::string(resources) + "/en/libtlvutlintl.so";
    const std::string guidMap = std::string(installation) + "/Data/guidmap.dat";
    if (!Exists(module) || !Exists(guidMap)) {
        std::fprintf(stderr,
                     "benchmarks: the build tree's resource module (%s) or default "
                     "installation (%s) is missing; build the whole tree first\n",
                     module.c_str(), guidMap.c_str());
        return 2;
    }
    TlvUtl::SetResourceRoot(TlvUtils::FromUtf8(resources));
    TlvUtl::SetUILanguageOverride(L"en");
    TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Installation, TlvUtils::FromUtf8(installation));
    // As a host starts: without it the resource module is not the default one, and what is
    // loaded lazily before it (unit names) would stay empty.
    if (InitModule() != 1) {
        std::fprintf(stderr, "benchmarks: InitModule failed\n");
        return 2;
    }
    std::printf("resource module: %s\ndefault installation: %s\n", module.c_str(), installation);
    std::fflush(stdout);
    benchmark::AddCustomContext("resource_module", module);
    benchmark::AddCustomContext("default_installation", installation);

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
