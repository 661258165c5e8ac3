// The change notifier on its own, on one thread. On POSIX every change is queued by the
// system call that makes it, so each test makes a change and reads what it woke, with no
// waiting; on Windows changes come through the notifier's own thread, so a read gathers
// what comes until nothing more has come for a while.
#include "environment/temp_dir.h"
#include "platform/change_notification.h"
#include "platform_marks.h"

#include <tlvutl/encoding.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>
#endif

namespace fs = std::filesystem;
using namespace tlv::platform;

namespace {

using Ids = std::vector<std::uint64_t>;

#ifdef _WIN32
constexpr bool kPosix = false;
#else
constexpr bool kPosix = true;
#endif

// A path from UTF-8 text, and back: narrow paths are not UTF-8 on Windows.
fs::path P(const std::string& utf8) {
    return TempDir::Name(utf8);
}
std::string U(const fs::path& p) {
    return TlvUtils::ToUtf8(TempDir::Wide(p));
}

// Folder handles held: the POSIX backend shares one kernel watch per distinct folder and
// watches each folder of a subtree; the Windows one holds a handle per registration.
std::size_t Watches(std::size_t posix, std::size_t windows) {
    return kPosix ? posix : windows;
}

class Notifier : public ::testing::Test {
protected:
    void SetUp() override {
        std::error_code error;
        notifier_ = ChangeNotifier::Create(error);
        ASSERT_TRUE(notifier_) << error.message();
    }

    std::string Dir(const std::string& name) {
        const fs::path p = dir_.path() / P(name);
        fs::create_directories(p);
        return U(p);
    }
    void Add(std::uint64_t id, const std::string& path, bool subtree, std::uint32_t filter) {
        std::error_code error;
        ASSERT_TRUE(notifier_->Add(id, path, subtree, filter, error))
            << path << ": " << error.message();
    }
    Ids Changes() {
        Ids ids;
        notifier_->ReadChanges(ids);
#ifdef _WIN32
        // Gathered until the notifier has been quiet for a while: one change may come in
        // several completions.
        const HANDLE ready =
            reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(notifier_->Descriptor()));
        while (::WaitForSingleObject(ready, 300) == WAIT_OBJECT_0)
            notifier_->ReadChanges(ids);
        std::sort(ids.begin(), ids.end());
        ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
#endif
        return ids;
    }

    TempDir dir_;
    std::unique_ptr<ChangeNotifier> notifier_;
};

void Touch(const fs::path& p) {
    std::ofstream(p, std::ios::app) << "x";
}

void Touch(const std::string& utf8) {
    Touch(P(utf8));
}

// A change of attributes: permission bits on POSIX, the read-only attribute on Windows.
void ChangeAttributes(const fs::path& p) {
#ifdef _WIN32
    ::SetFileAttributesW(p.wstring().c_str(), FILE_ATTRIBUTE_READONLY);
#else
    chmod(p.c_str(), 0600);
#endif
}

} // namespace

TEST_F(Notifier, RefusesWhatCannotBeWatchedAndKeepsNothing) {
    std::error_code error;
    const std::string file = U(dir_.path() / P("fichier.txt"));
    Touch(file);
    EXPECT_FALSE(notifier_->Add(1, U(dir_ / "missing"), false, kNotifyAll, error));
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    EXPECT_FALSE(notifier_->Add(1, file, false, kNotifyAll, error));
    EXPECT_EQ(error, std::errc::not_a_directory);
    EXPECT_FALSE(notifier_->Add(1, U(dir_.path()), false, 0, error));
    EXPECT_EQ(error, std::errc::invalid_argument);
    EXPECT_FALSE(notifier_->Add(1, U(dir_.path()), false, 0x20, error));
    EXPECT_EQ(error, std::errc::invalid_argument);
    EXPECT_FALSE(notifier_->Add(1, "", false, kNotifyAll, error));
    EXPECT_EQ(notifier_->RegistrationCount(), 0u);
    EXPECT_EQ(notifier_->WatchCount(), 0u);
}

