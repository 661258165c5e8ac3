// WUnitParser: the expression parser of a measurement field, which understands units.
//
// The field has a unit (a display of the unit registry); every number is in that unit unless
// a unit follows it. Grammar on top of the expression parser's:
//
//   operand   := number [unit] | "(" expression ")" [unit] | ...
//   unit      := a name (forms 1 to 3, case-insensitive) or symbol of a registered unit of
//                the field's kind (lengths for length and base-unit fields, angles for angle
//                fields, percent for percent fields); the longest name wins
//   compound  := operand unit number unit ...   (parts add: 5' 3" is 63 in an inch field)
//   two-part  := number list-separator number   (picas-and-points and ciceros-and-didots
//                fields: the second number is in the second unit; "3,6" is 3.5 picas)
//
// A unit applies to the operand just before it and binds tighter than any operator: in a
// millimetre field "2*3in" is 152.4 and "1in + 2mm" is 27.4. In an angle field the ASCII
// marks ' and " stand for minutes and seconds of arc ("30° 15'" is 30.25); elsewhere they are
// feet and inches. A name that is no unit of the field's kind matches nothing, so the parse
// fails. Each unit converts by the ratio the registry gives: how many field units one of it
// makes.
#ifndef TLVUTL_UNIT_PARSER_H
#define TLVUTL_UNIT_PARSER_H

#include <tlvutl/eq_parser.h>

#include <vector>

class WUntiDef;

class TLVUTL_API WUnitParser : public WEqParser {
public:
    struct UnitRatio {
        WUntiDef* definition;
        double ratio; // field units per one of the definition
    };
    enum class Kind { Length, Angle, Percent };

    // units: every registered definition with its ratio; the parser keeps those of the
    // field's kind. secondRatio: for two-part fields the ratio of the second unit, else 0.
    WUnitParser(CString text, const std::vector<UnitRatio>& units, Kind fieldKind,
                double secondRatio, unsigned int tokenFlags, DRG angleMode);

    static Kind KindOfDefinition(UINT id);

protected:
    bool ProcessToken() override;

private:
    bool compoundPending_ = false;
};

#endif
