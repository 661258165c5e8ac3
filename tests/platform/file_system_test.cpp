// The file-system seam: wide paths in any script under any locale, the crash-safe write, the
// tree copy, folder links, the lock and the error codes.
#include "environment/temp_dir.h"
#include "platform/file_system.h"

#include "platform_marks.h"
#include "unicode_paths.h"

#include <tlvutl/encoding.h>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>
#ifndef _WIN32
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

namespace fsys = tlv::platform;
namespace stdfs = std::filesystem;
using unicode_paths::Wide;

// A fresh folder under the temporary folder for each test; the names below it are in
// several scripts.
class FileSystemTest : public ::testing::Test {
protected:
    TempDir dir;
    const stdfs::path& root = dir.path();
    std::wstring wroot = TempDir::Wide(root);

    std::wstring W(const std::string& sub) const { return wroot + L"/" + Wide(sub); }
    stdfs::path N(const std::string& sub) const { return dir / sub; }
    // Names of the entries of a folder that start with prefix.
    static int CountStartingWith(const stdfs::path& folder, const std::string& prefix) {
        int n = 0;
        for (const auto& e : stdfs::directory_iterator(folder))
            n += TlvUtils::ToUtf8(TempDir::Wide(e.path().filename())).rfind(prefix, 0) == 0;
        return n;
    }
};

// The path written with the system's separator.
std::wstring Sep(std::wstring path) {
    for (wchar_t& c : path)
        if (c == L'/')
            c = static_cast<wchar_t>(fsys::kPathSeparator);
    return path;
}

TEST(Paths, JoinFoldsStepsLexically) {
    EXPECT_EQ(fsys::JoinPath(L"/a/b/", L"c/"), Sep(L"/a/b/c"));
    EXPECT_EQ(fsys::JoinPath(L"/a/./b/../c", L""), Sep(L"/a/c"));
    EXPECT_EQ(fsys::JoinPath(L"/a", L"/abs"), Sep(L"/abs"));
    EXPECT_EQ(fsys::JoinPath(L"/..", L"x"), Sep(L"/x"));
    EXPECT_EQ(fsys::JoinPath(L"../x", L".."), L"..");
    EXPECT_EQ(fsys::JoinPath(L".", L""), L"");
#ifdef _WIN32
    EXPECT_EQ(fsys::JoinPath(L"/a\\b", L"c"), L"\\a\\b\\c");
#else
    // A backslash is an ordinary character of a POSIX name.
    EXPECT_EQ(fsys::JoinPath(L"/a\\b", L"c"), L"/a\\b/c");
#endif
    EXPECT_EQ(fsys::ParentPath(L"/a/b/"), L"/a");
    EXPECT_EQ(fsys::ParentPath(L"/a"), L"/");
    EXPECT_EQ(fsys::ParentPath(L"a"), L".");
    EXPECT_EQ(fsys::FileName(L"/a/文档.ini"), L"文档.ini");
}

TEST_F(FileSystemTest, EveryOperationTakesNamesInAnyScriptUnderAnyLocale) {
    for (const std::string& locale : unicode_paths::Locales()) {
        unicode_paths::ScopedLocale scoped(locale);
        for (const std::string& name : unicode_paths::Names()) {
            SCOPED_TRACE(locale + " / " + name);
            const std::string folder = locale + " " + name;
            ASSERT_FALSE(fsys::CreateDirectories(W(folder + "/" + name + "/deep")));
            EXPECT_TRUE(fsys::IsDirectory(W(folder + "/" + name)));
            const std::wstring file = W(folder + "/" + name + ".ini");
            ASSERT_FALSE(fsys::WriteFileAtomically(file, "[" + name + "]"));
            EXPECT_EQ(TempDir::Read(N(folder + "/" + name + ".ini")), "[" + name + "]");
            std::string bytes;
            ASSERT_FALSE(fsys::ReadWholeFile(file, bytes));
            EXPECT_EQ(bytes, "[" + name + "]");
            std::vector<fsys::DirEntry> entries;
            ASSERT_FALSE(fsys::ListDirectory(W(folder), entries));
            ASSERT_EQ(entries.size(), 2u);
            for (const auto& e : entries)
                EXPECT_TRUE(e.name == Wide(name) || e.name == Wide(name + ".ini"));
            const std::wstring moved = W(folder + "/" + name + " 2.ini");
            ASSERT_FALSE(fsys::Rename(file, moved));
            EXPECT_FALSE(fsys::Exists(file));
            ASSERT_FALSE(fsys::CopyTree(W(folder), W(folder + " copy")));
            EXPECT_TRUE(fsys::IsRegularFile(W(folder + " copy/" + name + " 2.ini")));
            EXPECT_TRUE(fsys::IsDirectory(W(folder + " copy/" + name + "/deep")));
            ASSERT_FALSE(fsys::CreateFolderLink(W(folder), W(folder + " link")));
#ifdef _WIN32
            EXPECT_TRUE(fsys::IsRegularFile(W(folder + " link.lnk"))) << "a shell link";
#else
            EXPECT_TRUE(fsys::SameFile(W(folder + " link"), W(folder)));
#endif
            std::wstring temp;
            ASSERT_FALSE(fsys::CreateTempFile("tlvutl-" + name + "-", ".xml", temp));
            EXPECT_TRUE(fsys::IsRegularFile(temp));
            EXPECT_FALSE(fsys::Remove(temp));
            EXPECT_FALSE(fsys::Exists(temp));
        }
    }
}

