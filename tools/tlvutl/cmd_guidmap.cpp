#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/frame.h>

#include <iostream>
#include <map>

namespace tlvtool {
namespace {

const Command& Self() {
    return CommandNamed("guidmap");
}

std::string Trim(std::string s) {
    const char* blanks = " \t\r\n";
    s.erase(0, s.find_first_not_of(blanks));
    s.erase(s.find_last_not_of(blanks) + 1);
    return s;
}

// PAIRS.csv: one "engine GUID,application GUID" per line; '#' comments and blank lines
// are skipped, as is a first line that names the columns.
int Build(const std::string& csv, const std::string& out) {
    std::string text, why;
    if (!ReadFileBytes(csv, text, why)) {
        std::cerr << "tlvutl guidmap: cannot read " << csv << ": " << why << "\n";
        return kFailed;
    }
    std::vector<std::pair<GUID, GUID>> pairs;
    int lineNo = 0;
    bool sawRecord = false;
    std::map<std::wstring, int> firstLine; // engine -> the line that mapped it
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = text.find('\n', at);
        if (end == std::string::npos)
            end = text.size();
        std::string line = Trim(text.substr(at, end - at));
        at = end + 1;
        ++lineNo;
        if (line.empty() || line[0] == '#')
            continue;
        const std::size_t comma = line.find(',');
        GUID engine{}, app{};
        const bool ok =
            comma != std::string::npos &&
            TlvUtl::ParseGuid(TlvUtils::FromUtf8(Trim(line.substr(0, comma))), engine) &&
            TlvUtl::ParseGuid(TlvUtils::FromUtf8(Trim(line.substr(comma + 1))), app);
        if (!ok) {
            if (!sawRecord && line.find('{') == std::string::npos &&
                line.find('-') == std::string::npos) {
                sawRecord = true; // the header line naming the columns
                continue;
            }
            std::cerr << csv << ":" << lineNo << ": expected ENGINE-GUID,APPLICATION-GUID\n";
            return kFailed;
        }
        sawRecord = true;
        const std::wstring key = TlvUtl::FormatGuid(engine);
        if (const auto [prior, added] = firstLine.emplace(key, lineNo); !added) {
            std::cerr << csv << ":" << lineNo << ": engine " << TlvUtils::ToUtf8(key)
                      << " is already mapped on line " << prior->second << "\n";
            return kFailed;
        }
        pairs.emplace_back(engine, app);
    }
    const std::size_t n = pairs.size();
    if (!TlvUtl::WriteGuidMapFile(TlvUtils::FromUtf8(out), std::move(pairs))) {
        std::cerr << "tlvutl guidmap: cannot write " << out << "\n";
        return kFailed;
    }
    std::cout << "wrote " << n << " pairs to " << out << "\n";
    return kOk;
}

int Lookup(const std::string& file, const std::string& text) {
    TlvUtl::GuidMapFile map;
    if (!map.Load(TlvUtils::FromUtf8(file))) {
        std::cerr << "tlvutl guidmap: " << file << " is missing, short or damaged\n";
        return kFailed;
    }
    GUID key{}, found{};
    if (!TlvUtl::ParseGuid(TlvUtils::FromUtf8(text), key))
        return UsageError(Self(), "'" + text + "' is not a GUID");
    bool any = false;
    if (map.EngineToApp(key, found)) {
        std::cout << "engine " << TlvUtils::ToUtf8(TlvUtl::FormatGuid(key)) << " -> application "
                  << TlvUtils::ToUtf8(TlvUtl::FormatGuid(found)) << "\n";
        any = true;
    }
    if (map.AppToEngine(key, found)) {
        std::cout << "application " << TlvUtils::ToUtf8(TlvUtl::FormatGuid(key)) << " -> engine "
                  << TlvUtils::ToUtf8(TlvUtl::FormatGuid(found)) << "\n";
        any = true;
    }
    if (!any)
        std::cout << TlvUtils::ToUtf8(TlvUtl::FormatGuid(key)) << " is not in the map ("
                  << map.Count() << " pairs)\n";
    return any ? kOk : kFailed;
}

} // namespace

int RunGuidmap(const Args& args) {
    if (args.size() == 3 && args[0] == "build")
        return Build(args[1], args[2]);
    if (args.size() == 3 && args[0] == "lookup")
        return Lookup(args[1], args[2]);
    return UsageError(Self(), "expected 'build PAIRS.csv OUT' or 'lookup FILE GUID'");
}

} // namespace tlvtool
