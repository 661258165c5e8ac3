// WEqParser: evaluates the small expressions users type into numeric fields.
//
// An operator-precedence parser over a table of token classes. Each token knows its text
// (a string of the resource module, loaded once per process), an input and a stack priority
// and how to apply itself to the value stack. Binary + and - are left-associative, * and /
// bind tighter, ^ and the functions are right-associative and tighter still, and the unary
// signs bind tightest: -2^2 is 4. Numbers are digits with the locale's decimal separator, no
// sign and no exponent.
//
// Grammar decisions of this library:
// - Opening brackets ( [ { are pushed over anything and never executed by an operator; a
//   closing bracket must meet the opening one of its own kind.
// - Functions are prefix operators: "sin 30" and "sin(30)" are the same. log is base 10,
//   ln natural; csc, sec and cot are 1/sin, 1/cos and 1/tan; acsc, asec and acot take the
//   inverse of their argument first.
// - In angle mode DRG_DEG the trigonometric functions take degrees and the inverse ones give
//   degrees. The hyperbolic functions take no angle and convert nothing.
// - The fraction set (flag WEQ_FRACTIONS) reads "n/d" written without blanks as one number,
//   and directly after a number as the fraction part of a mixed number: "3 1/2" is 3.5 and
//   "-3 1/2" is -3.5. With it, "2^1/2" is 2^0.5.
//
// GetValue never throws for bad input: any syntax error, unbalanced or mismatched bracket,
// missing operand, two numbers in a row or non-finite result returns 0 with the result 0.0.
// No input makes it recurse: both stacks live on the heap. A parser serves one evaluation.
#ifndef TLVUTL_EQ_PARSER_H
#define TLVUTL_EQ_PARSER_H

#include <tlvutl/cstring.h>
#include <tlvutl/export.h>
#include <tlvutl/runtime_class.h>

#include <string_view>
#include <vector>

// Angle mode of the trigonometric functions: radians, degrees or grads.
enum DRG { DRG_RAD = 0, DRG_DEG = 1, DRG_GRAD = 2 };

// Token sets for the flags of LoadTokens; the base set (end marker, numbers, unary signs) is
// always loaded.
enum : unsigned {
    WEQ_OPERATORS = 1,  // + - * / ^ and the three kinds of brackets
    WEQ_FRACTIONS = 2,  // "n/d" as one number, mixed numbers
    WEQ_LOGARITHMS = 4, // log ln sqrt
    WEQ_TRIGONOMETRY = 8,
    WEQ_HYPERBOLIC = 16,
    WEQ_ALL = 31,
};

// The state a token's match sees and may change.
struct WTokenMatch {
    std::wstring_view text; // the remaining expression
    bool operand;           // set after a value, cleared after an operator
    wchar_t decimal;        // the first character of the locale's decimal separator
};

// One kind of token of the expression language: its text, its priorities and how it applies itself
// to the value stack. The parser asks the table of tokens which one matches longest at the current
// position. Tokens are immutable once made and may be shared by parsers.
class TLVUTL_API WToken : public CObject {
    TLVUTL_DECLARE_DYNAMIC(WToken)
public:
    // A token without text, and one whose text is string resource textId (0: none) with the given
    // priorities: operators waiting on the stack are executed while their stack priority
    // is above the arriving token's input priority; equal priorities are a syntax error.
    // @{
    WToken() = default;
    WToken(UINT textId, int inputPriority, int stackPriority);
    // @}

    // The token's text, as loaded from the resource module.
    const CString& Text() const { return text_; }
    // The priority when the token arrives, and the priority while it waits on the operator stack.
    // @{
    int InputPriority() const { return input_; }
    int StackPriority() const { return stack_; }
    // @}

    // Pops its operands from values and pushes its result; false when an operand is missing.
    virtual bool Apply(std::vector<double>& values) const;
    // The length of the token's text at the start of m.text (0 for no match); may change
    // m.operand.
    virtual std::size_t Match(WTokenMatch& m) const;
    // For tokens that stand for a number: the number of the matched text (with its decimal
    // separator already turned into '.').
    virtual double ValueOf(std::wstring_view matched) const;
    // True for tokens whose match is a number to push, given the operand flag before it.
    virtual bool IsOperand(bool operandBefore) const;
    // False when the token cannot match a text starting with c (a fast pre-check; tokens whose
    // Match is not a plain comparison with their text always answer true).
    bool MayStartWith(wchar_t c) const {
        return !plainText_ || (!text_.IsEmpty() && text_.GetAt(0) == c);
    }

protected:
    // Set by tokens whose Match compares the text only (the built-in operators and functions).
    bool plainText_ = false;
    // The text and the input and stack priorities given to the constructor.
    // @{
    CString text_;
    int input_ = 0;
    int stack_ = 0;
    // @}
};

