// tlvutl units: the unit registry from a shell.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/units.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace tlvtool {
namespace {

const Command& Self() {
    return CommandNamed("units");
}

std::string U8(const CString& s) {
    return s.ToUtf8();
}

// A finite number: "inf" and "nan" are refused as eval refuses them.
bool ParseNumber(const std::string& text, double& value) {
    const char* end = text.data() + text.size();
    const auto r = std::from_chars(text.data(), end, value);
    return !text.empty() && r.ec == std::errc() && r.ptr == end && std::isfinite(value);
}

std::string Number(double v) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.10g", v);
    return buffer;
}

// The shortest text that reads back as exactly v.
std::string Exact(double v) {
    char buffer[64];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, v);
    return std::string(buffer, r.ptr);
}

// Characters as a terminal shows them: UTF-8 continuation bytes take no column.
std::size_t Columns(const std::string& s) {
    std::size_t n = 0;
    for (char c : s)
        n += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    return n;
}

int List() {
    WUnit& r = WUnit::GetDefaultWUnit();
    using Row = std::vector<std::string>;
    std::vector<Row> rows = {{"unit", "class", "decimals", "increments", "names"}};
    for (int id : r.GetDisplayIds()) {
        WUnitCollection& d = r.GetDisplay(id);
        const bool base = WUnit::IsBaseUnit(id);
        rows.push_back(
            {std::to_string(id), d.GetRuntimeClass()->m_lpszClassName,
             std::to_string(d.GetDecimalPlaces()),
             Exact(d.GetIncrement(0)) + " / " + Exact(d.GetIncrement(1)) + " / " +
                 Exact(d.GetIncrement(2)),
             base ? "(base unit)"
                  : U8(d.GetDisplayName(2)) + " | " + U8(d.GetName(3)) + " | " + U8(d.GetName(4))});
    }
    // Each column as wide as its widest entry, two blanks apart, so no entry runs into the
    // next column whatever the increments are.
    std::vector<std::size_t> width(rows.front().size(), 0);
    for (const Row& row : rows)
        for (std::size_t c = 0; c < row.size(); ++c)
            width[c] = std::max(width[c], Columns(row[c]));
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t c = 0; c < row.size(); ++c) {
            line += row[c];
            if (c + 1 < row.size())
                line += std::string(width[c] - Columns(row[c]) + 2, ' ');
        }
        std::cout << line << "\n";
    }
    return kOk;
}

} // namespace

// A unit by number or by any of its names ("mm", "inches", "°").
bool ParseUnitArgument(const std::string& text, int& unit) {
    WUnit& registry = WUnit::GetDefaultWUnit();
    const char* end = text.data() + text.size();
    const auto r = std::from_chars(text.data(), end, unit);
    if (!text.empty() && r.ec == std::errc() && r.ptr == end)
        return registry.FindDisplay(unit) != nullptr;
    const CString name(TlvUtils::FromUtf8(text));
    for (int id : registry.GetDisplayIds()) {
        if (registry.GetDisplay(id).MatchesName(name)) {
            unit = id;
            return true;
        }
    }
    return false;
}

int RunUnits(const Args& args) {
    const Command& self = Self();
    if (args.empty())
        return UsageError(self, "give list, convert or format");
    const std::string& what = args[0];
    if (what == "list") {
        if (args.size() != 1)
            return UsageError(self, "list takes no arguments");
        return List();
    }
    if (what == "convert" || what == "format") {
        const std::size_t need = what == "convert" ? 4 : 3;
        if (args.size() != need && !(what == "format" && args.size() == 4))
            return UsageError(self, what + ": wrong number of arguments");
        double value = 0;
        if (!ParseNumber(args[1], value))
            return UsageError(self, "'" + args[1] + "' is not a finite number");
        int from = 0, to = 0;
        if (!ParseUnitArgument(args[2], from)) {
            std::cerr << "tlvutl units: unknown unit '" << args[2]
                      << "' (see 'tlvutl units list')\n";
            return kUsage;
        }
        WUnit& r = WUnit::GetDefaultWUnit();
        if (what == "format") {
            unsigned form = 3;
            if (args.size() == 4 &&
                !(args[3].size() == 1 && args[3][0] >= '0' && args[3][0] <= '4'))
                return UsageError(self, "FORM is 0 (no unit name), 1 (singular), 2 (plural), "
                                        "3 (abbreviation) or 4 (symbol)");
            if (args.size() == 4)
                form = static_cast<unsigned>(args[3][0] - '0');
            std::cout << U8(r.DisplayUnitValueAsString(from, value, form, 0)) << "\n";
            return kOk;
        }
        if (!ParseUnitArgument(args[3], to)) {
            std::cerr << "tlvutl units: unknown unit '" << args[3]
                      << "' (see 'tlvutl units list')\n";
            return kUsage;
        }
        const double out = r.ConvertFromUnitToUnit(from, to, value, -1.0);
        if (!std::isfinite(out)) {
            std::cerr << "tlvutl units: " << args[1] << " " << args[2]
                      << " is too large to convert to " << args[3] << "\n";
            return kFailed;
        }
        std::cout << Number(out) << "\t" << U8(r.DisplayUnitValueAsString(to, out, 3, 0)) << "\n";
        return kOk;
    }
    return UsageError(self, "unknown subcommand '" + what + "'");
}

} // namespace tlvtool