TEST_F(FileSystemTest, AtomicWriteKeepsPermissionsAndLeavesNoTemporary) {
    const std::wstring file = W("settings.xml");
    ASSERT_FALSE(fsys::WriteFileAtomically(file, "one"));
    ASSERT_FALSE(fsys::WriteFileAtomically(file, "two"));
    EXPECT_EQ(TempDir::Read(N("settings.xml")), "two");
    EXPECT_EQ(CountStartingWith(root, "settings.xml."), 0);
    // A missing folder fails and leaves nothing behind.
    const std::error_code ec = fsys::WriteFileAtomically(W("missing/x.ini"), "x");
    EXPECT_EQ(ec, std::errc::no_such_file_or_directory);
    EXPECT_EQ(CountStartingWith(root, "x.ini"), 0);

    TLVUTL_POSIX_ONLY("permission bits and the umask");
#ifndef _WIN32
    // A new file: 0666 less the umask.
    ASSERT_FALSE(fsys::Remove(file));
    ASSERT_FALSE(fsys::WriteFileAtomically(file, "one"));
    const mode_t mask = ::umask(022);
    ::umask(mask);
    struct stat st {};
    ASSERT_EQ(::stat(N("settings.xml").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0666 & ~mask);
    // A replaced file keeps its own.
    ASSERT_EQ(::chmod(N("settings.xml").c_str(), 0640), 0);
    ASSERT_FALSE(fsys::WriteFileAtomically(file, "two"));
    ASSERT_EQ(::stat(N("settings.xml").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
#endif
}

TEST_F(FileSystemTest, ConcurrentWritersNeverShareATemporary) {
    const std::wstring file = W("shared.ini");
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t)
        writers.emplace_back([&, t] {
            const std::string content(1000 + static_cast<std::size_t>(t),
                                      static_cast<char>('a' + t));
            for (int i = 0; i < 50; ++i) {
                const std::error_code ec = fsys::WriteFileAtomically(file, content);
                EXPECT_FALSE(ec) << "error " << fsys::Win32Error(ec);
            }
        });
    for (auto& w : writers)
        w.join();
    const std::string last = TempDir::Read(N("shared.ini"));
    ASSERT_GE(last.size(), 1000u);
    EXPECT_EQ(last, std::string(last.size(), last[0])); // one writer's bytes, whole
    EXPECT_EQ(CountStartingWith(root, "shared.ini."), 0);
}

TEST_F(FileSystemTest, AKilledWriterLeavesTheOldOrTheNewFileWhole) {
    TLVUTL_POSIX_ONLY("fork and kill");
#ifndef _WIN32
    const std::wstring file = W("crash.dat");
    const std::string oldBytes(200000, 'o'), newBytes(300000, 'n');
    for (int round = 0; round < 8; ++round) {
        ASSERT_FALSE(fsys::WriteFileAtomically(file, oldBytes));
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (;;)
                fsys::WriteFileAtomically(file, newBytes);
        }
        ::usleep(static_cast<useconds_t>(2000 + round * 3000));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        const std::string now = TempDir::Read(N("crash.dat"));
        EXPECT_TRUE(now == oldBytes || now == newBytes) << "round " << round << ": " << now.size();
    }
#endif
}

TEST_F(FileSystemTest, CopyTreeFollowsLinksAndMakesCopiesWritable) {
    TLVUTL_POSIX_ONLY("symbolic links to files and permission bits");
#ifndef _WIN32
    stdfs::create_directories(N("from/Sub"));
    std::ofstream(N("from/Sub/locked.txt")) << "locked";
    std::ofstream(N("outside.txt")) << "outside";
    stdfs::create_symlink(N("outside.txt"), N("from/link.txt"));
    ASSERT_EQ(::chmod(N("from/Sub/locked.txt").c_str(), 0444), 0);
    std::ofstream(N("existing.txt")) << "old";
    stdfs::create_directories(N("to"));
    std::ofstream(N("to/link.txt")) << "will be replaced";
    ASSERT_FALSE(fsys::CopyTree(W("from"), W("to")));
    EXPECT_EQ(TempDir::Read(N("to/Sub/locked.txt")), "locked");
    EXPECT_EQ(TempDir::Read(N("to/link.txt")), "outside");
    struct stat st {};
    ASSERT_EQ(::lstat(N("to/Sub/locked.txt").c_str(), &st), 0);
    EXPECT_TRUE(st.st_mode & S_IWUSR);
    ASSERT_EQ(::lstat(N("to/link.txt").c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));
    // A missing source is an error, not an empty copy.
    EXPECT_EQ(fsys::CopyTree(W("nothing"), W("to2")), std::errc::no_such_file_or_directory);
    EXPECT_FALSE(fsys::Exists(W("to2")));
#endif
}

TEST_F(FileSystemTest, KindsLinksAndErrors) {
    stdfs::create_directories(N("dir"));
    std::ofstream(N("file")) << "12345";
    ASSERT_FALSE(fsys::CreateFolderLink(W("dir"), W("link")));
    EXPECT_EQ(fsys::CreateFolderLink(W("dir"), W("link")), std::errc::file_exists);
    fsys::FileInfo info;
#ifndef _WIN32 // a shell link file there
    ASSERT_FALSE(fsys::Stat(W("link"), info, false));
    EXPECT_EQ(info.kind, fsys::FileKind::kLink);
    ASSERT_FALSE(fsys::Stat(W("link"), info));
    EXPECT_EQ(info.kind, fsys::FileKind::kDirectory);
#endif
    ASSERT_FALSE(fsys::Stat(W("file"), info));
    EXPECT_EQ(info.kind, fsys::FileKind::kFile);
    EXPECT_EQ(info.size, 5);
    EXPECT_GT(info.ctimeNs, 0);
    EXPECT_EQ(fsys::Stat(W("none"), info), std::errc::no_such_file_or_directory);
    EXPECT_EQ(info.kind, fsys::FileKind::kNone);

    std::string bytes;
#ifdef _WIN32
    // As the system answers opening a folder as a file.
    EXPECT_EQ(fsys::Win32Error(fsys::ReadWholeFile(W("dir"), bytes)), 5u);
#else
    EXPECT_EQ(fsys::ReadWholeFile(W("dir"), bytes), std::errc::is_a_directory);
#endif
    const std::error_code missing = fsys::ReadWholeFile(W("none"), bytes);
    EXPECT_EQ(fsys::Win32Error(missing, W("none")), 2u);
    EXPECT_EQ(fsys::Describe(missing, W("none")), "no such file");
    EXPECT_EQ(fsys::Win32Error(fsys::ReadWholeFile(W("none/x"), bytes), W("none/x")), 3u);
    EXPECT_EQ(fsys::CreateDirectories(W("file/sub")), std::errc::not_a_directory);
    EXPECT_FALSE(fsys::Remove(W("none"))); // already gone
#ifndef _WIN32
    EXPECT_FALSE(fsys::Remove(W("dir/../link")));
    EXPECT_TRUE(fsys::IsDirectory(W("dir"))); // the link went, not its target
#endif

    fsys::File f;
    EXPECT_EQ(f.Open(W("file"), fsys::File::Mode::kCreateNew), std::errc::file_exists);
    TLVUTL_POSIX_ONLY("a file made unreadable by its permission bits");
#ifndef _WIN32
    if (::geteuid() != 0) { // root reads anything
        ASSERT_EQ(::chmod(N("file").c_str(), 0), 0);
        const std::error_code denied = fsys::ReadWholeFile(W("file"), bytes);
        EXPECT_EQ(fsys::Win32Error(denied), 5u);
        EXPECT_EQ(fsys::Describe(denied), "permission denied");
    }
#endif
}

TEST_F(FileSystemTest, TheLockNeverCreatesItsFileAndExcludesOtherProcesses) {
    TLVUTL_POSIX_ONLY("fork and pipes");
#ifndef _WIN32
    const std::wstring file = W("guarded.ini");
    // The other process starts before the lock is taken: a child forked while it is held
    // would share the lock's open file and never wait.
    int go[2], report[2];
    ASSERT_EQ(::pipe(go), 0);
    ASSERT_EQ(::pipe(report), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        char c = 0;
        (void)!::read(go[0], &c, 1);
        fsys::PathLock theirs(file);
        c = theirs.Locked() ? 'y' : 'n';
        (void)!::write(report[1], &c, 1);
        ::_exit(0);
    }
    std::optional<fsys::PathLock> lock;
    lock.emplace(file);
    ASSERT_TRUE(lock->Locked());
    EXPECT_FALSE(fsys::Exists(file));
    ASSERT_EQ(::write(go[1], "g", 1), 1);
    ::usleep(150000);
    pollfd p{report[0], POLLIN, 0};
    EXPECT_EQ(::poll(&p, 1, 0), 0) << "the other process got the lock while it was held";
    lock.reset();
    char c = 0;
    ASSERT_EQ(::read(report[0], &c, 1), 1);
    EXPECT_EQ(c, 'y');
    int status = 0;
    ::waitpid(child, &status, 0);
    for (int fd : {go[0], go[1], report[0], report[1]})
        ::close(fd);
    EXPECT_FALSE(fsys::Exists(file));
#endif
}

TEST_F(FileSystemTest, TheLockNestsOnItsThreadAndExcludesOtherThreads) {
    const std::wstring file = W("nested.xml");
    std::atomic<bool> theirs{false};
    std::optional<fsys::PathLock> outer;
    outer.emplace(file);
    ASSERT_TRUE(outer->Locked());
    std::thread other([&] {
        fsys::PathLock lock(W("sibling.xml")); // the same folder: the same lock
        theirs = lock.Locked();
    });
    {
        fsys::PathLock inner(file); // would wait forever if it were not counted
        EXPECT_TRUE(inner.Locked());
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(theirs) << "another thread got the lock while an inner lock ended";
    outer.reset();
    other.join();
    EXPECT_TRUE(theirs);

    // A missing folder: nothing to lock, and the reason.
    fsys::PathLock none(W("unrelated/x"));
    EXPECT_FALSE(none.Locked());
    EXPECT_EQ(fsys::Win32Error(none.Error(), W("unrelated/x")), 3u);
}

TEST_F(FileSystemTest, CanonicalPathsResolveStepsAndLinks) {
    TLVUTL_POSIX_ONLY("symbolic links to folders");
#ifndef _WIN32
    stdfs::create_directories(N("Документы/文档"));
    std::ofstream(N("Документы/文档/f.xml")) << "x";
    stdfs::create_directory_symlink(N("Документы/文档"), N("link"));
    std::wstring canonical;
    // ".." after a link leaves the link's target, not the link's folder.
    EXPECT_TRUE(fsys::CanonicalPath(W("link/../Документы/./文档/f.xml"), canonical));
    ASSERT_FALSE(fsys::CanonicalPath(W("link/../../Документы/./文档/f.xml"), canonical));
    std::wstring real;
    ASSERT_FALSE(fsys::CanonicalPath(wroot, real)); // the temporary folder may be a link
    EXPECT_EQ(canonical, real + L"/" + Wide("Документы/文档/f.xml"));
    ASSERT_FALSE(fsys::CanonicalPath(W("link/f.xml"), canonical));
    EXPECT_EQ(canonical, real + L"/" + Wide("Документы/文档/f.xml")) << "the link is followed";
    EXPECT_EQ(fsys::CanonicalPath(W("missing/f.xml"), canonical),
              std::errc::no_such_file_or_directory);
    EXPECT_TRUE(canonical.empty());
#endif
}

} // namespace
