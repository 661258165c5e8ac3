#include "change_notification.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <map>
#include <unordered_map>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tlv::platform {
namespace {

constexpr std::uint32_t kNameEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
// What a subtree registration needs besides its filter to keep its watches in step.
constexpr std::uint32_t kTreeEvents = kNameEvents | IN_MOVE_SELF;
// Changes to a file that a scan of a new folder cannot tell apart: any of them may have
// happened to a file that is found there.
constexpr std::uint32_t kFileBits =
    kNotifyFileName | kNotifyAttributes | kNotifySize | kNotifyLastWrite | kNotifySecurity;

std::error_code ErrnoCode(int e) {
    return {e, std::generic_category()};
}

bool IsLimit(const std::error_code& e) {
    return e == std::errc::no_space_on_device || e == std::errc::too_many_files_open;
}

std::string ReadProcValue(const char* path) {
    std::ifstream in(path);
    std::string value;
    in >> value;
    return value.empty() ? "unknown" : value;
}

} // namespace

std::uint32_t InotifyMaskForFilter(std::uint32_t filter) {
    std::uint32_t mask = 0;
    if (filter & (kNotifyFileName | kNotifyDirName))
        mask |= kNameEvents;
    if (filter & (kNotifyAttributes | kNotifySecurity))
        mask |= IN_ATTRIB;
    if (filter & kNotifySize)
        mask |= IN_MODIFY;
    if (filter & kNotifyLastWrite)
        mask |= IN_MODIFY | IN_ATTRIB;
    return mask;
}

bool EventMatchesFilter(std::uint32_t eventMask, std::uint32_t filter) {
    if ((eventMask & kNameEvents) &&
        (filter & ((eventMask & IN_ISDIR) ? kNotifyDirName : kNotifyFileName)))
        return true;
    if ((eventMask & IN_ATTRIB) &&
        (filter & (kNotifyAttributes | kNotifyLastWrite | kNotifySecurity)))
        return true;
    return (eventMask & IN_MODIFY) && (filter & (kNotifySize | kNotifyLastWrite));
}

// ---- WaitEvent ------------------------------------------------------------------------------

WaitEvent::WaitEvent() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (fd_ < 0)
        throw std::system_error(ErrnoCode(errno), "eventfd");
}

WaitEvent::~WaitEvent() {
    close(fd_);
}

bool WaitEvent::Signal() {
    const std::uint64_t one = 1;
    for (;;) {
        if (write(fd_, &one, sizeof one) == static_cast<ssize_t>(sizeof one))
            return true;
        if (errno != EINTR)
            return false;
    }
}

void WaitEvent::Reset() {
    std::uint64_t count;
    while (read(fd_, &count, sizeof count) < 0 && errno == EINTR) {
    }
}

bool WaitForAnyReadable(const int* fds, std::size_t count, bool* ready) {
    pollfd polled[8];
    if (count > 8)
        return false;
    for (std::size_t i = 0; i < count; ++i)
        polled[i] = pollfd{fds[i], POLLIN, 0};
    if (poll(polled, count, -1) < 0)
        return false;
    for (std::size_t i = 0; i < count; ++i)
        ready[i] = fds[i] >= 0 && (polled[i].revents & (POLLIN | POLLERR | POLLHUP)) != 0;
    return true;
}

std::string DescribeWatchLimit(const std::error_code& error) {
    if (error == std::errc::no_space_on_device)
        return "the system's limit of inotify watches per user (fs.inotify.max_user_watches = " +
               ReadProcValue("/proc/sys/fs/inotify/max_user_watches") + ")";
    if (error == std::errc::too_many_files_open)
        return "the system's limit of inotify instances per user "
               "(fs.inotify.max_user_instances = " +
               ReadProcValue("/proc/sys/fs/inotify/max_user_instances") +
               ") or the process's limit of open files";
    return {};
}

// ---- ChangeNotifier's state -----------------------------------------------------------------

