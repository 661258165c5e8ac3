// tlvutl tour: a short walk through what the library does, on the installation it finds.
#include "command.h"

#include <tlvutl/tlvutl.h>

#include <cstdlib>
#include <cwchar>
#include <iostream>
#include <memory>
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

void TourNumbers() {
    Heading("Regional numbers");
    const TlvUtl::LocaleSettings here = TlvUtl::CurrentLocaleSettings();
    std::cout << "your locale:        " << U8(here.name) << " (decimal \""
              << U8(here.decimalSeparator) << "\", thousands \"" << U8(here.thousandSeparator)
              << "\", grouping " << U8(here.grouping) << ", " << (here.measure ? "U.S." : "metric")
              << ", geo id " << here.geoId << ")\n";
    TlvUtl::LocaleOverride german;
    german.decimalSeparator = L",", german.thousandSeparator = L".", german.grouping = L"3;0";
    TlvUtl::ScopedLocaleOverride scope(german);
    WRegionalSupportFormat format;
    for (const wchar_t* typed : {L"1234567,891 mm", L"-0,5", L"12.345,00 pt"}) {
        CString out;
        format.GetValueInLocaleFormat(typed, out);
        std::cout << "de_DE \"" << U8(std::wstring(typed)) << "\""
                  << std::string(18 - std::wstring(typed).size(), ' ') << "-> \"" << U8(out)
                  << "\"\n";
    }
}

void TourFolders() {
    Heading("Folders");
    PrintFolders(std::cout, false);
    std::cout << "... and more: tlvutl folders\n";
}

// Works in a key of its own and removes it afterwards, so a tour leaves the store as it was.
void TourRegistry() {
    Heading("Registry");
    const wchar_t* root = L"HKEY_CURRENT_USER\\";
    const wchar_t* sub = L"Software\\Talvo\\tlvutl tour";
    std::cout << "store:              " << U8(TlvUtl::GetRegistryDirectory()) << "\n";
    const LONG valid = WUTLRegistry::IsValid(L"HKEY_CURRENT_USER");
    if (valid != ERROR_SUCCESS) {
        std::cout << "HKEY_CURRENT_USER:  " << U8(TlvUtl::DescribeRegistryStatus(valid)) << " ("
                  << U8(TlvUtl::GetRegistryStoreFile(HKEY_CURRENT_USER)) << ")\n";
        return;
    }
    std::cout << "HKLM\\Software:      IsValid = " << WUTLRegistry::IsValid(L"HKLM\\Software")
              << " (only full root names count)\n";
    const int first = WUTLRegistry::RegReadInt(sub, L"Launches", 1, root);
    wchar_t text[MAX_PATH];
    WUTLRegistry::RegReadString(sub, L"Launches", nullptr, text, MAX_PATH, root);
    std::cout << "RegReadInt:         " << first << " (missing, so the default; now stored as \""
              << U8(std::wstring(text)) << "\")\n";
    WUTLRegistry::RegWriteString(sub, L"Greeting", L"hello", root);
    {
        WUTLRegistry key((std::wstring(root) + sub).c_str(), KEY_ALL_ACCESS);
        const std::wstring expand = L"%HOME%/talvo";
        HKEY handle = nullptr;
        TlvUtl::RegOpenKeyExW(HKEY_CURRENT_USER, sub, 0, KEY_SET_VALUE, &handle);
        TlvUtl::RegSetValueExW(handle, L"Folder", 0, REG_EXPAND_SZ,
                               reinterpret_cast<const BYTE*>(expand.c_str()),
                               static_cast<DWORD>(2 * (expand.size() + 1)));
        TlvUtl::RegCloseKey(handle);
        wchar_t list[64];
        key.GetValueNameList(list, 64);
        std::cout << "value names:        ";
        for (const wchar_t* p = list; *p; p += std::wcslen(p) + 1)
            std::cout << "\"" << U8(std::wstring(p)) << "\" ";
        std::cout << "\n";
    }
    wchar_t* folder = nullptr;
    if (GetRegSzValue(HKEY_CURRENT_USER, sub, L"Folder", &folder)) {
        std::cout << "GetRegSzValue:      %HOME%/talvo -> " << U8(std::wstring(folder)) << "\n";
        std::free(folder);
    }
    std::cout << "DeleteRegistryKey:  "
              << WUTLRegistry::DeleteRegistryKey((std::wstring(root) + sub).c_str()) << "\n";
}

void TourXml() {
    Heading("XML settings");
    WXmlDoc doc;
    doc.LoadFromString(L"<settings><paper name=\"A4\" width=\"2100000\"/></settings>");
    WXmlNode root = doc.GetRootNode();
    WXmlNode letter = root.EnsureDescendantExists(WXPath(L"paper[@name='Letter']"));
    letter.Attribute(L"@width").SetInt(2159000);
    letter.Attribute(L"@ratio").SetDouble(0.7727);
    letter.Attribute(L"@offset").SetPoint(CPoint(-5, 12));
    letter.Attribute(L"@portrait").SetBool(true);
    std::cout << "ensured and typed:  " << U8(letter.GetXML()) << "\n";
    std::cout << "A4 width:           "
              << root.GetNode(WXPath(L"paper[@name='A4']")).Attribute(L"@width").GetInt(0) << "\n";
    std::cout << "missing, default:   " << letter.Attribute(L"@height").GetInt(-1) << "\n";
    WXPath path(L"settings/paper[../@unit='mm']");
    path.Normalize();
    std::cout << "normalised path:    " << U8(static_cast<const CString&>(path)) << "\n";
}

