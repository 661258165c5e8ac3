#include <tlvutl/eq_parser.h>
#include <tlvutl/locale.h>

#include <cfloat>
#include <cmath>
#include <memory>
#include <mutex>

namespace {

// One token object per built-in class for the whole process: tokens hold nothing but their
// text and priorities, so every parser shares them and none loads strings again.
struct TokenSet {
    unsigned bit;
    std::vector<std::unique_ptr<const WToken>> tokens;
};

template <class... T> TokenSet Make(unsigned bit) {
    TokenSet s{bit, {}};
    (s.tokens.push_back(std::make_unique<const T>()), ...);
    return s;
}

const std::vector<TokenSet>& BuiltInTokens() {
    static const std::vector<TokenSet>* sets = [] {
        auto* v = new std::vector<TokenSet>;
        v->push_back(Make<WTokenNull, WTokenValue, WTokenUnaryMinus, WTokenUnaryPlus>(0));
        v->push_back(Make<WTokenOpPlus, WTokenOpMinus, WTokenOpMultiply, WTokenOpDivide,
                          WTokenOpExp, WTokenOBracket, WTokenCBracket, WTokenOParen, WTokenCParen,
                          WTokenOBrace, WTokenCBrace>(WEQ_OPERATORS));
        v->push_back(Make<WTokenFraction>(WEQ_FRACTIONS));
        v->push_back(Make<WTokenLog, WTokenLn, WTokenSqrt>(WEQ_LOGARITHMS));
        v->push_back(
            Make<WTokenSin, WTokenCos, WTokenTan, WTokenASin, WTokenACos, WTokenATan, WTokenCsc,
                 WTokenSec, WTokenCot, WTokenACsc, WTokenASec, WTokenACot>(WEQ_TRIGONOMETRY));
        v->push_back(Make<WTokenSinH, WTokenCosH, WTokenTanH>(WEQ_HYPERBOLIC));
        return v;
    }();
    return *sets;
}

const WToken* EndMarker() {
    return BuiltInTokens()[0].tokens[0].get();
}
const WToken* ValueToken() {
    return BuiltInTokens()[0].tokens[1].get();
}

// The separator of the current locale, read again only when the locale changed.
wchar_t LocaleDecimal() {
    thread_local LCID cachedFor = 0;
    thread_local wchar_t cached = L'.';
    const LCID now = TlvUtl::Win32::GetUserDefaultLCID();
    if (now != cachedFor) {
        wchar_t buffer[8];
        cached = TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, buffer, 8) &&
                         buffer[0]
                     ? buffer[0]
                     : L'.';
        cachedFor = now;
    }
    return cached;
}

constexpr double kPi = 3.141592653589793;

} // namespace

WEqParser::WEqParser(CString equation, unsigned int tokenFlags, DRG angleMode)
    : WEqParser(std::move(equation), nullptr, 0, tokenFlags, angleMode) {}

WEqParser::WEqParser(CString equation, CRuntimeClass* const* extraTokens, int count,
                     unsigned int tokenFlags, DRG angleMode)
    : text_(equation.str()), angleMode_(angleMode), decimal_(LocaleDecimal()) {
    tokens_.reserve(40);
    LoadTokens(tokenFlags);
    for (int i = 0; extraTokens && i < count; ++i) {
        if (!extraTokens[i] || !extraTokens[i]->IsDerivedFrom(RUNTIME_CLASS(WToken)))
            continue;
        if (CObject* o = extraTokens[i]->CreateObject())
            AddOwned(static_cast<WToken*>(o));
    }
    operators_.reserve(16);
    values_.reserve(16);
    operators_.push_back(EndMarker());
}

WEqParser::~WEqParser() {
    for (WToken* t : owned_)
        delete t;
}

const WToken* WEqParser::EndMarkerToken() { return EndMarker(); }
const WToken* WEqParser::ValueTokenShared() { return ValueToken(); }

void WEqParser::AddOwned(WToken* token) {
    owned_.push_back(token);
    tokens_.push_back(token);
}

int WEqParser::LoadTokens(unsigned int flags) {
    for (const TokenSet& set : BuiltInTokens())
        if (set.bit == 0 ? tokens_.empty() : (flags & set.bit) != 0)
            for (const auto& t : set.tokens)
                tokens_.push_back(t.get());
    return 1;
}

