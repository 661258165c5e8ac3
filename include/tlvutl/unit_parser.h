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

// The expression parser of a measurement field: numbers with units, compounds and two-part values
// (see above). Construct it on the text and call GetValue once; the result is in the field's unit.
class TLVUTL_API WUnitParser : public WEqParser {
public:
    // A unit definition the parser may meet, and how many field units one of it makes.
    struct UnitRatio {
        // The definition, not owned.
        WUntiDef* definition;
        double ratio; // field units per one of the definition
    };
    // The kinds of field: a unit converts only within its kind.
    enum class Kind { Length, Angle, Percent };

    // units: every registered definition with its ratio; the parser keeps those of the
    // field's kind. secondRatio: for two-part fields the ratio of the second unit, else 0.
    WUnitParser(CString text, const std::vector<UnitRatio>& units, Kind fieldKind,
                double secondRatio, unsigned int tokenFlags, DRG angleMode);

    // The kind of unit definition id: angle for the degree, minute, second and radian, percent for
    // the percent, length for all others.
    static Kind KindOfDefinition(UINT id);

protected:
    bool ProcessToken() override;

private:
    bool compoundPending_ = false;
};

#endif
