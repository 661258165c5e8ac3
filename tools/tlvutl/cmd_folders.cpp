// tlvutl folders: every folder getter and the path it gives on this machine.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>

#include <algorithm>
#include <cstring>
#include <iostream>

namespace tlvtool {
namespace {

struct Getter {
    const char* name;
    CString (*get)();
};

const Getter kGetters[] = {
    {"INIGetConfigDir", &INIGetConfigDir},
    {"INIGetInstallDir", &INIGetInstallDir},
    {"INIGetLangRelDir", &INIGetLangRelDir},
    {"INIGetAppDir", &INIGetAppDir},
    {"INIGetLangRelAppDir", &INIGetLangRelAppDir},
    {"INIGetHelpFileAppDir", &INIGetHelpFileAppDir},
    {"INIGetRegistryProductKey", &INIGetRegistryProductKey},
    {"BOXIDGetUserPathDir", &BOXIDGetUserPathDir},
    {"BOXIDGetUserProductDir", &BOXIDGetUserProductDir},
    {"BOXIDGetUserContentDir", &BOXIDGetUserContentDir},
    {"BOXIDGetInstalledContentDir", &BOXIDGetInstalledContentDir},
    {"GetUserProfileTalvoDir", &GetUserProfileTalvoDir},
    {"GetUserProfileGraphicsDir", &GetUserProfileGraphicsDir},
    {"GetUserProfileAppDir", &GetUserProfileAppDir},
    {"GetUserDocumentsTalvoDir", &GetUserDocumentsTalvoDir},
    {"GetUserDocumentsTalvoSuiteDir", &GetUserDocumentsTalvoSuiteDir},
    {"GetPublicDocumentsTalvoDir", &GetPublicDocumentsTalvoDir},
    {"GetPublicDocumentsTalvoContentDir", &GetPublicDocumentsTalvoContentDir},
    {"GetUserProfileConfigDir", &GetUserProfileConfigDir},
#define TLVUTL_FOLDER_ROW(name, base, sub) {#name, &name},
    TLVUTL_DERIVED_FOLDERS(TLVUTL_FOLDER_ROW)
#undef TLVUTL_FOLDER_ROW
        {"INIGetCommonIniFile", &INIGetCommonIniFile},
    {"INIGetTalvoPrnIniFile", &INIGetTalvoPrnIniFile},
};

} // namespace

void PrintFolders(std::ostream& out, bool all) {
    // The paths line up two blanks after the longest getter name, at column 40 at least.
    std::size_t column = 40;
    for (const Getter& g : kGetters)
        column = std::max(column, std::strlen(g.name) + 2);
    int shown = 0;
    for (const Getter& g : kGetters) {
        if (!all && ++shown > 8)
            break;
        out << g.name << std::string(column - std::strlen(g.name), ' ')
            << TlvUtils::ToUtf8(g.get().str()) << "\n";
    }
}

int RunFolders(const Args& args) {
    if (!args.empty())
        return UsageError(CommandNamed("folders"), "takes no arguments");
    PrintFolders(std::cout, true);
    return kOk;
}

} // namespace tlvtool