TEST_F(Notifier, EachFilterBitIsWokenByItsChangesOnly) {
    // One registration per bit on one folder; every operation wakes exactly the expected ones.
    const std::string top = Dir("fïltér");
    const std::uint32_t bits[] = {kNotifyFileName, kNotifyDirName,   kNotifyAttributes,
                                  kNotifySize,     kNotifyLastWrite, kNotifySecurity};
    for (std::uint64_t i = 0; i < 6; ++i)
        Add(i + 1, top, false, bits[i]);
    EXPECT_EQ(notifier_->WatchCount(), Watches(1, 6)); // one folder, one kernel watch

    const fs::path file = P(top) / P("файл.txt");
    Touch(file);
    // Created and written: file name, size, last write.
    EXPECT_EQ(Changes(), (Ids{1, 4, 5}));
    fs::rename(file, P(top) / P("文件.txt"));
    EXPECT_EQ(Changes(), (Ids{1})); // a rename is a name change, nothing else
    fs::create_directory(P(top) / "sub");
    EXPECT_EQ(Changes(), (Ids{2}));
    fs::remove(P(top) / "sub");
    EXPECT_EQ(Changes(), (Ids{2}));
    std::ifstream(P(top) / P("文件.txt")).get(); // reading changes nothing
    EXPECT_EQ(Changes(), Ids{});
}

TEST_F(Notifier, AttributeChangeWakesItsFiltersOnly) {
    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine reports an attribute change to the security filter too "
                                 "(both stand for one inotify IN_ATTRIB there)");
    const std::string top = Dir("attribut");
    const std::uint32_t bits[] = {kNotifyFileName, kNotifyDirName,   kNotifyAttributes,
                                  kNotifySize,     kNotifyLastWrite, kNotifySecurity};
    const fs::path file = P(top) / P("ファイル");
    Touch(file);
    for (std::uint64_t i = 0; i < 6; ++i)
        Add(i + 1, top, false, bits[i]);
    ChangeAttributes(file);
    // Permission bits are attributes and security alike on POSIX (and touch the inode's
    // change time); the read-only attribute is an attribute only.
    EXPECT_EQ(Changes(), kPosix ? (Ids{3, 5, 6}) : (Ids{3}));
}

TEST_F(Notifier, SameFolderTwiceIsTwoIndependentRegistrations) {
    const std::string top = Dir("deux fois");
    Add(7, top, false, kNotifySize);
    Add(9, top, false, kNotifyFileName);
    EXPECT_EQ(notifier_->WatchCount(), Watches(1, 2));
    Touch(P(top) / "a");
    EXPECT_EQ(Changes(), (Ids{7, 9}));
    fs::rename(P(top) / "a", P(top) / "b");
    EXPECT_EQ(Changes(), (Ids{9})); // the size registration keeps its own filter

    // Removing the wider one leaves the other watching, with its own filter.
    notifier_->Remove(9);
    EXPECT_EQ(notifier_->WatchCount(), 1u);
    fs::rename(P(top) / "b", P(top) / "c");
    EXPECT_EQ(Changes(), Ids{});
    Touch(P(top) / "c");
    EXPECT_EQ(Changes(), (Ids{7}));
}

TEST_F(Notifier, ChangesDeepInASubtreeAndOnlyWithTheSubtreeFlag) {
    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine's subtree watch does not see into sub-folders that "
                                 "existed before the watch began");
    const std::string top = Dir("profond");
    const std::string deep = Dir("profond/а/b/深/d");
    Add(1, top, true, kNotifyFileName);
    Add(2, top, false, kNotifyFileName);
    EXPECT_EQ(notifier_->WatchCount(), Watches(5, 2));
    Touch(P(deep) / "x");
    EXPECT_EQ(Changes(), (Ids{1}));
    Touch(P(top) / "x");
    EXPECT_EQ(Changes(), (Ids{1, 2}));
}

TEST_F(Notifier, NewSubFolderIsWatchedAndWhatWasPutInItFirstIsReported) {
    const std::string top = Dir("grow");
    Add(1, top, true, kNotifyFileName);
    // Made and filled before the notifier reads a thing: the watch comes too late for these
    // files' own events, so the scan reports them.
    fs::create_directories(P(top) / "new" / "inner");
    Touch(P(top) / "new" / "inner" / "early.txt");
    EXPECT_EQ(Changes(), (Ids{1}));
    EXPECT_EQ(notifier_->WatchCount(), Watches(3, 1));
    Touch(P(top) / "new" / "inner" / "late.txt");
    EXPECT_EQ(Changes(), (Ids{1}));

    // A folder alone does not wake a file-name filter; a file in it does.
    fs::create_directories(P(top) / "empty");
    EXPECT_EQ(Changes(), Ids{});
    EXPECT_EQ(notifier_->WatchCount(), Watches(4, 1));
}

