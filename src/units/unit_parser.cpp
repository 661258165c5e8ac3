#include <tlvutl/locale.h>
#include <tlvutl/unit_parser.h>
#include <tlvutl/units.h>

#include "core/case_fold.h"

#include <cmath>
#include <cwctype>

namespace {

wchar_t Fold(wchar_t c) {
    return tlv::core::FoldLower(c);
}

bool StartsWithFolded(std::wstring_view text, std::wstring_view prefix) {
    if (prefix.empty() || text.size() < prefix.size())
        return false;
    for (std::size_t i = 0; i < prefix.size(); ++i)
        if (text[i] != prefix[i] && Fold(text[i]) != Fold(prefix[i]))
            return false;
    return true;
}

// A unit after an operand: converts it into field units.
class WTokenUnit final : public WToken {
public:
    WTokenUnit(std::vector<std::wstring> names, double ratio)
        : names_(std::move(names)), ratio_(ratio) {}
    std::size_t Match(WTokenMatch& m) const override {
        if (!m.operand)
            return 0;
        std::size_t best = 0;
        for (const std::wstring& n : names_)
            if (n.size() > best && StartsWithFolded(m.text, n))
                best = n.size();
        return best; // the operand flag stays set: an operator may follow
    }
    double Ratio() const { return ratio_; }

private:
    std::vector<std::wstring> names_;
    double ratio_;
};

// The list separator of a two-part field: a + b in the second unit.
class WTokenPartSeparator final : public WToken {
public:
    WTokenPartSeparator(std::wstring separator, double secondRatio)
        : separator_(std::move(separator)), ratio_(secondRatio) {
        input_ = 11;
        stack_ = 12;
    }
    std::size_t Match(WTokenMatch& m) const override {
        if (!m.operand || separator_.empty() || m.text.substr(0, separator_.size()) != separator_)
            return 0;
        m.operand = false;
        return separator_.size();
    }
    bool Apply(std::vector<double>& values) const override {
        if (values.size() < 2)
            return false;
        const double second = values.back();
        values.pop_back();
        values.back() += second * ratio_;
        return true;
    }

private:
    std::wstring separator_;
    double ratio_;
};

std::wstring ListSeparator() {
    wchar_t buffer[8];
    if (!TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SLIST, buffer, 8))
        return L",";
    std::wstring s(buffer);
    while (!s.empty() && s.back() == L' ')
        s.pop_back();
    return s;
}

} // namespace

WUnitParser::Kind WUnitParser::KindOfDefinition(UINT id) {
    switch (id) {
    case 11:
    case 26:
    case 27:
    case 32:
        return Kind::Angle;
    case 39:
        return Kind::Percent;
    default:
        return Kind::Length;
    }
}

WUnitParser::WUnitParser(CString text, const std::vector<UnitRatio>& units, Kind fieldKind,
                         double secondRatio, unsigned int tokenFlags, DRG angleMode)
    : WEqParser(std::move(text), tokenFlags, angleMode) {
    for (const UnitRatio& u : units) {
        if (!u.definition || KindOfDefinition(u.definition->GetId()) != fieldKind)
            continue;
        std::vector<std::wstring> names;
        for (unsigned form = 1; form <= 4; ++form) {
            const CString n = u.definition->GetName(form);
            if (!n.IsEmpty())
                names.push_back(n.str());
        }
        // Keyboards have no prime marks: in an angle field ' and " are minutes and seconds.
        if (fieldKind == Kind::Angle && u.definition->GetId() == 26)
            names.push_back(L"'");
        if (fieldKind == Kind::Angle && u.definition->GetId() == 27)
            names.push_back(L"\"");
        if (!names.empty() && std::isfinite(u.ratio))
            AddOwned(new WTokenUnit(std::move(names), u.ratio));
    }
    if (secondRatio != 0.0)
        AddOwned(new WTokenPartSeparator(ListSeparator(), secondRatio));
}

bool WUnitParser::ProcessToken() {
    if (const auto* unit = dynamic_cast<const WTokenUnit*>(current_)) {
        if (values_.empty() || dynamic_cast<const WTokenUnit*>(previous_))
            return false; // "1in in": one operand, one unit
        values_.back() *= unit->Ratio();
        if (compoundPending_) {
            // The next smaller part of a compound value: add it to the part before.
            const double part = values_.back();
            values_.pop_back();
            if (values_.empty())
                return false;
            values_.back() += part;
            compoundPending_ = false;
        }
        return true;
    }
    compoundPending_ =
        currentIsOperand_ && previous_ && dynamic_cast<const WTokenUnit*>(previous_) != nullptr;
    return WEqParser::ProcessToken();
}
