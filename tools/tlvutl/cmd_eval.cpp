// tlvutl eval: evaluates an expression as a numeric field would.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/eq_parser.h>

#include <cstdio>
#include <iostream>

namespace tlvtool {
namespace {

const Command& Self() {
    for (const Command& c : Commands())
        if (std::string(c.name) == "eval")
            return c;
    return Commands().front();
}

} // namespace

int RunEval(const Args& args) {
    DRG mode = DRG_RAD;
    std::string expression;
    bool haveExpression = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--degrees")
            mode = DRG_DEG;
        else if (!haveExpression)
            expression = args[i], haveExpression = true;
        else
            return UsageError(Self(), "give the expression as one argument (quote it)");
    }
    if (!haveExpression)
        return UsageError(Self(), "no expression");
    WEqParser parser(CString(TlvUtils::FromUtf8(expression)), WEQ_ALL, mode);
    double value = 0.0;
    if (!parser.GetValue(value)) {
        std::cerr << "tlvutl eval: '" << expression << "' is not a valid expression\n";
        return kFailed;
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.15g", value);
    std::cout << text << "\n";
    return kOk;
}

} // namespace tlvtool