TEST_F(Notifier, SubtreeMovedAwayAndBack) {
    TLVUTL_POSIX_ONLY("sub-folder watches that follow folders moved in and out");
    const std::string top = Dir("home");
    const std::string away = Dir("away");
    Dir("home/moving/inner");
    Add(1, top, true, kNotifyFileName);
    EXPECT_EQ(notifier_->WatchCount(), 3u);

    fs::rename(fs::path(top) / "moving", fs::path(away) / "moving");
    EXPECT_EQ(Changes(), Ids{}); // a folder's name: not this filter
    EXPECT_EQ(notifier_->WatchCount(), 1u);
    Touch(fs::path(away) / "moving" / "inner" / "x");
    EXPECT_EQ(Changes(), Ids{}); // out of the tree, out of sight

    fs::rename(fs::path(away) / "moving", fs::path(top) / "moved back");
    EXPECT_EQ(Changes(), (Ids{1})); // it brought a file along
    EXPECT_EQ(notifier_->WatchCount(), 3u);
    Touch(fs::path(top) / "moved back" / "inner" / "y");
    EXPECT_EQ(Changes(), (Ids{1}));
}

TEST_F(Notifier, FolderRenamedAndItsNameReusedBeforeTheEventsAreRead) {
    TLVUTL_POSIX_ONLY("inotify's queued events of a reused name");
    // By the time the first creation is read, "a" is already the second folder: the rename's
    // events must not pin the second folder's watch on "b".
    const std::string top = Dir("reuse");
    Add(1, top, true, kNotifyFileName);
    fs::create_directory(fs::path(top) / "a");
    fs::rename(fs::path(top) / "a", fs::path(top) / "b");
    fs::create_directory(fs::path(top) / "a");
    EXPECT_EQ(Changes(), Ids{});
    EXPECT_EQ(notifier_->WatchCount(), 3u);
    Touch(fs::path(top) / "b" / "in b");
    EXPECT_EQ(Changes(), (Ids{1}));
    Touch(fs::path(top) / "a" / "in a");
    EXPECT_EQ(Changes(), (Ids{1}));
}

TEST_F(Notifier, DeletedFoldersGiveTheirWatchesBack) {
    TLVUTL_KNOWN_WINE_DIFFERENCE("Wine does not end a folder's pending read when the folder is "
                                 "deleted; it stays until its watch is removed");
    const std::string top = Dir("del");
    Dir("del/à/b");
    Add(1, top, true, kNotifyDirName);
    Add(2, Dir("del/à"), false, kNotifyFileName);
    EXPECT_EQ(notifier_->WatchCount(), Watches(3, 2));
    fs::remove_all(P(top) / P("à"));
    // The subtree sees folder names go; the registration on the deleted folder itself is
    // told once.
    EXPECT_EQ(Changes(), (Ids{1, 2}));
    EXPECT_EQ(notifier_->WatchCount(), 1u);
    // Nothing holds the deleted folder any longer: its name can be used again at once.
    EXPECT_TRUE(fs::create_directory(P(top) / P("à")));
    EXPECT_EQ(Changes(), (Ids{1}));
    notifier_->Remove(2);
    notifier_->Remove(1);
    EXPECT_EQ(notifier_->WatchCount(), 0u);
}

TEST_F(Notifier, WatchLimitRefusesTheWholeSubtree) {
    TLVUTL_POSIX_ONLY("fs.inotify.max_user_watches");
    const std::string top = Dir("limit");
    for (const char* d : {"limit/1", "limit/2", "limit/3", "limit/4"})
        Dir(d);
    Add(1, Dir("other"), false, kNotifyAll);
    notifier_->SetWatchLimitForTesting(3);
    std::error_code error;
    EXPECT_FALSE(notifier_->Add(2, top, true, kNotifyAll, error));
    EXPECT_EQ(error, std::errc::no_space_on_device);
    EXPECT_NE(DescribeWatchLimit(error).find("fs.inotify.max_user_watches"), std::string::npos);
    EXPECT_EQ(notifier_->WatchCount(), 1u); // nothing of the refused subtree stays
    EXPECT_EQ(notifier_->RegistrationCount(), 1u);

    // Growing past the limit later is reported, with the limit named.
    notifier_->SetWatchLimitForTesting(2);
    Add(3, Dir("small"), true, kNotifyFileName);
    fs::create_directory(fs::path(top) / ".." / "small" / "over");
    EXPECT_EQ(Changes(), (Ids{3}));
    const auto problems = notifier_->TakeProblems();
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_NE(problems[0].find("max_user_watches"), std::string::npos) << problems[0];
}

