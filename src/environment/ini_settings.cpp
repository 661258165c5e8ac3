// Settings kept in the suite's ini files, and the creation of Unicode ini files.
#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>
#include <tlvutl/profile.h>

#include "platform/file_system.h"

#include <atomic>
#include <cstdio>
#include <string>

using namespace TlvUtl::Win32;

CString INIGetCommonIniFile() {
    return GetUserProfileConfigDir() + L"talvoapp.ini";
}

CString INIGetTalvoPrnIniFile() {
    return GetUserProfileConfigDir() + L"talvoprn.ini";
}

void INIInitCommonIniFile() {
    GetUserProfileConfigDir();
    GetUserDocumentsTalvoSuiteDir();
}

CString INIGetNetworkWorkspaceDir() {
    wchar_t buffer[MAX_PATH];
    GetPrivateProfileStringW(L"Config", L"NetworkWorkspaceDir", L"", buffer, MAX_PATH,
                             INIGetCommonIniFile());
    return CString(buffer);
}

int INIGetUseColorExtTextOut() {
    // Read once per process.
    static const int value = static_cast<int>(
        GetPrivateProfileIntW(L"Config", L"UseColorExtTextOut", 1, INIGetCommonIniFile()));
    return value;
}

DWORD PINIGetUserPaletteWithDefault(LPWSTR out, DWORD size, LPCWSTR iniFile, LPCWSTR defaultValue) {
    return GetPrivateProfileStringW(L"Configuration", L"UserPalette", defaultValue, out, size,
                                    iniFile);
}

BOOL PINIWriteUserPalette(LPCWSTR value, LPCWSTR iniFile) {
    return WritePrivateProfileStringW(L"Configuration", L"UserPalette", value, iniFile);
}

int INIGetScanCloseDlgFlag() {
    return GetPrivateProfileIntW(L"Scanner", L"ScanCloseDlgFlag", 1, INIGetCommonIniFile()) != 0
               ? 1
               : 0;
}

BOOL INIWriteScanCloseDlgFlag(int flag) {
    return WritePrivateProfileStringW(L"Scanner", L"ScanCloseDlgFlag",
                                      std::to_wstring(flag).c_str(), INIGetCommonIniFile());
}

int INIGetMaxNoOfCustomUnit() {
    return static_cast<int>(
        GetPrivateProfileIntW(L"Custom Unit(s)", L"MaxNoOfCustomUnits", 32, INIGetCommonIniFile()));
}

DWORD INIGetCustomUnit(int index, LPWSTR out, DWORD length) {
    CString key;
    key.Format(L"CustomUnit%d", index);
    return GetPrivateProfileStringW(L"Custom Unit(s)", key, L"", out, length,
                                    INIGetCommonIniFile());
}

int INISetCustomUnit(int index, LPCWSTR line) {
    CString key;
    key.Format(L"CustomUnit%d", index);
    return WritePrivateProfileStringW(L"Custom Unit(s)", key, line, INIGetCommonIniFile());
}

int UTLCreateUnicodeIniFile(LPCWSTR fileName) {
    if (!fileName)
        return 0;
    // Created only when the file does not exist; an existing file is never truncated.
    tlv::platform::File f;
    if (f.Open(fileName, tlv::platform::File::Mode::kCreateNew))
        return 0;
    const std::string bytes =
        "\xFF\xFE" +
        TlvUtils::ToUtf16LE(L"; Please do not remove! This line is required by Winnt4.\r\n\r\n");
    const bool written = !f.Write(bytes.data(), bytes.size());
    const bool closed = !f.Close();
    return written && closed ? 1 : 0;
}
