// The last-resort report of internal faults.
//
// The formatted "module, code, FILE, line" text goes in the box's caption and a fixed text in
// its body; hosts' support staff are used to reading the caption, so the placement stays.
#include <tlvutl/frame.h>
#include <tlvutl/messages.h>

#include "core/case_fold.h"
#include "platform/console.h"
#include "platform/module_loader.h"

#include <cstdlib>
#include <cwchar>
#include <cwctype>

namespace {

constexpr int kBuf = 260;

bool g_cached = false;
wchar_t g_caption[kBuf];
wchar_t g_bodyNonZero[kBuf];
wchar_t g_bodyZero[kBuf];

} // namespace

void UIMSG_FatalError(UINT code, const wchar_t* sourceFile, UINT line, const wchar_t* moduleName,
                      int bodySelector) {
    if (!g_cached) {
        const HMODULE h = UTLGetDefaultResourceHandle();
        tlv::platform::LoadModuleString(h, 24007, g_caption, kBuf);
        tlv::platform::LoadModuleString(h, 24008, g_bodyNonZero, kBuf);
        tlv::platform::LoadModuleString(h, 24009, g_bodyZero, kBuf);
        g_cached = true;
    }

    const wchar_t* src = sourceFile ? sourceFile : L"";
    const wchar_t* dot = std::wcschr(src, L'.');
    if (dot && dot - src >= kBuf) {
        // The name does not fit the fixed buffer: a bound failure, which ends the process.
        tlv::platform::WriteErrorLine(L"tlvutl: fatal error report: source file name too long");
        std::abort();
    }
    wchar_t file[kBuf];
    std::wcsncpy(file, src, kBuf - 1);
    file[kBuf - 1] = L'\0';
    if (wchar_t* cut = std::wcschr(file, L'.'))
        *cut = L'\0';
    for (wchar_t* p = file; *p; ++p)
        *p = tlv::core::FoldUpper(*p);

    CString module = moduleName ? CString(moduleName) : CString();
    if (module.IsEmpty())
        module = WAppSkinSettingData::GetAppUIName();

    CString caption;
    caption.Format(g_caption, module.GetString(), code, file, line);
    // wsprintf writes at most 1,024 characters with the terminator.
    caption = caption.Left(1023);

    TlvUtl::MessageSink& sink = TlvUtl::GetMessageSink();
    sink.Beep(MB_ICONHAND);
    sink.MessageBox(nullptr, bodySelector ? g_bodyNonZero : g_bodyZero, caption,
                    MB_ICONHAND | MB_SYSTEMMODAL);
}
