// The link to the installation's samples in the user's documents folder. A symbolic link
// stands for the shell link of the Windows build.
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>

#include "platform/file_system.h"

namespace fs = tlv::platform;

void INIEnsureUserDocFilesExist() {
    const std::wstring samples = INIGetAppSamplesDir().str();
    if (!fs::IsDirectory(samples))
        return;
    const std::wstring documents = GetUserDocumentsTalvoDir().str();
    // "<application> Samples": the application's name and the localised caption.
    const std::wstring link = fs::JoinPath(
        documents, (WAppSkinSettingData::GetAppUIName() + L" " + UTLLoadStringEx(19820)).str());
    fs::FileInfo info;
    if (!fs::Stat(link, info, false) && info.kind == fs::FileKind::kLink)
        return;
    // A link the user renamed still counts.
    std::vector<fs::DirEntry> entries;
    if (!fs::ListDirectory(documents, entries))
        for (const fs::DirEntry& e : entries)
            if (e.kind == fs::FileKind::kLink &&
                fs::SameFile(fs::JoinPath(documents, e.name), samples))
                return;
    fs::CreateDirectories(documents);
    fs::CreateFolderLink(samples, link);
}
