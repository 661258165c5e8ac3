// tlvutl paper: the user's paper catalogue from a shell.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/locale.h>
#include <tlvutl/paper.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <iostream>
#include <optional>
#include <string>

namespace tlvtool {
namespace {

const Command& Self() {
    return CommandNamed("paper");
}

bool ParseNumber(const std::string& text, double& value) {
    const char* end = text.data() + text.size();
    const auto r = std::from_chars(text.data(), end, value);
    return !text.empty() && r.ec == std::errc() && r.ptr == end;
}

int Dpi(const PaperTypeInformation& paper) {
    return paper.horizontalResolution > 0
               ? static_cast<int>(paper.horizontalResolution * 2.54 / 100000.0 + 0.5)
               : 96;
}

std::string Length(int length, const PaperTypeInformation& paper) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.6g",
                  TlvUtl::PaperLengthToUnits(length, paper.units, Dpi(paper)));
    return buffer;
}

// A size from the command line, in tenths of a micron (pixels at 96 dpi).
bool ParseSize(const Args& args, std::size_t first, PaperTypeInformation& paper,
               std::string& error) {
    double width = 0, height = 0;
    const int units = TlvUtl::PaperUnitsFromName(TlvUtils::FromUtf8(args[first + 2]).c_str());
    if (!ParseNumber(args[first], width) || !ParseNumber(args[first + 1], height)) {
        error = "sizes are decimal numbers";
        return false;
    }
    if (units == 0) {
        error = "the unit is in, mm or px";
        return false;
    }
    int w = 0, h = 0;
    if (!TlvUtl::PaperLengthFromUnits(width, units, 96, w) ||
        !TlvUtl::PaperLengthFromUnits(height, units, 96, h)) {
        error = "sizes are non-negative and at most 214748 mm";
        return false;
    }
    paper = CPaperTypeMgr::SetCustomPaper(w, h, units);
    return true;
}

CPaperTypeMgr* LoadedCatalogue() {
    CPaperTypeMgr* mgr = CPaperTypeMgr::GetInstance();
    if (!mgr->IsLoaded())
        std::cerr << "tlvutl paper: the catalogue (PaperTypes.xml in the configuration folder) "
                     "could not be loaded\n";
    return mgr->IsLoaded() ? mgr : nullptr;
}

std::string Pad(const std::string& text, std::size_t width) {
    const std::size_t shown = TlvUtils::FromUtf8(text).size();
    return text + std::string(shown < width ? width - shown : 1, ' ');
}

int List(const Args& args) {
    std::optional<TlvUtl::ScopedLocaleOverride> system;
    if (args.size() == 3 && args[1] == "--system" &&
        (args[2] == "metric" || args[2] == "imperial")) {
        // Without a location the pageset follows the measuring system alone.
        TlvUtl::LocaleOverride o;
        o.geoId = GEOID_NOT_AVAILABLE;
        o.measure = args[2] == "imperial" ? 1 : 0;
        system.emplace(o);
    } else if (args.size() != 1) {
        return UsageError(Self(), "list takes only --system metric|imperial");
    }
    const CPaperTypeMgr* mgr = LoadedCatalogue();
    if (!mgr)
        return kFailed;
    PrintPapers(std::cout, *mgr, -1);
    return kOk;
}

int Find(const Args& args) {
    if (args.size() != 4)
        return UsageError(Self(), "find takes WIDTH HEIGHT UNIT");
    PaperTypeInformation query;
    std::string error;
    if (!ParseSize(args, 1, query, error))
        return UsageError(Self(), error);
    const CPaperTypeMgr* mgr = LoadedCatalogue();
    if (!mgr)
        return kFailed;
    PaperTypeInformation found;
    bool rotated = false;
    __int64 index = mgr->FindPredefinedPaperIndex(query, false);
    if (index < 0)
        index = mgr->FindCustomPaperIndex(query);
    if (index < 0) {
        rotated = true;
        index = mgr->FindPredefinedPaperIndex(query, true);
        if (index < 0 && mgr->FindCustomPaper(query.height, query.width, found))
            index = mgr->FindCustomPaperIndex(found);
    }
    if (index < 0 || !mgr->GetPaperInfoAt(index, found)) {
        std::cout << "no paper of that size\n";
        return kFailed;
    }
    std::cout << TlvUtils::ToUtf8(found.name.str()) << " (id " << found.type << ", "
              << Length(found.width, found) << " x " << Length(found.height, found) << " "
              << TlvUtils::ToUtf8(TlvUtl::PaperUnitsName(found.units))
              << (index >= mgr->GetPredefinedCount() ? ", custom" : "")
              << (rotated ? ", turned" : "") << "), printer code "
              << CPaperTypeMgr::GetDevModeFromPaper(found.type) << "\n";
    return kOk;
}

