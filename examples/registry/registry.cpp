// The registry store: a host's settings under its product key, read with defaults, then the
// key exported as a Windows ".reg" file and imported back after it was deleted.
// TLV_REGISTRY_DIR says where the store lives (by default under $XDG_DATA_HOME).
#include <tlvutl/encoding.h>
#include <tlvutl/registry.h>

#include <cstdio>
#include <string>
#include <unistd.h>

int main() {
    const wchar_t* root = L"HKEY_CURRENT_USER\\";
    const wchar_t* product = L"Software\\Example Host\\Größen";
    const std::wstring keyPath = std::wstring(root) + product;

    // Missing values give the default, and RegReadInt stores it for next time.
    const int launches = WUTLRegistry::RegReadInt(product, L"Launches", 0, root);
    WUTLRegistry::RegWriteString(product, L"Launches", std::to_wstring(launches + 1).c_str(), root);
    WUTLRegistry::RegWriteString(product, L"Last document", L"Übersicht.plan", root);

    {
        WUTLRegistry key(keyPath.c_str(), KEY_ALL_ACCESS, 1);
        key.SetValue(L"Zoom percent", 150);
        int zoom = 0;
        CString last;
        key.GetValue(L"Zoom percent", zoom);
        key.GetValue(L"Last document", last);
        std::printf("zoom %d%%, last document %s\n", zoom, last.ToUtf8().c_str());
    }

    char folder[] = "/tmp/tlvutl-reg-XXXXXX";
    if (!mkdtemp(folder))
        return 1;
    const std::wstring regFile = TlvUtils::FromUtf8(folder) + L"/export.reg";
    std::wstring error;
    if (TlvUtl::RegExportFile(keyPath.c_str(), regFile.c_str(), &error) != ERROR_SUCCESS) {
        std::fprintf(stderr, "export: %s\n", TlvUtils::ToUtf8(error).c_str());
        return 1;
    }
    std::printf("exported %s to %s/export.reg\n", TlvUtils::ToUtf8(keyPath).c_str(), folder);

    // Delete the key, then bring it back from the file.
    WUTLRegistry::DeleteRegistryKey(keyPath.c_str());
    const bool gone = WUTLRegistry::IsValid(keyPath.c_str()) != ERROR_SUCCESS;
    if (TlvUtl::RegImportFile(regFile.c_str(), &error) != ERROR_SUCCESS) {
        std::fprintf(stderr, "import: %s\n", TlvUtils::ToUtf8(error).c_str());
        return 1;
    }
    wchar_t last[MAX_PATH];
    WUTLRegistry::RegReadString(product, L"Last document", L"", last, MAX_PATH, root);
    std::printf("after delete and import: last document %s\n", TlvUtils::ToUtf8(last).c_str());

    WUTLRegistry::DeleteRegistryKey(keyPath.c_str());
    unlink(TlvUtils::ToUtf8(regFile).c_str());
    rmdir(folder);
    return gone && std::wstring(last) == L"Übersicht.plan" ? 0 : 1;
}