// Opening and closing brackets, trigonometric and inverse trigonometric functions are told
// apart by their base classes.
class TLVUTL_API WTokenOpen : public WToken {
    TLVUTL_DECLARE_DYNAMIC(WTokenOpen)
public:
    // The constructors of WToken.
    using WToken::WToken;
    // The class of the closing bracket that ends it.
    virtual const CRuntimeClass* Closing() const = 0;
    std::size_t Match(WTokenMatch& m) const override;
};

// A closing bracket: it executes the operators back to the opening bracket of its own kind.
class TLVUTL_API WTokenClosed : public WToken {
    TLVUTL_DECLARE_DYNAMIC(WTokenClosed)
public:
    // The constructors of WToken.
    using WToken::WToken;
    std::size_t Match(WTokenMatch& m) const override;
};

// A prefix function of one argument (log, sin, ...): input priority 6, stack priority 5. WTokenTrig
// and WTokenRevTrig mark the functions whose argument, or result, is an angle.
class TLVUTL_API WTokenFunction : public WToken {
    TLVUTL_DECLARE_DYNAMIC(WTokenFunction)
public:
    // A function token with text textId that applies f to the top value.
    WTokenFunction(UINT textId, double (*f)(double)) : WToken(textId, 6, 5), f_(f) {}
    bool Apply(std::vector<double>& values) const override;

private:
    double (*f_)(double);
};

// A trigonometric function: in DRG_DEG mode its argument is converted from degrees.
class TLVUTL_API WTokenTrig : public WTokenFunction {
    TLVUTL_DECLARE_DYNAMIC(WTokenTrig)
public:
    // The constructors of WTokenFunction.
    using WTokenFunction::WTokenFunction;
};

// An inverse trigonometric function: in DRG_DEG mode its result is converted to degrees.
class TLVUTL_API WTokenRevTrig : public WTokenFunction {
    TLVUTL_DECLARE_DYNAMIC(WTokenRevTrig)
public:
    // The constructors of WTokenFunction.
    using WTokenFunction::WTokenFunction;
};

// Declares a token class name derived from base whose default constructor sets its text and
// priorities; used for the functions below and undefined again at the end of this header.
#define TLVUTL_EQ_TOKEN(name, base)                                                                \
    class TLVUTL_API name : public base {                                                          \
        TLVUTL_DECLARE_DYNCREATE(name)                                                             \
    public:                                                                                        \
        name();                                                                                    \
    };
// Declares an operator token class with its own Apply and Match; undefined at the end of this
// header.
#define TLVUTL_EQ_OPERATOR_TOKEN(name)                                                             \
    class TLVUTL_API name : public WToken {                                                        \
        TLVUTL_DECLARE_DYNCREATE(name)                                                             \
    public:                                                                                        \
        name();                                                                                    \
        bool Apply(std::vector<double>& values) const override;                                    \
        std::size_t Match(WTokenMatch& m) const override;                                          \
    };

// The end marker: matches nothing; GetToken returns it when the text is used up.
class TLVUTL_API WTokenNull : public WToken {
    TLVUTL_DECLARE_DYNCREATE(WTokenNull)
public:
    WTokenNull() : WToken(0, 0, -1) {}
    std::size_t Match(WTokenMatch&) const override { return 0; }
};

// A number: digits with the locale's decimal separator, no sign, no exponent.
class TLVUTL_API WTokenValue : public WToken {
    TLVUTL_DECLARE_DYNCREATE(WTokenValue)
public:
    WTokenValue();
    std::size_t Match(WTokenMatch& m) const override;
    double ValueOf(std::wstring_view matched) const override;
    bool IsOperand(bool) const override { return true; }
};

// A fraction "n/d" written without blanks (with WEQ_FRACTIONS); after a number it adds itself to it
// as the fraction part of a mixed number.
class TLVUTL_API WTokenFraction : public WToken {
    TLVUTL_DECLARE_DYNCREATE(WTokenFraction)
public:
    WTokenFraction();
    std::size_t Match(WTokenMatch& m) const override;
    double ValueOf(std::wstring_view matched) const override;
    // Alone it is a number; after a number it completes a mixed number.
    bool IsOperand(bool operandBefore) const override { return !operandBefore; }
    bool Apply(std::vector<double>& values) const override;
};

TLVUTL_EQ_OPERATOR_TOKEN(WTokenOpPlus)
TLVUTL_EQ_OPERATOR_TOKEN(WTokenOpMinus)
TLVUTL_EQ_OPERATOR_TOKEN(WTokenOpMultiply)
TLVUTL_EQ_OPERATOR_TOKEN(WTokenOpDivide)
TLVUTL_EQ_OPERATOR_TOKEN(WTokenOpExp)
TLVUTL_EQ_OPERATOR_TOKEN(WTokenUnaryPlus)
TLVUTL_EQ_OPERATOR_TOKEN(WTokenUnaryMinus)

