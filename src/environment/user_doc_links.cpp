// The link to the installation's samples in the user's documents folder. A symbolic link
// stands for the shell link of the Windows build.
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;

bool SameFolder(const fs::path& a, const fs::path& b) {
    std::error_code ec;
    return fs::equivalent(a, b, ec);
}

} // namespace

void INIEnsureUserDocFilesExist() {
    const fs::path samples(INIGetAppSamplesDir().str());
    std::error_code ec;
    if (!fs::is_directory(samples, ec))
        return;
    const fs::path documents(GetUserDocumentsTalvoDir().str());
    // "<application> Samples": the application's name and the localised caption.
    const fs::path link =
        documents / (WAppSkinSettingData::GetAppUIName() + L" " + UTLLoadStringEx(19820)).str();
    if (fs::is_symlink(fs::symlink_status(link, ec)))
        return;
    for (fs::directory_iterator it(documents, ec), end; !ec && it != end; it.increment(ec))
        if (it->is_symlink(ec) && SameFolder(it->path(), samples))
            return;
    fs::create_directories(documents, ec);
    fs::create_directory_symlink(samples, link, ec);
}
