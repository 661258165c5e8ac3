// The change notifier on its own, on one thread: every change is queued by the system call
// that makes it, so each test makes a change and reads what it woke, with no waiting.
#include "environment/temp_dir.h"
#include "platform/change_notification.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

namespace fs = std::filesystem;
using namespace tlv::platform;

namespace {

using Ids = std::vector<std::uint64_t>;

class Notifier : public ::testing::Test {
protected:
    void SetUp() override {
        std::error_code error;
        notifier_ = ChangeNotifier::Create(error);
        ASSERT_TRUE(notifier_) << error.message();
    }

    std::string Dir(const std::string& name) {
        const fs::path p = dir_ / name;
        fs::create_directories(p);
        return p.string();
    }
    void Add(std::uint64_t id, const std::string& path, bool subtree, std::uint32_t filter) {
        std::error_code error;
        ASSERT_TRUE(notifier_->Add(id, path, subtree, filter, error))
            << path << ": " << error.message();
    }
    Ids Changes() {
        Ids ids;
        notifier_->ReadChanges(ids);
        return ids;
    }

    TempDir dir_;
    std::unique_ptr<ChangeNotifier> notifier_;
};

void Touch(const fs::path& p) {
    std::ofstream(p, std::ios::app) << "x";
}

} // namespace

TEST(ChangeFilter, MasksAndEventsRowByRow) {
    constexpr std::uint32_t names = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
    EXPECT_EQ(InotifyMaskForFilter(kNotifyFileName), names);
    EXPECT_EQ(InotifyMaskForFilter(kNotifyDirName), names);
    EXPECT_EQ(InotifyMaskForFilter(kNotifyAttributes), IN_ATTRIB);
    EXPECT_EQ(InotifyMaskForFilter(kNotifySize), IN_MODIFY);
    EXPECT_EQ(InotifyMaskForFilter(kNotifyLastWrite), IN_MODIFY | IN_ATTRIB);
    EXPECT_EQ(InotifyMaskForFilter(kNotifySecurity), IN_ATTRIB);
    EXPECT_EQ(InotifyMaskForFilter(0x20), 0u);

    // Which event wakes which filter bit: files and folders are told apart by IN_ISDIR.
    struct Row {
        std::uint32_t event;
        std::uint32_t wakes;
    } rows[] = {
        {IN_CREATE, kNotifyFileName},
        {IN_CREATE | IN_ISDIR, kNotifyDirName},
        {IN_DELETE, kNotifyFileName},
        {IN_MOVED_FROM | IN_ISDIR, kNotifyDirName},
        {IN_MOVED_TO, kNotifyFileName},
        {IN_ATTRIB, kNotifyAttributes | kNotifyLastWrite | kNotifySecurity},
        {IN_ATTRIB | IN_ISDIR, kNotifyAttributes | kNotifyLastWrite | kNotifySecurity},
        {IN_MODIFY, kNotifySize | kNotifyLastWrite},
        {IN_ACCESS, 0},
        {IN_CLOSE_WRITE, 0},
    };
    const std::uint32_t bits[] = {kNotifyFileName, kNotifyDirName,   kNotifyAttributes,
                                  kNotifySize,     kNotifyLastWrite, kNotifySecurity};
    for (const Row& row : rows)
        for (const std::uint32_t bit : bits)
            EXPECT_EQ(EventMatchesFilter(row.event, bit), (row.wakes & bit) != 0)
                << std::hex << "event " << row.event << " bit " << bit;
}

TEST_F(Notifier, RefusesWhatCannotBeWatchedAndKeepsNothing) {
    std::error_code error;
    const std::string file = (dir_ / "file.txt").string();
    Touch(file);
    EXPECT_FALSE(notifier_->Add(1, (dir_ / "missing").string(), false, kNotifyAll, error));
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    EXPECT_FALSE(notifier_->Add(1, file, false, kNotifyAll, error));
    EXPECT_EQ(error, std::errc::not_a_directory);
    EXPECT_FALSE(notifier_->Add(1, dir_.path().string(), false, 0, error));
    EXPECT_EQ(error, std::errc::invalid_argument);
    EXPECT_FALSE(notifier_->Add(1, dir_.path().string(), false, 0x20, error));
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
    EXPECT_EQ(notifier_->WatchCount(), 1u); // one folder, one kernel watch

    const fs::path file = fs::path(top) / "файл.txt";
    Touch(file);
    // Created and written: file name, size, last write.
    EXPECT_EQ(Changes(), (Ids{1, 4, 5}));
    fs::rename(file, fs::path(top) / "文件.txt");
    EXPECT_EQ(Changes(), (Ids{1})); // a rename is a name change, nothing else
    chmod((fs::path(top) / "文件.txt").c_str(), 0600);
    EXPECT_EQ(Changes(), (Ids{3, 5, 6}));
    fs::create_directory(fs::path(top) / "sub");
    EXPECT_EQ(Changes(), (Ids{2}));
    fs::remove(fs::path(top) / "sub");
    EXPECT_EQ(Changes(), (Ids{2}));
    std::ifstream(fs::path(top) / "文件.txt").get(); // reading changes nothing
    EXPECT_EQ(Changes(), Ids{});
}