namespace {

// A watched folder of one registration. The top folder's name is its full path.
struct Node {
    int wd = -1;
    std::string name;
    Node* parent = nullptr;
    std::map<std::string, std::unique_ptr<Node>> children;
};

struct Registration {
    std::uint64_t id = 0;
    bool subtree = false;
    std::uint32_t filter = 0;
    std::uint32_t mask = 0; // asked of the kernel for each of its folders
    std::unique_ptr<Node> root;
    std::unordered_map<int, Node*> byWd; // every watched folder of the registration
    bool rootMoved = false;
    bool changed = false; // reported by the ReadChanges under way
};

std::string PathOf(const Node& node) {
    if (!node.parent)
        return node.name;
    std::string parent = PathOf(*node.parent);
    if (parent.empty() || parent.back() != '/')
        parent += '/';
    return parent + node.name;
}

// A folder moved away from its parent, waiting in one read for the other half of the move.
struct PendingMove {
    std::uint32_t cookie;
    std::uint64_t reg;
    std::unique_ptr<Node> node;
};

} // namespace

struct ChangeNotifier::State {
    int fd = -1;
    std::unordered_map<std::uint64_t, std::unique_ptr<Registration>> regs;
    std::unordered_map<int, std::vector<std::uint64_t>> watchUsers; // wd -> registrations
    std::size_t limit = 0;
    std::vector<std::uint64_t> changedIds;
    std::vector<PendingMove> pending;
    std::vector<std::string> problems;

    void Mark(Registration& reg) {
        if (!reg.changed) {
            reg.changed = true;
            changedIds.push_back(reg.id);
        }
    }

    // A kernel watch on path (IN_MASK_ADD: a folder that other registrations watch keeps
    // what they asked for; each registration filters what it gets).
    int AddWatch(const std::string& path, std::uint32_t mask, bool follow, std::error_code& error) {
        const std::uint32_t flags = IN_ONLYDIR | IN_MASK_ADD | (follow ? 0 : IN_DONT_FOLLOW);
        const int wd = inotify_add_watch(fd, path.c_str(), mask | flags);
        if (wd < 0) {
            error = ErrnoCode(errno);
            return -1;
        }
        if (limit && !watchUsers.count(wd) && watchUsers.size() >= limit) {
            inotify_rm_watch(fd, wd);
            error = ErrnoCode(ENOSPC);
            return -1;
        }
        return wd;
    }

    void Use(Registration& reg, Node& node) {
        reg.byWd[node.wd] = &node;
        watchUsers[node.wd].push_back(reg.id);
    }

    void Release(std::uint64_t reg, int wd) {
        auto it = watchUsers.find(wd);
        if (it == watchUsers.end())
            return;
        auto& users = it->second;
        auto u = std::find(users.begin(), users.end(), reg);
        if (u != users.end())
            users.erase(u);
        if (users.empty()) {
            inotify_rm_watch(fd, wd);
            watchUsers.erase(it);
        }
    }

    // Gives up the watches of node and every folder below it.
    void ReleaseTree(Registration& reg, Node& node) {
        for (auto& [name, child] : node.children)
            ReleaseTree(reg, *child);
        if (node.wd >= 0) {
            auto it = reg.byWd.find(node.wd);
            if (it != reg.byWd.end() && it->second == &node) {
                reg.byWd.erase(it);
                Release(reg.id, node.wd);
            }
            node.wd = -1;
        }
    }

    // Watches folder name below parent. Null when it is not watched: gone, not a folder, or
    // already watched by this registration under another path (error is then clear).
    Node* AddChild(Registration& reg, Node& parent, const std::string& name,
                   std::error_code& error) {
        error.clear();
        const int wd = AddWatch(PathOf(parent) + "/" + name, reg.mask, false, error);
        if (wd < 0)
            return nullptr;
        if (auto known = reg.byWd.find(wd); known != reg.byWd.end())
            return Reattach(*known->second, parent, name);
        auto node = std::make_unique<Node>();
        node->wd = wd;
        node->name = name;
        node->parent = &parent;
        Node* raw = node.get();
        parent.children[name] = std::move(node);
        Use(reg, *raw);
        return raw;
    }