void TourXmp() {
    Heading("XMP metadata");
    auto store = std::make_shared<MemoryPropertyStore>();
    store->SetValue(PKEY_Title, PropVariant::FromString(L"Harbour at dawn"));
    store->SetValue(PKEY_Author, PropVariant::FromStringVector({L"Ana", L"Bo"}));
    store->SetValue(PKEY_Rating, PropVariant::FromUInt16(75));
    WXmpDoc doc(store);
    if (doc.CreateFromPropertyStore() != 0) {
        std::cout << "packet:             not written (error " << doc.GetError() << ")\n";
        return;
    }
    std::vector<char> first;
    doc.GetDataToVector(first, 0);
    const std::string text(first.begin(), first.end());
    std::cout << "title, 2 authors, rating 75 -> " << doc.GetDataSize() << " bytes in "
              << doc.GetNumberOfChunks() << " chunks of at most " << WXmpDoc::kMaxChunkSize << "\n";
    const auto stars = text.find("<xmp:Rating>\n");
    if (stars != std::string::npos)
        std::cout << "xmp:Rating:         " << text[stars + 13] << " stars\n";
}

void TourUnits() {
    Heading("Units");
    WUnit& units = WUnit::GetDefaultWUnit();
    const struct {
        double value;
        int from, to;
    } conversions[] = {{1.0, 1, 2}, {12.0, 4, 2}, {1.0, 24, 4}, {90.0, 11, 32}};
    for (const auto& c : conversions) {
        const double out = units.ConvertFromUnitToUnit(c.from, c.to, c.value, -1.0);
        std::cout << U8(units.DisplayUnitValueAsString(c.from, c.value, 3, 0)) << " = "
                  << U8(units.DisplayUnitValueAsString(c.to, out, 3, 0)) << "\n";
    }
    std::cout << "1 inch in base units: " << units.ConvertFromUnitTo10thMicron(1, 1.0, -1.0)
              << " (tenths of a micron)\n"
              << "feet and inches:      " << U8(units.DisplayUnitValueAsString(31, 2.53125, 4, 0))
              << "\n"
              << "degrees and minutes:  " << U8(units.DisplayUnitValueAsString(28, 10.5125, 4, 0))
              << "\n"
              << "picas and points:     " << U8(UNITConvToUnitString(3.5 * 254000.0 / 6, 3, 0))
              << "\n";
    std::cout << "drawing scales:      ";
    for (const auto& p : TlvUtl::WorldScale::GetPresetList())
        std::cout << " " << U8(p.Label()) << ";";
    std::cout << "\n";
}

void TourTimers() {
    Heading("Timers");
    ShowTimerTicks(std::cout, 20, 3, 1);
}

// Reads the user's catalogue without changing it: the tour never shuts the manager down, so
// nothing is written back.
void TourPaper() {
    Heading("Paper catalogue");
    const CPaperTypeMgr* mgr = CPaperTypeMgr::GetInstance();
    if (!mgr->IsLoaded()) {
        std::cout << "PaperTypes.xml:     not readable, the catalogue is empty\n";
        return;
    }
    const TlvUtl::LocaleSettings here = TlvUtl::CurrentLocaleSettings();
    std::cout << mgr->GetCount() << " papers (" << mgr->GetPredefinedCount()
              << " predefined); geo id " << here.geoId << ", " << (here.measure ? "U.S." : "metric")
              << " measure; the first few in order:\n";
    PrintPapers(std::cout, *mgr, 6);
    PaperTypeInformation paper;
    const __int64 index =
        mgr->FindPredefinedPaperIndex(CPaperTypeMgr::SetCustomPaper(2970000, 2100000, 2), true);
    if (mgr->GetPaperInfoAt(index, paper))
        std::cout << "297 x 210 mm, turned: " << U8(paper.name) << "\n";
    CString name;
    if (mgr->GetPaperName(CPaperTypeMgr::GetPaperFromDevMode(DMPAPER_B5), name))
        std::cout << "printer code 13:      " << U8(name) << "\n";
    std::cout << "... and more: tlvutl paper list\n";
}

} // namespace

int RunTour(const Args& args) {
    if (!args.empty())
        return UsageError(CommandNamed("tour"), "takes no arguments");
    std::cout << "tlvutl tour: the shared utility library, on this machine\n";
    TourFrame();
    TourHooks();
    TourText();
    TourMemory();
    TourNumbers();
    TourRegistry();
    TourFolders();
    TourUnits();
    TourXml();
    TourXmp();
    TourTimers();
    TourPaper();
    TourDirectoryTracker();
    return kOk;
}

} // namespace tlvtool
