// tlvutl tour: a short walk through what the library does, on the installation it finds.
#include "command.h"

#include <tlvutl/tlvutl.h>

#include <iostream>
#include <string>

namespace tlvtool {
namespace {

std::string U8(const std::wstring& s) {
    return TlvUtils::ToUtf8(s);
}
std::string U8(const CString& s) {
    return s.ToUtf8();
}

void Heading(const char* title) {
    std::cout << "\n== " << title << " ==\n";
}

void TourFrame() {
    Heading("Module frame");
    std::cout << "resource root:      " << U8(TlvUtl::GetResourceRoot()) << "\n"
              << "UI language:        " << U8(TlvUtl::GetUILanguage()) << "\n"
              << "InitModule():       " << InitModule() << "\n";
    for (UINT id : {24016u, 24019u, 24087u, 24175u, 19943u})
        std::cout << "string " << id << ":       \"" << U8(UTLLoadStringEx(id)) << "\"\n";

    const std::wstring data = TlvUtl::GetInstallDataFolder();
    TlvUtl::GuidMapFile map;
    const bool loaded = map.Load(data + L"guidmap.dat");
    std::cout << "installation data:  " << U8(data) << "\n"
              << "guidmap.dat:        "
              << (loaded ? std::to_string(map.Count()) + " engine/application pairs"
                         : "not readable")
              << "\n";
    GUID engine{};
    if (loaded && TlvUtl::ParseGuid(L"{6B29FC40-CA47-1067-B31D-00DD010662DA}", engine)) {
        GUID app{};
        if (UTLMapEng2AppGUID(&engine, &app))
            std::cout << "engine " << U8(TlvUtl::FormatGuid(engine)) << "\n  -> application "
                      << U8(TlvUtl::FormatGuid(app)) << "\n";
    }

    TlvUtl::ScopedMessageCapture capture;
    UIMSG_FatalError(UTL_FATAL_BAD_ARGUMENT, L"c:\\src\\listman.cpp", 417, L"listman", 1);
    for (const auto& m : capture.Messages())
        if (m.kind == TlvUtl::CapturingMessageSink::Kind::Box)
            std::cout << "fatal-error box:    caption \"" << U8(m.caption) << "\"\n"
                      << "                    body    \"" << U8(m.text) << "\"\n";
}

void TourHooks() {
    Heading("Start-up and shut-down hooks");
    static std::string order;
    struct Named {
        static bool P1() { return order += "1 ", true; }
        static bool P3() { return order += "3 ", true; }
        static bool P5() { return order += "5 ", true; }
    };
    InitHook h3(&Named::P3, &Named::P3, 3), h1(&Named::P1, &Named::P1, 1),
        h5(&Named::P5, &Named::P5, 5);
    order.clear();
    DelayInitRegistrar::GetInst()->RunStartupHooks(false);
    std::cout << "registered at priorities 3, 1, 5\nstart-up ran:       " << order << "\n";
    order.clear();
    DelayInitRegistrar::GetInst()->RunShutdownHooks(false);
    std::cout << "shut-down ran:      " << order << "\n";
}

void TourText() {
    Heading("Text");
    CString s;
    s.Format(L"%s: %d items, %I64d bytes, %.2f%% done, %-6s|", L"queue", 42, 5000000000LL, 99.5,
             L"ok");
    std::cout << "CString::Format:    " << U8(s) << "\n";
    CString t = L"  Millimetres  ";
    t.Trim().MakeUpper();
    std::cout << "Trim + MakeUpper:   \"" << U8(t) << "\"\n";
}

void TourMemory() {
    Heading("Handle lists and the balanced tree");
    HMEM list = LIST_Ctor();
    LIST_Push(list, "abc", 3);
    LIST_Push(list, "de", 2);
    LIST_InsertTop(list, "X", 1);
    LIST_DeleteIth(list, 1, nullptr, 0);
    const auto* bytes = static_cast<const unsigned char*>(MEMMANLock(list));
    std::cout << "Push abc, Push de, InsertTop X, DeleteIth 1 -> " << MEMMANGetSize(list)
              << " bytes:\n ";
    for (LONG i = 0; i < MEMMANGetSize(list); ++i)
        std::cout << " "
                  << "0123456789abcdef"[bytes[i] >> 4] << "0123456789abcdef"[bytes[i] & 15];
    std::cout << "\n";
    LIST_Dtor(list);

    struct Numbers : CBTree {
        int Compare(void* item, void* key) override {
            return static_cast<int>(reinterpret_cast<intptr_t>(item) -
                                    reinterpret_cast<intptr_t>(key));
        }
    } tree;
    struct Print : CEnumerator {
        int Visit(void* item) override {
            std::cout << " " << reinterpret_cast<intptr_t>(item);
            return 1;
        }
    } print;
    for (intptr_t k = 1; k <= 7; ++k)
        tree.Add(reinterpret_cast<void*>(k));
    std::cout << "tree of 1..7 added in order, in order:";
    tree.Enumerate(&print, 0, 0);
    std::cout << "\n                          pre-order:";
    tree.Enumerate(&print, 0, 1);
    std::cout << "\n";
}

} // namespace

int RunTour(const Args& args) {
    if (!args.empty())
        return UsageError(Commands()[0], "takes no arguments");
    std::cout << "tlvutl tour: the shared utility library, on this machine\n";
    TourFrame();
    TourHooks();
    TourText();
    TourMemory();
    return kOk;
}

} // namespace tlvtool
