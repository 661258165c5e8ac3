// tlvutl eval: evaluates an expression as a numeric field would.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/eq_parser.h>
#include <tlvutl/units.h>

#include <cstdio>
#include <iostream>

namespace tlvtool {
namespace {

const Command& Self() {
    return CommandNamed("eval");
}

} // namespace

int RunEval(const Args& args) {
    DRG mode = DRG_RAD;
    std::string expression;
    bool haveExpression = false;
    int unit = -1;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--degrees")
            mode = DRG_DEG;
        else if (args[i] == "--unit") {
            if (++i == args.size() || !ParseUnitArgument(args[i], unit))
                return UsageError(Self(), i < args.size() ? "unknown unit '" + args[i] + "'"
                                                          : "--unit needs a unit");
        } else if (!haveExpression)
            expression = args[i], haveExpression = true;
        else
            return UsageError(Self(), "give the expression as one argument (quote it)");
    }
    if (!haveExpression)
        return UsageError(Self(), "no expression");
    const CString text(TlvUtils::FromUtf8(expression));
    double value = 0.0;
    bool ok;
    if (unit >= 0) {
        ok = WUnit::GetDefaultWUnit().StringToValue(unit, text, value, WEQ_ALL, mode) != 0;
    } else {
        WEqParser parser(text, WEQ_ALL, mode);
        ok = parser.GetValue(value) != 0;
    }
    if (!ok) {
        std::cerr << "tlvutl eval: '" << expression << "' is not a valid expression\n";
        return kFailed;
    }
    char number[64];
    std::snprintf(number, sizeof number, "%.15g", value);
    std::cout << number << "\n";
    return kOk;
}

} // namespace tlvtool