TEST_F(Notifier, SameFolderTwiceIsTwoIndependentRegistrations) {
    const std::string top = Dir("twice");
    Add(7, top, false, kNotifySize);
    Add(9, top, false, kNotifyFileName);
    EXPECT_EQ(notifier_->WatchCount(), 1u);
    Touch(fs::path(top) / "a");
    EXPECT_EQ(Changes(), (Ids{7, 9}));
    fs::rename(fs::path(top) / "a", fs::path(top) / "b");
    EXPECT_EQ(Changes(), (Ids{9})); // the size registration keeps its own filter

    // Removing the wider one leaves the other watching, with its own filter.
    notifier_->Remove(9);
    EXPECT_EQ(notifier_->WatchCount(), 1u);
    fs::rename(fs::path(top) / "b", fs::path(top) / "c");
    EXPECT_EQ(Changes(), Ids{});
    Touch(fs::path(top) / "c");
    EXPECT_EQ(Changes(), (Ids{7}));
    notifier_->Remove(7);
    EXPECT_EQ(notifier_->WatchCount(), 0u);
    Touch(fs::path(top) / "c");
    EXPECT_EQ(Changes(), Ids{});
}

TEST_F(Notifier, ChangesDeepInASubtreeAndOnlyWithTheSubtreeFlag) {
    const std::string top = Dir("deep");
    const std::string deep = Dir("deep/a/b/c/d");
    Add(1, top, true, kNotifyFileName);
    Add(2, top, false, kNotifyFileName);
    EXPECT_EQ(notifier_->WatchCount(), 5u);
    Touch(fs::path(deep) / "x");
    EXPECT_EQ(Changes(), (Ids{1}));
    Touch(fs::path(top) / "x");
    EXPECT_EQ(Changes(), (Ids{1, 2}));
}

TEST_F(Notifier, NewSubFolderIsWatchedAndWhatWasPutInItFirstIsReported) {
    const std::string top = Dir("grow");
    Add(1, top, true, kNotifyFileName);
    // Made and filled before the notifier reads a thing: the watch comes too late for these
    // files' own events, so the scan reports them.
    fs::create_directories(fs::path(top) / "new" / "inner");
    Touch(fs::path(top) / "new" / "inner" / "early.txt");
    EXPECT_EQ(Changes(), (Ids{1}));
    EXPECT_EQ(notifier_->WatchCount(), 3u);
    Touch(fs::path(top) / "new" / "inner" / "late.txt");
    EXPECT_EQ(Changes(), (Ids{1}));

    // A folder alone does not wake a file-name filter; a file in it does.
    fs::create_directories(fs::path(top) / "empty");
    EXPECT_EQ(Changes(), Ids{});
    EXPECT_EQ(notifier_->WatchCount(), 4u);
}

TEST_F(Notifier, SubtreeMovedAwayAndBack) {
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

TEST_F(Notifier, RenameInsideTheTreeKeepsTheWatchesAndTheirPaths) {
    const std::string top = Dir("ren");
    Dir("ren/a/b");
    Add(1, top, true, kNotifyDirName);
    fs::rename(fs::path(top) / "a", fs::path(top) / "Ä");
    EXPECT_EQ(Changes(), (Ids{1}));
    EXPECT_EQ(notifier_->WatchCount(), 3u);
    // A folder made below the renamed one must be found at its new path.
    fs::create_directory(fs::path(top) / "Ä" / "b" / "c");
    EXPECT_EQ(Changes(), (Ids{1}));
    EXPECT_EQ(notifier_->WatchCount(), 4u);
    fs::create_directory(fs::path(top) / "Ä" / "b" / "c" / "d");
    EXPECT_EQ(Changes(), (Ids{1}));
    EXPECT_EQ(notifier_->WatchCount(), 5u);
}

TEST_F(Notifier, FolderRenamedAndItsNameReusedBeforeTheEventsAreRead) {
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
    const std::string top = Dir("del");
    Dir("del/a/b");
    Add(1, top, true, kNotifyDirName);
    Add(2, (dir_ / "del/a").string(), false, kNotifyFileName);
    EXPECT_EQ(notifier_->WatchCount(), 3u);
    fs::remove_all(fs::path(top) / "a");
    // The subtree sees folder names go; the registration on the deleted folder itself is
    // told once.
    EXPECT_EQ(Changes(), (Ids{1, 2}));
    EXPECT_EQ(notifier_->WatchCount(), 1u);
    notifier_->Remove(2);
    notifier_->Remove(1);
    EXPECT_EQ(notifier_->WatchCount(), 0u);
}

TEST_F(Notifier, WatchLimitRefusesTheWholeSubtree) {
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
}
