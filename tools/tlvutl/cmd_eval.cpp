// tlvutl eval: evaluates an expression as a numeric field would.
#include "command.h"

#include <tlvutl/encoding.h>
#include <tlvutl/eq_parser.h>
#include <tlvutl/units.h>

#include <cmath>
#include <cstdio>
#include <iostream>
#include <string_view>

namespace tlvtool {
namespace {

const Command& Self() {
    return CommandNamed("eval");
}

// The parser, watching each operation: a result that is not a finite number is what makes a
// well-formed expression fail, and the first one tells why.
class Diagnosing : public WEqParser {
public:
    using WEqParser::WEqParser;
    enum class Fault { kNone, kDivisionByZero, kDomain };
    Fault fault = Fault::kNone;

protected:
    // A number is not finite when it is a fraction over zero ("1/0" reads as one number) or
    // has more digits than a double holds.
    const WToken* GetToken() override {
        const std::size_t from = pos_;
        const WToken* token = WEqParser::GetToken();
        if (token && fault == Fault::kNone && pos_ > from && !std::isfinite(value_) &&
            (operand_ || token == ValueTokenShared()))
            fault = text_.find(L'/', from) < pos_ ? Fault::kDivisionByZero : Fault::kDomain;
        return token;
    }

    bool ExecuteOperation(const WToken* token) override {
        const bool divide =
            std::string_view(token->GetRuntimeClass()->m_lpszClassName) == "WTokenOpDivide";
        const bool byZero = divide && !values_.empty() && values_.back() == 0.0;
        if (!WEqParser::ExecuteOperation(token))
            return false;
        if (fault == Fault::kNone && !values_.empty() && !std::isfinite(values_.back()))
            fault = byZero ? Fault::kDivisionByZero : Fault::kDomain;
        return true;
    }
};

// Why text that failed to evaluate did: the parser says only that it did.
std::string WhyNot(const CString& text, DRG mode) {
    Diagnosing parser(text, WEQ_ALL, mode);
    double ignored = 0.0;
    parser.GetValue(ignored);
    switch (parser.fault) {
    case Diagnosing::Fault::kDivisionByZero:
        return "division by zero";
    case Diagnosing::Fault::kDomain:
        return "a function's argument is outside its domain, or the value is too large";
    default:
        return "syntax error (see 'tlvutl eval --help')";
    }
}

} // namespace

int RunEval(const Args& args) {
    DRG mode = DRG_RAD;
    std::string expression;
    bool haveExpression = false;
    int unit = -1;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (i >= OperandsFrom()) {
            if (haveExpression)
                return UsageError(Self(), "give the expression as one argument (quote it)");
            expression = args[i], haveExpression = true;
        } else if (args[i] == "--degrees")
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
        std::cerr << "tlvutl eval: '" << expression << "': "
                  << (unit >= 0 ? "not a valid expression in units, or its value is not finite"
                                : WhyNot(text, mode))
                  << "\n";
        return kFailed;
    }
    char number[64];
    std::snprintf(number, sizeof number, "%.15g", value);
    std::cout << number << "\n";
    return kOk;
}

} // namespace tlvtool