void WEqParser::LoadEquation(CString equation) {
    text_ = equation.str();
    pos_ = 0;
}

const WToken* WEqParser::GetToken() {
    while (pos_ < text_.size() && text_[pos_] == L' ')
        ++pos_;
    if (pos_ >= text_.size()) {
        currentIsOperand_ = false;
        return EndMarker();
    }
    const std::wstring_view rest = std::wstring_view(text_).substr(pos_);
    const WToken* best = nullptr;
    std::size_t bestLength = 0;
    bool bestOperand = operand_;
    for (const WToken* t : tokens_) {
        if (!t->MayStartWith(rest[0]))
            continue;
        WTokenMatch m{rest, operand_, decimal_};
        const std::size_t n = t->Match(m);
        if (n > bestLength) { // on equal length the token loaded first keeps its place
            best = t;
            bestLength = n;
            bestOperand = m.operand;
        }
    }
    if (!best)
        return nullptr;
    currentIsOperand_ = best->IsOperand(operand_);
    if (currentIsOperand_ || best->IsKindOf(RUNTIME_CLASS(WTokenFraction))) {
        std::wstring matched(rest.substr(0, bestLength));
        for (wchar_t& c : matched)
            if (c == decimal_)
                c = L'.';
        value_ = best->ValueOf(matched);
    }
    pos_ += bestLength;
    operand_ = bestOperand;
    return best;
}

bool WEqParser::ExecuteOperation(const WToken* token) {
    if (token->IsKindOf(RUNTIME_CLASS(WTokenOpen)) || values_.empty())
        return false;
    const bool trig = token->IsKindOf(RUNTIME_CLASS(WTokenTrig));
    if (trig && angleMode_ == DRG_DEG)
        values_.back() = values_.back() * kPi / 180.0;
    if (!token->Apply(values_))
        return false;
    operators_.pop_back();
    if (token->IsKindOf(RUNTIME_CLASS(WTokenRevTrig)) && angleMode_ == DRG_DEG && !values_.empty())
        values_.back() = values_.back() / 0.017453292519943295;
    return true;
}

bool WEqParser::ProcessToken() {
    if (currentIsOperand_) {
        values_.push_back(value_);
        return true;
    }
    if (current_->IsKindOf(RUNTIME_CLASS(WTokenClosed))) {
        for (;;) {
            const WToken* top = operators_.back();
            if (top == EndMarker())
                return false;
            if (const auto* open = dynamic_cast<const WTokenOpen*>(top);
                open && open->Closing() == current_->GetRuntimeClass()) {
                operators_.pop_back();
                return true;
            }
            if (!ExecuteOperation(top))
                return false;
        }
    }
    if (current_->IsKindOf(RUNTIME_CLASS(WTokenFraction)))
        values_.push_back(value_); // the fraction part of a mixed number, applied as an operator
    while (current_->InputPriority() < operators_.back()->StackPriority())
        if (!ExecuteOperation(operators_.back()))
            return false;
    if (current_->InputPriority() == operators_.back()->StackPriority())
        return false;
    if (current_ != EndMarker())
        operators_.push_back(current_);
    return true;
}

int WEqParser::GetValue(double& result) {
    result = 0.0;
    std::size_t blank = pos_;
    while (blank < text_.size() && text_[blank] == L' ')
        ++blank;
    if (blank >= text_.size())
        values_.push_back(0.0);
    for (;;) {
        previous_ = current_;
        const bool previousWasOperand = previous_ && previous_ == ValueToken();
        current_ = GetToken();
        if (!current_)
            return 0;
        if (previous_ && current_->IsKindOf(RUNTIME_CLASS(WTokenClosed)) &&
            previous_->IsKindOf(RUNTIME_CLASS(WTokenOpen)))
            return 0; // an empty bracket
        if (previousWasOperand && current_ == ValueToken())
            return 0; // two numbers in a row
        if (!ProcessToken())
            return 0;
        if (current_ == EndMarker())
            break;
    }
    if (values_.empty() || operators_.back() != EndMarker())
        return 0;
    const double v = values_.back();
    values_.pop_back();
    if (!values_.empty() || !(v >= -DBL_MAX && v <= DBL_MAX))
        return 0;
    result = v;
    return 1;
}
