// The file-system operations built on the others, the same on every platform.
#include "file_system.h"

#include <tlvutl/encoding.h>

namespace tlv::platform {

// Paths reach the system as their WTF-8 bytes on every platform's byte-path calls.
std::string NativePath(std::wstring_view path) {
    return TlvUtils::ToWtf8(path);
}

std::wstring WidePath(std::string_view native) {
    return TlvUtils::FromWtf8(native);
}

File::~File() {
    Close();
}

bool SameFile(std::wstring_view a, std::wstring_view b) {
    FileInfo x, y;
    return !Stat(a, x) && !Stat(b, y) && x.inode == y.inode && x.device == y.device;
}

std::error_code MakeWritableByOwner(std::wstring_view path) {
    FileInfo info;
    if (const std::error_code ec = Stat(path, info))
        return ec;
    if (info.mode & 0200)
        return {};
    return SetPermissions(path, info.mode | 0200);
}

std::error_code CopyTree(std::wstring_view from, std::wstring_view to) {
    std::vector<DirEntry> entries;
    if (const std::error_code ec = ListDirectory(from, entries))
        return ec;
    std::error_code first = CreateDirectories(to);
    for (const DirEntry& e : entries) {
        const std::wstring source = JoinPath(from, e.name);
        const std::wstring target = JoinPath(to, e.name);
        FileKind kind = e.kind;
        if (kind == FileKind::kLink) {
            FileInfo info;
            Stat(source, info);
            kind = info.kind;
        }
        std::error_code ec;
        if (kind == FileKind::kDirectory)
            ec = CopyTree(source, target);
        else if (kind == FileKind::kFile && !(ec = CopyFile(source, target)))
            ec = MakeWritableByOwner(target);
        if (ec && !first)
            first = ec;
    }
    return first;
}

} // namespace tlv::platform
