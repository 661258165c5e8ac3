// Start-up behaviours that need a process of their own (ctest runs each test alone).
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>
#include <tlvutl/string_table.h>

#include "frame/teardown.h"

#include <gtest/gtest.h>

#include "platform_marks.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

// The host executable's own string table: the loaders' last fallback.
namespace {
const TlvStringEntry kHostEntries[] = {{24087u, 5u, L"minus"}, {60000u, 9u, L"host text"}};
const TlvStringTable kHostTable = {2u, kHostEntries};
} // namespace

extern "C" __attribute__((visibility("default"))) const TlvStringTable* tlvutl_string_table(void) {
    return &kHostTable;
}

namespace {

namespace fs = std::filesystem;

std::wstring g_dataFolder;
std::wstring DataFolder() {
    return g_dataFolder;
}

std::string U32(uint32_t v) {
    std::string b(4, '\0');
    for (int i = 0; i < 4; ++i)
        b[static_cast<std::size_t>(i)] = static_cast<char>(v >> (8 * i));
    return b;
}

// A data folder holding the given guidmap.dat bytes.
void UseGuidMap(const std::string& bytes) {
    const fs::path dir = fs::temp_directory_path() / ("tlvutl-startup-" + std::to_string(getpid()));
    fs::create_directories(dir);
    std::ofstream(dir / "guidmap.dat", std::ios::binary) << bytes;
    g_dataFolder = dir.wstring() + L"/";
    TlvUtl::SetInstallDataFolderProvider(&DataFolder);
}

TEST(Startup, MissingResourceModuleFailsAndStringsFallBackToTheHost) {
    TLVUTL_POSIX_ONLY("a host's strings as an exported table symbol; a Windows host keeps "
                      "them in its own STRINGTABLE");
    TlvUtl::SetResourceRoot(L"/nonexistent/tlvutl-intl");
    EXPECT_EQ(InitModule(), 0);
    EXPECT_EQ(UTLLoadStringEx(60000), L"host text");
    EXPECT_STREQ(UTLLoadString(24087), L"minus");
    EXPECT_TRUE(UTLLoadStringEx(24016).IsEmpty());
    EXPECT_EQ(UTLGetExtensionModule().hResource, UTLGetExtensionModule().hModule);
}

TEST(Startup, GuidMapOneRecordShortFailsInitModuleAfterResourcesAreInPlace) {
    const std::string rec(32, '\x01');
    UseGuidMap(U32(2) + U32(12) + U32(12 + 64) + rec + rec + rec);
    EXPECT_EQ(InitModule(), 0);
    EXPECT_EQ(UTLLoadStringEx(24087), L"-"); // from the resource module, not the host
    GUID a{}, b{};
    EXPECT_EQ(UTLMapEng2AppGUID(&a, &b), 0);
    // Repaired, a second InitModule loads it without loading resources again.
    const HMODULE resource = UTLGetExtensionModule().hResource;
    UseGuidMap(U32(0) + U32(12) + U32(12));
    EXPECT_EQ(InitModule(), 1);
    EXPECT_EQ(UTLGetExtensionModule().hResource, resource);
    // The empty map loaded, look-ups find nothing.
    EXPECT_EQ(UTLMapEng2AppGUID(&a, &b), 0);
    EXPECT_EQ(UTLMapApp2EngGUID(&a, &b), 0);
}

int g_teardowns = 0;

TEST(Startup, OnlyTheLastUninitializeTearsDown) {
    tlv::frame::RegisterTeardownStep(tlv::frame::TeardownRank::DirectoryTracking,
                                     [] { ++g_teardowns; });
    ASSERT_NE(WAppSkinSettingData::GetInstance(), nullptr);
    UTLInitialize();
    UTLInitialize();
    UTLUninitialize();
    EXPECT_EQ(g_teardowns, 0);
    UTLUninitialize();
    EXPECT_EQ(g_teardowns, 1);
    EXPECT_EQ(WAppSkinSettingData::GetInstance(), nullptr); // destroyed, not re-created
    // Twice after one initialise: the counter goes negative and nothing more happens.
    UTLUninitialize();
    UTLInitialize();
    UTLUninitialize();
    EXPECT_EQ(g_teardowns, 1);
}

TEST(Startup, ApplicationInfoFormatsTheVersionTextsOnce) {
    // On a fresh store the installation (and with it the GUID map) is not recorded yet.
    ASSERT_TRUE(TlvUtl::RegisterDefaultInstallation());
    ASSERT_EQ(InitModule(), 1);
    struct Init : IAppStartupInit {
        mutable int calls = 0;
        void GetVersionNumbers(DWORD n[4]) const override {
            ++calls;
            n[0] = 21, n[1] = 2, n[2] = 345, n[3] = 6;
        }
    } init;
    struct Startup : IAppStartup {
        const IAppStartupInit* init;
        const IAppStartupInit& GetSettings() const override { return *init; }
    } startup;
    startup.init = &init;
    EXPECT_THROW(ApplicationInfo::AppStartup(), std::logic_error);
    TLVUTLSetAppInfo(startup, init);
    CString longText, shortText;
    longText.Format(UTLLoadStringEx(23931), 21u, 2u, 345u, 6u);
    shortText.Format(UTLLoadStringEx(23932), 21u);
    EXPECT_EQ(ApplicationInfo::Resources().GetVersionText(false), longText);
    EXPECT_EQ(ApplicationInfo::Resources().GetVersionText(true), shortText);
    EXPECT_EQ(init.calls, 1);
}

} // namespace

// Each test needs a process of its own, which ctest gives it. Run as a whole (no filter), the
// executable runs every test in a child process of its own, so that it passes by hand too.
int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
#ifdef _WIN32
    // No fork there: each test runs alone only under ctest.
    return RUN_ALL_TESTS();
#else
    if (GTEST_FLAG_GET(filter) != "*" || GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    const ::testing::UnitTest* unit = ::testing::UnitTest::GetInstance();
    int failed = 0;
    for (int i = 0; i < unit->total_test_suite_count(); ++i) {
        const ::testing::TestSuite* suite = unit->GetTestSuite(i);
        for (int j = 0; j < suite->total_test_count(); ++j) {
            const std::string name =
                std::string(suite->name()) + "." + suite->GetTestInfo(j)->name();
            const std::string filter = "--gtest_filter=" + name;
            std::fflush(nullptr);
            const pid_t pid = ::fork();
            if (pid == 0) {
                ::execl("/proc/self/exe", argv[0], filter.c_str(), static_cast<char*>(nullptr));
                ::_exit(127);
            }
            int status = 0;
            const bool ok = pid > 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
                            WEXITSTATUS(status) == 0;
            failed += ok ? 0 : 1;
            std::printf("%s %s\n", ok ? "[  PASSED  ]" : "[  FAILED  ]", name.c_str());
        }
    }
    return failed ? 1 : 0;
#endif
}
