// A paper chooser: the catalogue in the display order of this locale, the most recently used
// papers first, a size typed by the user matched against the catalogue (either way round),
// and a custom paper added when nothing matches. The catalogue is the user's "PaperTypes.xml";
// Shutdown writes the changes back.
#include <tlvutl/eq_parser.h>
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>
#include <tlvutl/paper.h>
#include <tlvutl/units.h>

#include <cstdio>

namespace {

constexpr int kMillimetre = 2;

// What the user typed into a millimetre field, in tenths of a micron (the catalogue's unit).
bool TypedSize(const wchar_t* text, int& size) {
    WUnit& units = WUnit::GetDefaultWUnit();
    double mm = 0;
    if (!units.StringToValue(kMillimetre, text, mm, WEQ_ALL, DRG_DEG))
        return false;
    size = static_cast<int>(units.ConvertFromUnitTo10thMicron(kMillimetre, mm, -1.0) + 0.5);
    return true;
}

// The paper of that size in the catalogue, or a new custom paper of that size.
PaperTypeInformation Choose(CPaperTypeMgr& papers, const wchar_t* width, const wchar_t* height) {
    int w = 0, h = 0;
    if (!TypedSize(width, w) || !TypedSize(height, h))
        return {};
    PaperTypeInformation wanted = CPaperTypeMgr::SetCustomPaper(w, h, PAPER_UNITS_MILLIMETERS);
    PaperTypeInformation found;
    const __int64 index = papers.FindPredefinedPaperIndex(wanted, true);
    if (index >= 0 && papers.GetPaperInfoAt(index, found))
        return found;
    wanted.name = L"Poster (mine)";
    papers.AddCustomPaper(wanted, false); // if the size is already there, wanted becomes it
    return wanted;
}

} // namespace

int main() {
    TlvUtl::RegisterDefaultInstallation();
    InitModule(); // the custom papers' default name is a localised string

    CPaperTypeMgr& papers = *CPaperTypeMgr::GetInstance();
    if (!papers.IsLoaded()) {
        std::fprintf(stderr, "PaperTypes.xml could not be read\n");
        return 1;
    }
    std::printf("%lld papers, the first in this locale's order:\n",
                static_cast<long long>(papers.GetCount()));
    int shown = 0;
    for (__int64 id : papers.GetPaperOrder()) {
        PaperTypeInformation info;
        if (papers.IsHidden(id) || !papers.GetPaperInfo(CPaperTypeMgr::GetTypeFromInt(id), info))
            continue;
        std::printf("  %-24s %7.1f x %7.1f mm\n", info.name.ToUtf8().c_str(), info.width / 1e4,
                    info.height / 1e4);
        if (++shown == 5)
            break;
    }

    // "297 x 210" is A4 turned; "(20+3) * 25.4" by "600" matches nothing, so it is added.
    const PaperTypeInformation a4 = Choose(papers, L"297", L"210");
    const PaperTypeInformation poster = Choose(papers, L"(20+3) * 25.4", L"600");
    std::printf("297 x 210 mm: %s (id %d)\n", a4.name.ToUtf8().c_str(), a4.type);
    std::printf("584.2 x 600 mm: %s (id %d, printer code %d)\n", poster.name.ToUtf8().c_str(),
                poster.type, CPaperTypeMgr::GetDevModeFromPaper(poster.type));
    papers.AddMRUItem(a4.type);
    papers.AddMRUItem(poster.type);
    CPaperTypeMgr::Shutdown(); // writes the catalogue and the MRU list back

    // The next session sees both; the custom paper goes again.
    CPaperTypeMgr& again = *CPaperTypeMgr::GetInstance();
    const auto mru = again.GetMRUList();
    PaperTypeInformation reread;
    const bool kept = again.GetPaperInfo(poster.type, reread) && reread.width == 5842000;
    again.DeletePaper(reread);
    CPaperTypeMgr::Shutdown();
    TLVUTLShutdownModule();

    return a4.type == PAPER_A4 && poster.type > 1000 && kept && mru.size() >= 2 &&
                   mru[0] == poster.type && mru[1] == a4.type
               ? 0
               : 1;
}
