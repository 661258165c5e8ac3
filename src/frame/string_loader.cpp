// String loading: the shared string ring, the owned-string loader and resource modules.
//
// The ring hands out pointers without allocating, which is why old callers can keep using
// UTLLoadString in tight loops; the price is that a text is overwritten once about 9 KB of
// later strings have been loaded.
#include <tlvutl/frame.h>
#include <tlvutl/messages.h>

#include "platform/module_loader.h"
#include "library_state.h"

#include <algorithm>

namespace {

constexpr int kRingSize = 10240;
constexpr int kRingWrap = 9217;
constexpr int kMaxString = 1024;

wchar_t g_ring[kRingSize];
int g_ringPos = 0;

// The handle that holds the string table block of this id: the first chained module, most
// recent first, whose table has it; the default handle when none has.
HMODULE FindResourceHandle(UINT id) {
    for (CDynLinkLibrary* r : CDynLinkLibrary::Chain())
        if (r->m_hResource && tlv::platform::ModuleHasString(r->m_hResource, id))
            return r->m_hResource;
    return UTLGetDefaultResourceHandle();
}

bool LoadInto(HMODULE module, UINT id, CString& out) {
    if (!module || !tlv::platform::ModuleHasString(module, id))
        return false;
    wchar_t buffer[kMaxString * 4];
    const int n =
        tlv::platform::LoadModuleString(module, id, buffer, static_cast<int>(std::size(buffer)));
    out = CString(buffer, n);
    return n > 0;
}

} // namespace

HMODULE UTLGetDefaultResourceHandle() {
    HMODULE h = tlv::frame::LibraryResourceHandle();
    return h ? h : tlv::platform::MainModule();
}

const wchar_t* UTLLoadString(UINT id) {
    wchar_t* out = g_ring + g_ringPos;
    const HMODULE def = UTLGetDefaultResourceHandle();
    int n = tlv::platform::LoadModuleString(def, id, out, kMaxString);
    if (n == 0)
        n = tlv::platform::LoadModuleString(FindResourceHandle(id), id, out, kMaxString);
    if (n == 0 && def != tlv::platform::MainModule())
        n = tlv::platform::LoadModuleString(tlv::platform::MainModule(), id, out, kMaxString);
    if (n == 0)
        out[0] = L'\0';
    g_ringPos += n + 1;
    if (g_ringPos >= kRingWrap)
        g_ringPos = 0;
    return out;
}

CString UTLLoadStringEx(HINSTANCE instance, UINT id) {
    CString s;
    if (LoadInto(instance, id, s))
        return s;
    if (LoadInto(FindResourceHandle(id), id, s))
        return s;
    if (instance != tlv::platform::MainModule() && LoadInto(tlv::platform::MainModule(), id, s))
        return s;
    return CString();
}

CString UTLLoadStringEx(UINT id) {
    return UTLLoadStringEx(UTLGetDefaultResourceHandle(), id);
}

HMODULE UTLLoadResourceDLL(const wchar_t* name) {
    HMODULE h = name ? tlv::platform::LoadModule(name) : nullptr;
    if (h)
        return h;
    CString text;
    text.Format(L"Unable to load resource DLL \n%s!", name ? name : L"");
    TlvUtl::GetMessageSink().ShowWarning(text.Left(293));
    return nullptr;
}

HMODULE UTLGetResourceModuleHandle(const wchar_t* name) {
    return name ? tlv::platform::FindLoadedModule(name) : nullptr;
}

int UTLFreeResourceDLL(HMODULE module) {
    if (!module)
        return 0;
    return tlv::platform::FreeModule(module) ? 1 : 0;
}
