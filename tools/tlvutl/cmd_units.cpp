// tlvutl units: the unit registry from a shell.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/units.h>

#include <charconv>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>

namespace tlvtool {
namespace {

const Command& Self() {
    return CommandNamed("units");
}

std::string U8(const CString& s) {
    return s.ToUtf8();
}

bool ParseNumber(const std::string& text, double& value) {
    const char* end = text.data() + text.size();
    const auto r = std::from_chars(text.data(), end, value);
    return !text.empty() && r.ec == std::errc() && r.ptr == end;
}

std::string Number(double v) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.10g", v);
    return buffer;
}

int List() {
    WUnit& r = WUnit::GetDefaultWUnit();
    std::cout << "unit  class               decimals  increments           names\n";
    for (int id : r.GetDisplayIds()) {
        WUnitCollection& d = r.GetDisplay(id);
        std::string cls = d.GetRuntimeClass()->m_lpszClassName;
        cls.resize(18, ' ');
        std::string steps = Number(d.GetIncrement(0)) + " / " + Number(d.GetIncrement(1)) + " / " +
                            Number(d.GetIncrement(2));
        steps.resize(20, ' ');
        std::string unit = std::to_string(id);
        unit.resize(4, ' ');
        std::cout << unit << "  " << cls << "  " << d.GetDecimalPlaces() << "         " << steps
                  << " " << (WUnit::IsBaseUnit(id) ? "(base unit)" : U8(d.GetDisplayName(2)))
                  << (WUnit::IsBaseUnit(id) ? ""
                                            : " | " + U8(d.GetName(3)) + " | " + U8(d.GetName(4)))
                  << "\n";
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
            return UsageError(self, "'" + args[1] + "' is not a number");
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
                return UsageError(self, "FORM is 0 to 4");
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
        std::cout << Number(out) << "\t" << U8(r.DisplayUnitValueAsString(to, out, 3, 0)) << "\n";
        return kOk;
    }
    return UsageError(self, "unknown subcommand '" + what + "'");
}

} // namespace tlvtool