int Add(const Args& args) {
    if (args.size() != 5)
        return UsageError(Self(), "add takes NAME WIDTH HEIGHT UNIT");
    PaperTypeInformation paper;
    std::string error;
    if (!ParseSize(args, 2, paper, error))
        return UsageError(Self(), error);
    paper.name = TlvUtils::FromUtf8(args[1]);
    CPaperTypeMgr* mgr = LoadedCatalogue();
    if (!mgr)
        return kFailed;
    if (mgr->FindCustomPaperIndex(paper.name) >= 0) {
        std::cerr << "tlvutl paper: a custom paper is called " << args[1] << " already\n";
        return kFailed;
    }
    const bool added = mgr->AddCustomPaper(paper, false);
    if (added)
        std::cout << "added " << args[1] << " as id " << paper.type << "\n";
    else
        std::cout << "that size is " << TlvUtils::ToUtf8(paper.name.str()) << " (id " << paper.type
                  << ") already\n";
    CPaperTypeMgr::Shutdown();
    return added ? kOk : kFailed;
}

int Delete(const Args& args) {
    if (args.size() != 2)
        return UsageError(Self(), "delete takes NAME");
    CPaperTypeMgr* mgr = LoadedCatalogue();
    if (!mgr)
        return kFailed;
    PaperTypeInformation paper;
    if (!mgr->GetPaperInfoAt(mgr->FindCustomPaperIndex(TlvUtils::FromUtf8(args[1]).c_str()),
                             paper)) {
        std::cerr << "tlvutl paper: no custom paper is called " << args[1] << "\n";
        return kFailed;
    }
    mgr->DeletePaper(paper);
    CPaperTypeMgr::Shutdown();
    std::cout << "deleted " << args[1] << " (id " << paper.type << ")\n";
    return kOk;
}

} // namespace

// The catalogue in display order (papers the order does not name follow it), at most limit
// lines when limit is not negative.
void PrintPapers(std::ostream& out, const CPaperTypeMgr& mgr, int limit) {
    std::vector<__int64> ids = mgr.GetPaperOrder();
    for (__int64 i = 0; i < mgr.GetCount(); ++i) {
        PaperTypeInformation paper;
        mgr.GetPaperInfoAt(i, paper);
        if (std::find(ids.begin(), ids.end(), paper.type) == ids.end())
            ids.push_back(paper.type);
    }
    int shown = 0;
    for (__int64 id : ids) {
        PaperTypeInformation paper;
        if (!mgr.GetPaperInfo(CPaperTypeMgr::GetTypeFromInt(id), paper))
            continue;
        if (limit >= 0 && shown++ >= limit)
            break;
        const std::string size = Length(paper.width, paper) + " x " + Length(paper.height, paper) +
                                 " " + TlvUtils::ToUtf8(TlvUtl::PaperUnitsName(paper.units));
        std::string line = std::to_string(id);
        line.insert(0, line.size() < 5 ? 5 - line.size() : 0, ' ');
        line += "  " + Pad(TlvUtils::ToUtf8(paper.name.str()), 28) + Pad(size, 20) +
                (id > PAPER_LAST_PREDEFINED ? "custom" : "") + (mgr.IsHidden(id) ? "hidden" : "");
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << "\n";
    }
}

int RunPaper(const Args& args) {
    if (args.empty())
        return UsageError(Self(), "give list, find, add or delete");
    const std::string& what = args[0];
    if (what == "list")
        return List(args);
    if (what == "find")
        return Find(args);
    if (what == "add")
        return Add(args);
    if (what == "delete")
        return Delete(args);
    return UsageError(Self(), "unknown subcommand '" + what + "'");
}

} // namespace tlvtool
