// CreateFolderLink of the Windows build: a shell link ("<link>.lnk") to the folder, the kind
// of link the desktop shell shows and follows; symbolic links need a privilege users lack.
#include "file_system.h"

#include <windows.h>

#include <objbase.h>
#include <objidl.h>
#include <shlguid.h>
#include <shobjidl.h>

namespace tlv::platform {

std::error_code CreateFolderLink(std::wstring_view target, std::wstring_view link) {
    std::wstring file(link);
    if (file.size() < 4 || _wcsicmp(file.c_str() + file.size() - 4, L".lnk") != 0)
        file += L".lnk";
    if (Exists(file) || Exists(link))
        return std::error_code(ERROR_FILE_EXISTS, std::system_category());
    // The calling thread may already be in either apartment; both serve a shell link.
    const HRESULT init = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    IShellLinkW* shellLink = nullptr;
    HRESULT hr = ::CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW,
                                    reinterpret_cast<void**>(&shellLink));
    if (SUCCEEDED(hr)) {
        const std::wstring to(target);
        hr = shellLink->SetPath(to.c_str());
        IPersistFile* persist = nullptr;
        if (SUCCEEDED(hr))
            hr = shellLink->QueryInterface(IID_IPersistFile, reinterpret_cast<void**>(&persist));
        if (SUCCEEDED(hr)) {
            hr = persist->Save(file.c_str(), TRUE);
            persist->Release();
        }
        shellLink->Release();
    }
    if (SUCCEEDED(init))
        ::CoUninitialize();
    if (FAILED(hr))
        return std::error_code(HRESULT_FACILITY(hr) == FACILITY_WIN32 ? HRESULT_CODE(hr)
                                                                      : ERROR_GEN_FAILURE,
                               std::system_category());
    return {};
}

} // namespace tlv::platform