TEST_F(Notifier, QueueOverflowReportsEveryRegistration) {
    TLVUTL_POSIX_ONLY("IN_Q_OVERFLOW made through a short kernel queue");
#ifndef _WIN32
    std::ifstream limit("/proc/sys/fs/inotify/max_queued_events");
    long queued = 0;
    limit >> queued;
    if (queued <= 0 || queued > 200000)
        GTEST_SKIP() << "event queue of " << queued << " is too long to fill here";
    const std::string busy = Dir("busy");
    Add(1, busy, false, kNotifyAttributes);
    Add(2, Dir("quiet"), false, kNotifyFileName);
    Add(3, Dir("quiet/sub"), true, kNotifyDirName);
    const fs::path a = fs::path(busy) / "a", b = fs::path(busy) / "b";
    Touch(a);
    Touch(b);
    // Alternating files: the kernel merges only identical consecutive events.
    for (long i = 0; i <= queued; ++i)
        utime((i % 2 ? a : b).c_str(), nullptr);
    // Folders made while events were being lost are found by the rescan.
    fs::create_directories(dir_ / "quiet/sub/lost/found");
    EXPECT_EQ(Changes(), (Ids{1, 2, 3}));
    EXPECT_EQ(notifier_->WatchCount(), 5u);
#endif
}

TEST_F(Notifier, ReadTooSmallForAChangeReportsEveryRegistration) {
#ifdef _WIN32
    // Changes that do not fit a folder's read are lost to it: anything may have changed.
    Add(1, Dir("calme"), false, kNotifyFileName);
    notifier_->SetReadSizeForTesting(8);
    const std::string tight = Dir("étroit");
    Add(2, tight, false, kNotifyFileName);
    Add(3, Dir("calme/sous"), true, kNotifyDirName);
    Touch(P(tight) / P("un nom bien trop long pour huit octets.txt"));
    EXPECT_EQ(Changes(), (Ids{1, 2, 3}));
    // The registration goes on after the loss.
    EXPECT_EQ(notifier_->WatchCount(), 3u);
    Touch(P(Dir("calme")) / "x");
    EXPECT_EQ(Changes(), (Ids{1}));
#else
    TLVUTL_POSIX_ONLY("a read size of the Windows backend; on POSIX the kernel's queue "
                      "overflows, as QueueOverflowReportsEveryRegistration shows");
#endif
}

TEST_F(Notifier, RegistrationsEndWhileChangesPourIn) {
    // Reads in flight are cancelled and waited for while another thread keeps the folders
    // busy: nothing hangs, and an ended registration is never reported.
    const std::string busy = Dir("flot/ручей");
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (int i = 0; !stop.load(); ++i) {
            static const std::string names[] = {"f0", "f1", "f2", "f3"};
            const fs::path f = P(busy) / names[i % 4];
            Touch(f);
            std::error_code ignored;
            fs::remove(f, ignored);
        }
    });
    Add(1000, busy, true, kNotifyAll); // stays all along
    for (std::uint64_t id = 1; id <= 60; ++id) {
        Add(id, id % 2 ? busy : Dir("flot"), id % 3 == 0, kNotifyAll);
        if (id % 4 == 0) {
            Ids some;
            notifier_->ReadChanges(some);
        }
        notifier_->Remove(id);
    }
    stop = true;
    writer.join();
    const Ids left = Changes();
    EXPECT_TRUE(std::all_of(left.begin(), left.end(), [](std::uint64_t id) { return id == 1000; }))
        << left.size();
    EXPECT_EQ(notifier_->RegistrationCount(), 1u);
    EXPECT_EQ(notifier_->WatchCount(), 1u);
    notifier_->Remove(1000);
    EXPECT_EQ(notifier_->WatchCount(), 0u);
    EXPECT_EQ(Changes(), Ids{});
}

TEST_F(Notifier, DestroyedWithReadsInFlight) {
    // The destructor cancels every read and waits for it before the buffers go.
    for (std::uint64_t i = 1; i <= 20; ++i)
        Add(i, Dir("fin/" + std::to_string(i % 5)), i % 2 == 0, kNotifyAll);
    Touch(dir_.path() / "fin" / "0" / "x");
    notifier_.reset();
    // And the folders are free again.
    fs::remove_all(dir_.path() / "fin");
    EXPECT_FALSE(fs::exists(dir_.path() / "fin"));
}