// Declares a closing and an opening bracket class; the opening one names the closing one that ends
// it. Undefined after use.
#define TLVUTL_EQ_BRACKETS(Open, Close)                                                            \
    class TLVUTL_API Close : public WTokenClosed {                                                 \
        TLVUTL_DECLARE_DYNCREATE(Close)                                                            \
    public:                                                                                        \
        Close();                                                                                   \
    };                                                                                             \
    class TLVUTL_API Open : public WTokenOpen {                                                    \
        TLVUTL_DECLARE_DYNCREATE(Open)                                                             \
    public:                                                                                        \
        Open();                                                                                    \
        const CRuntimeClass* Closing() const override { return RUNTIME_CLASS(Close); }             \
    };
TLVUTL_EQ_BRACKETS(WTokenOBracket, WTokenCBracket)
TLVUTL_EQ_BRACKETS(WTokenOParen, WTokenCParen)
TLVUTL_EQ_BRACKETS(WTokenOBrace, WTokenCBrace)
#undef TLVUTL_EQ_BRACKETS

TLVUTL_EQ_TOKEN(WTokenLog, WTokenFunction)
TLVUTL_EQ_TOKEN(WTokenLn, WTokenFunction)
TLVUTL_EQ_TOKEN(WTokenSqrt, WTokenFunction)
TLVUTL_EQ_TOKEN(WTokenSin, WTokenTrig)
TLVUTL_EQ_TOKEN(WTokenCos, WTokenTrig)
TLVUTL_EQ_TOKEN(WTokenTan, WTokenTrig)
TLVUTL_EQ_TOKEN(WTokenCsc, WTokenTrig)
TLVUTL_EQ_TOKEN(WTokenSec, WTokenTrig)
TLVUTL_EQ_TOKEN(WTokenCot, WTokenTrig)
TLVUTL_EQ_TOKEN(WTokenASin, WTokenRevTrig)
TLVUTL_EQ_TOKEN(WTokenACos, WTokenRevTrig)
TLVUTL_EQ_TOKEN(WTokenATan, WTokenRevTrig)
TLVUTL_EQ_TOKEN(WTokenACsc, WTokenRevTrig)
TLVUTL_EQ_TOKEN(WTokenASec, WTokenRevTrig)
TLVUTL_EQ_TOKEN(WTokenACot, WTokenRevTrig)
TLVUTL_EQ_TOKEN(WTokenSinH, WTokenFunction)
TLVUTL_EQ_TOKEN(WTokenCosH, WTokenFunction)
TLVUTL_EQ_TOKEN(WTokenTanH, WTokenFunction)
#undef TLVUTL_EQ_TOKEN
#undef TLVUTL_EQ_OPERATOR_TOKEN

// The expression parser: construct it on the text, then call GetValue once. Subclasses add tokens
// (the unit-aware parser) through the protected members.
class TLVUTL_API WEqParser {
public:
    // A parser of equation with the token sets of tokenFlags (WEQ_*) and angleMode for the
    // trigonometric functions.
    WEqParser(CString equation, unsigned int tokenFlags, DRG angleMode);
    // Also makes one token of each extra class (the unit-aware parser's tokens); the parser
    // owns them.
    WEqParser(CString equation, CRuntimeClass* const* extraTokens, int count,
              unsigned int tokenFlags, DRG angleMode);
    virtual ~WEqParser();
    WEqParser(const WEqParser&) = delete;
    WEqParser& operator=(const WEqParser&) = delete;

    // Adds the tokens of the sets in flags (WEQ_*; the base set with the first call); returns 1.
    int LoadTokens(unsigned int flags);
    // Replaces the text to evaluate and starts again at its beginning.
    void LoadEquation(CString equation);
    // 1 and the value of the whole text, or 0 and 0.0.
    virtual int GetValue(double& result);

protected:
    // The token that matches longest at the current position (on equal length the one loaded
    // first), skipping blanks; the end marker at the end of the text; null when nothing matches.
    // Reads the number of an operand token into value_.
    virtual const WToken* GetToken();
    // Pushes the current token's number, or executes waiting operators by priority and pushes the
    // current operator; false on a syntax error.
    virtual bool ProcessToken();
    // Applies the operator token on top of the stack to the value stack, converting angles in
    // DRG_DEG mode, and pops it; false when it cannot be applied (an opening bracket, a missing
    // operand).
    virtual bool ExecuteOperation(const WToken* token);

    // The evaluation state: the text and position, the angle mode, whether the last token was an
    // operand, the current and previous token and whether the current one is an operand, its
    // number, the decimal separator, and the two stacks.
    // @{
    std::wstring text_;
    std::size_t pos_ = 0;
    std::vector<const WToken*> tokens_; // in load order
    DRG angleMode_;
    bool operand_ = false;
    const WToken* current_ = nullptr;
    const WToken* previous_ = nullptr;
    bool currentIsOperand_ = false;
    double value_ = 0.0;
    wchar_t decimal_ = L'.';
    std::vector<const WToken*> operators_;
    std::vector<double> values_;
    // @}

    // Adds a token of the parser's own (a subclass's), owned by the parser.
    void AddOwned(WToken* token);
    // The end marker and the number token every parser shares.
    // @{
    static const WToken* EndMarkerToken();
    static const WToken* ValueTokenShared();
    // @}

private:
    std::vector<WToken*> owned_;
};

#endif