    // A folder found again under a new name while it waits as the first half of a move whose
    // second half did not pair with it: it keeps its watches at its new place. Any other
    // folder reached twice (through a bind mount) is watched once, where it was first found.
    Node* Reattach(Node& node, Node& parent, const std::string& name) {
        auto p = std::find_if(pending.begin(), pending.end(),
                              [&](const PendingMove& m) { return m.node.get() == &node; });
        if (p == pending.end())
            return nullptr;
        std::unique_ptr<Node> moved = std::move(p->node);
        pending.erase(p);
        moved->name = name;
        moved->parent = &parent;
        Node* raw = moved.get();
        parent.children[name] = std::move(moved);
        return raw;
    }

    // Watches every folder below top (already watched), as deep as they go. With report set,
    // what is found there counts as a change: it was made before its folder was watched.
    // False, with error set, when the system's watch limit stops it.
    bool WatchBelow(Registration& reg, Node& top, bool report, std::error_code& error) {
        std::vector<Node*> work{&top};
        while (!work.empty()) {
            Node* node = work.back();
            work.pop_back();
            DIR* dir = opendir(PathOf(*node).c_str());
            if (!dir)
                continue;
            while (const dirent* entry = readdir(dir)) {
                const std::string name = entry->d_name;
                if (name == "." || name == "..")
                    continue;
                bool isDir = entry->d_type == DT_DIR;
                if (entry->d_type == DT_UNKNOWN) {
                    struct stat st;
                    isDir = fstatat(dirfd(dir), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 &&
                            S_ISDIR(st.st_mode);
                }
                if (!isDir) {
                    if (report && (reg.filter & kFileBits))
                        Mark(reg);
                    continue;
                }
                if (report && (reg.filter & kNotifyDirName))
                    Mark(reg);
                if (node->children.count(name))
                    continue;
                Node* child = AddChild(reg, *node, name, error);
                if (child) {
                    work.push_back(child);
                } else if (IsLimit(error)) {
                    closedir(dir);
                    return false;
                }
            }
            closedir(dir);
        }
        error.clear();
        return true;
    }

    void NoteLimit(Registration& reg, const std::error_code& error) {
        problems.push_back("cannot watch a new sub-folder of \"" + reg.root->name +
                           "\": " + DescribeWatchLimit(error) + " is reached");
        Mark(reg);
    }

    // A folder created or moved in below node: watch it and what is already in it.
    void AddNewFolder(Registration& reg, Node& node, const std::string& name) {
        if (node.children.count(name))
            return;
        if (reg.rootMoved) {
            Mark(reg);
            return;
        }
        std::error_code error;
        Node* child = AddChild(reg, node, name, error);
        if (!child) {
            if (IsLimit(error))
                NoteLimit(reg, error);
            return;
        }
        if (!WatchBelow(reg, *child, true, error))
            NoteLimit(reg, error);
    }

    // After lost events: drop the watches of folders that are gone and watch those that came.
    void Resync(Registration& reg) {
        if (!reg.subtree || reg.rootMoved || reg.root->wd < 0)
            return;
        std::vector<Node*> work{reg.root.get()};
        while (!work.empty()) {
            Node* node = work.back();
            work.pop_back();
            const std::string path = PathOf(*node);
            for (auto it = node->children.begin(); it != node->children.end();) {
                struct stat st;
                const std::string child = path + "/" + it->first;
                if (lstat(child.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
                    ReleaseTree(reg, *it->second);
                    it = node->children.erase(it);
                } else {
                    work.push_back(it->second.get());
                    ++it;
                }
            }
        }
        std::error_code error;
        if (!WatchBelow(reg, *reg.root, true, error))
            NoteLimit(reg, error);
    }

    // The kernel dropped watch wd: its folder was deleted or its file system unmounted.
    void WatchGone(int wd) {
        auto it = watchUsers.find(wd);
        if (it == watchUsers.end())
            return;
        const std::vector<std::uint64_t> users = std::move(it->second);
        watchUsers.erase(it);
        for (const std::uint64_t id : users) {
            auto r = regs.find(id);
            if (r == regs.end())
                continue;
            Registration& reg = *r->second;
            auto n = reg.byWd.find(wd);
            if (n == reg.byWd.end())
                continue;
            Node* node = n->second;
            reg.byWd.erase(n);
            node->wd = -1;
            ReleaseTree(reg, *node);
            if (node->parent)
                node->parent->children.erase(node->name);
            Mark(reg);
        }
    }

    // Whether node hangs below the registration's top folder (not a folder moved away whose
    // destination is not known yet).
    static bool Attached(const Registration& reg, const Node& node) {
        const Node* n = &node;
        while (n->parent)
            n = n->parent;
        return n == reg.root.get();
    }

    void Handle(const inotify_event& e) {
        if (e.mask & IN_IGNORED) {
            WatchGone(e.wd);
            return;
        }
        auto it = watchUsers.find(e.wd);
        if (it == watchUsers.end())
            return; // a watch given up after the event was queued
        const std::vector<std::uint64_t> users = it->second;
        const std::string name = e.len ? std::string(e.name) : std::string();
        for (const std::uint64_t id : users) {
            auto r = regs.find(id);
            if (r == regs.end())
                continue;
            Registration& reg = *r->second;
            auto n = reg.byWd.find(e.wd);
            if (n == reg.byWd.end())
                continue;
            Node& node = *n->second;
            if (!Attached(reg, node))
                continue; // moved away; the rest of this read tells where to
            if (e.mask & IN_MOVE_SELF) {
                // Sub-folders report their moves through their parent; the top folder's new
                // path is unknown, so new sub-folders can no longer be reached.
                if (&node == reg.root.get() && reg.subtree && !reg.rootMoved) {
                    reg.rootMoved = true;
                    problems.push_back("\"" + reg.root->name +
                                       "\" was moved: its new sub-folders are not watched");
                    Mark(reg);
                }
                continue;
            }
            if (EventMatchesFilter(e.mask, reg.filter))
                Mark(reg);
            if (!reg.subtree || !(e.mask & IN_ISDIR) || name.empty())
                continue;
            if (e.mask & IN_CREATE) {
                AddNewFolder(reg, node, name);
            } else if (e.mask & IN_MOVED_TO) {
                auto p = std::find_if(pending.begin(), pending.end(), [&](const PendingMove& m) {
                    return m.cookie == e.cookie && m.reg == id;
                });
                if (p == pending.end()) {
                    AddNewFolder(reg, node, name);
                    continue;
                }
                // Renamed inside the tree: its watches stay, only its place changes.
                std::unique_ptr<Node> moved = std::move(p->node);
                pending.erase(p);
                auto old = node.children.find(name);
                if (old != node.children.end()) {
                    ReleaseTree(reg, *old->second);
                    node.children.erase(old);
                }
                moved->name = name;
                moved->parent = &node;
                Node& placed = *moved;
                node.children[name] = std::move(moved);
                // The node was taken under its old name while events were still queued: if
                // a folder made under that name in the meantime was taken instead, the
                // folder now here is another one.
                std::error_code error;
                const int wd = AddWatch(PathOf(placed), reg.mask, false, error);
                if (wd >= 0 && wd != placed.wd) {
                    if (!watchUsers.count(wd))
                        inotify_rm_watch(fd, wd);
                    ReleaseTree(reg, placed);
                    node.children.erase(name);
                    AddNewFolder(reg, node, name);
                }
            } else if (e.mask & IN_MOVED_FROM) {
                auto child = node.children.find(name);
                if (child != node.children.end()) {
                    child->second->parent = nullptr;
                    pending.push_back(PendingMove{e.cookie, id, std::move(child->second)});
                    node.children.erase(child);
                }
            } else if (e.mask & IN_DELETE) {
                auto child = node.children.find(name);
                if (child != node.children.end()) {
                    ReleaseTree(reg, *child->second);
                    node.children.erase(child);
                }
            }
        }
    }
};

// ---- ChangeNotifier -------------------------------------------------------------------------

std::unique_ptr<ChangeNotifier> ChangeNotifier::Create(std::error_code& error) {
    const int fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd < 0) {
        error = ErrnoCode(errno);
        return nullptr;
    }
    error.clear();
    return std::unique_ptr<ChangeNotifier>(new ChangeNotifier(fd));
}

ChangeNotifier::ChangeNotifier(int fd) : fd_(fd), state_(std::make_unique<State>()) {
    state_->fd = fd;
}

ChangeNotifier::~ChangeNotifier() {
    close(fd_);
}

bool ChangeNotifier::Add(std::uint64_t id, std::string_view folder, bool subtree,
                         std::uint32_t filter, std::error_code& error) {
    if (filter == 0 || (filter & ~kNotifyAll) || folder.empty() || state_->regs.count(id)) {
        error = std::make_error_code(std::errc::invalid_argument);
        return false;
    }
    std::string path(folder);
    if (path.front() != '/') {
        char cwd[4096];
        if (!getcwd(cwd, sizeof cwd)) {
            error = ErrnoCode(errno);
            return false;
        }
        path = std::string(cwd) + "/" + path;
    }
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();

    auto reg = std::make_unique<Registration>();
    reg->id = id;
    reg->subtree = subtree;
    reg->filter = filter;
    reg->mask = InotifyMaskForFilter(filter) | (subtree ? kTreeEvents : 0);
    error.clear();
    const int wd = state_->AddWatch(path, reg->mask, true, error);
    if (wd < 0)
        return false;
    reg->root = std::make_unique<Node>();
    reg->root->wd = wd;
    reg->root->name = path;
    Registration& added = *reg;
    state_->regs.emplace(id, std::move(reg));
    state_->Use(added, *added.root);
    if (subtree && !state_->WatchBelow(added, *added.root, false, error)) {
        const std::error_code why = error;
        Remove(id);
        error = why;
        return false;
    }
    return true;
}

void ChangeNotifier::Remove(std::uint64_t id) {
    auto it = state_->regs.find(id);
    if (it == state_->regs.end())
        return;
    state_->ReleaseTree(*it->second, *it->second->root);
    state_->regs.erase(it);
}

void ChangeNotifier::ReadChanges(std::vector<std::uint64_t>& changed) {
    State& s = *state_;
    alignas(inotify_event) char buffer[64 * 1024];
    bool overflow = false;
    // A bounded number of reads: under a flood of changes the owner still gets to run.
    for (int round = 0; round < 16; ++round) {
        const ssize_t n = read(fd_, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        for (ssize_t at = 0; at < n;) {
            const auto* e = reinterpret_cast<const inotify_event*>(buffer + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + e->len);
            if (e->mask & IN_Q_OVERFLOW)
                overflow = true;
            else
                s.Handle(*e);
        }
        // Room left for another event: the queue was empty when it was read, so no second
        // read is needed to learn it.
        if (static_cast<std::size_t>(n) + sizeof(inotify_event) + NAME_MAX + 1 <= sizeof buffer)
            break;
    }
    // A move whose other half did not come took the folder out of the watched tree.
    for (PendingMove& m : s.pending) {
        auto r = s.regs.find(m.reg);
        if (r != s.regs.end())
            s.ReleaseTree(*r->second, *m.node);
    }
    s.pending.clear();
    if (overflow) {
        for (auto& [id, reg] : s.regs) {
            s.Mark(*reg);
            s.Resync(*reg);
        }
    }
    std::sort(s.changedIds.begin(), s.changedIds.end());
    for (const std::uint64_t id : s.changedIds) {
        auto r = s.regs.find(id);
        if (r != s.regs.end())
            r->second->changed = false;
        changed.push_back(id);
    }
    s.changedIds.clear();
}

std::vector<std::string> ChangeNotifier::TakeProblems() {
    return std::exchange(state_->problems, {});
}

std::size_t ChangeNotifier::RegistrationCount() const {
    return state_->regs.size();
}

std::size_t ChangeNotifier::WatchCount() const {
    return state_->watchUsers.size();
}

void ChangeNotifier::SetWatchLimitForTesting(std::size_t limit) {
    state_->limit = limit;
}

} // namespace tlv::platform
