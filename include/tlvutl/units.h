/* Measurement units: the unit registry (WUnit), the UNIT functions over it, per-unit value
 * pairs and the drawing-scale presets.
 *
 * Lengths are held in the base unit, a tenth of a micron (10,000,000 to the metre). A unit is
 * the integer identifier of a unit display: 1 inch, 2 millimetre, 4 point, 5 centimetre,
 * 6 pixel, 9 metre, 11 degree ...; 0, 17, 22 and 23 are base units and convert nothing;
 * 41 is the "custom" entry of unit lists and 42 and up are the user's custom units.
 *
 * Contract:
 * - WUnit and the other classes throw std::invalid_argument for a unit they do not hold.
 * - The C functions never throw: an unknown unit is reported through UIMSG_FatalError
 *   (code 5002, source "units") and gives the documented neutral result.
 * - Conversions keep the registry's operation order exactly, so results are reproducible
 *   to the bit, including the division and multiplication by the precision.
 * - Everything here is unguarded state of the user-interface thread, as the platform's
 *   dialog code that calls it.
 * - The library draws no UI: the dialog functions talk to a UnitDialog and a
 *   CustomUnitEditor that the host implements over its toolkit. */
#ifndef TLVUTL_UNITS_H
#define TLVUTL_UNITS_H

#include <tlvutl/export.h>
#include <tlvutl/wintypes.h>

/* Flags of the value-to-text functions. */
#define UNITFMT_KEEP_ZEROS 0x0001u /* keep trailing decimal zeros */
#define UNITFMT_UNIT_NAME 0x0002u  /* append a space and the unit's abbreviation */
#define UNITFMT_GROUPING 0x0004u   /* group the integer part by threes */

/* Decimals of the value-to-text functions: 0 is the unit's default, these select others. */
#define UNIT_DECIMALS_NONE 10000         /* no decimals */
#define UNIT_DECIMALS_PIXEL_HALVES 10001 /* pixels in halves, with one decimal */

/* Or'ed into the flag of a display's FormatValue (WUnit::DisplayUnitValueAsString): round
 * the value to the last part's step first, carrying into the earlier parts. */
#define WUNIT_FORMAT_CARRY 0x10000

/* The "custom" entry of unit lists (UNITGetUnitArray). */
#define UNIT_CUSTOM_ENTRY 41
/* The identifier of the first custom unit; the next ones follow without gaps. */
#define UNIT_FIRST_CUSTOM 42

/* One user-defined unit, as kept in the "Custom Unit(s)" section of the common ini file.
 * size is how many reference units one custom unit makes. */
typedef struct UNIT_CUSTOM_RECORD {
    /* The three name forms (1 singular, 2 plural, 3 abbreviation), each null-terminated.
     * @{ */
    wchar_t name1[21];
    wchar_t name2[23];
    wchar_t name3[21];
    /* @} */
    /* The symbol, null-terminated; may be empty. */
    wchar_t symbol[21];
    /* How many reference units one custom unit makes; never 0 in a kept record. */
    double size;
    /* The built-in unit (1 to 39) the custom unit is defined in. */
    int referenceUnit;
    /* The small, medium and large spin step, in the custom unit. */
    double increments[3];
    /* Decimal places of values shown in the custom unit. */
    int decimals;
} UNIT_CUSTOM_RECORD;

TLVUTL_C_BEGIN

/* Reads the locale strings once; 0 (and "UNIT initialization failed!" on the debug output)
 * when they cannot be read. */
TLVUTL_API int UNITInitialize(void);

/* Nested: the first call loads the custom units from the common ini file and registers them
 * on the custom unit manager; the last UnInitialize writes them back and frees them. */
TLVUTL_API int UNITCustomInitialize(void);
/* Ends one UNITCustomInitialize; the last one saves the custom units and frees them. */
TLVUTL_API int UNITCustomUnInitialize(void);
/* Reads the custom unit records from the common ini file again, replacing those held, and
 * rebuilds the unit list. 1, or 0 when memory runs out. */
TLVUTL_API int UNITConfigLoadCustomUnitOptions(void);
/* Number of records written; 0 when there are none. */
TLVUTL_API int UNITConfigSaveCustomUnitOptions(void);
/* Removes a custom unit; the later custom units move down by one. 1 on success. */
TLVUTL_API int UNITDeleteCustomUnit(int unit);
/* 1 when 42 <= unit <= 42 + number of custom units (one beyond the last on purpose). */
TLVUTL_API int UNITIsValidCustomUnit(int unit);
/* 1 to 39: the unit; a loaded custom unit: its reference unit; otherwise 0. */
TLVUTL_API int UNITCustomUnitMappedUsing(int unit);
/* Number of custom units loaded (0 outside UNITCustomInitialize). */
TLVUTL_API int UNITGetCustomUnitCount(void);
/* Copies the record of custom unit unit into record and returns 1; 0 when the unit is not loaded or
 * record is null. */
TLVUTL_API int UNITGetCustomUnitRecord(int unit, UNIT_CUSTOM_RECORD* record);

/* Base units (tenths of a micron) to a unit and back. Pixels go through resolution, in
 * pixels per inch; a resolution of 0 or less means the screen's (WUnit::GetResolution).
 * Unknown units: fatal-error report and 0. */
TLVUTL_API double UNITConvertBaseToUnit(int unit, double value, double resolution);
/* Unit to base units, the inverse of UNITConvertBaseToUnit. */
TLVUTL_API double UNITConvertUnitToBase(int unit, double value, double resolution);
/* From one unit to another (screen resolution for pixels). A base unit on either side returns the
 * value unchanged. */
TLVUTL_API double UNITConvertUnitToUnit(int from, int to, double value);
/* Resolutions (per unit) convert inversely to lengths; a resolution below 1 gives 0. */
TLVUTL_API double UNITConvertResUnitToUnit(int from, int to, double resolution);
/* A resolution per unit (dots per unit) to dots per base unit. */
TLVUTL_API double UNITConvertResToBase(int unit, double resolution);

/* The separator typed inside a value of the unit (the locale's decimal separator, or its
 * list separator for picas and points and ciceros and didots) into buffer, which holds at
 * least 5 characters. Returns the characters written. */
TLVUTL_API int UNITGetSeparatorString(int unit, wchar_t* buffer);
/* Sets the decimal places the unit's values are shown with (the display's override). */
TLVUTL_API void UNITSetDefDecimalPrecision(int unit, int places);
/* The decimal places the unit's values are shown with. */
TLVUTL_API int UNITGetDefDecimalPrecision(int unit);

/* Spin-control steps. index 0, 1, 2: small, medium, large increment in the unit (-1 for any
 * other index). The others work in base units: the small step, a value snapped to it, and a
 * value moved by a number of steps. */
TLVUTL_API double UNITGetIncrement(int unit, int index);
/* The small step of the unit, in base units. */
TLVUTL_API double UNITGetAutoIncrement(int unit, double resolution);
/* value (base units) rounded to a whole number of small steps of the unit. */
TLVUTL_API double UNITGetAutoValue(int unit, double value, double resolution);
/* value (base units) moved by steps small steps of the unit (negative: down), in base units. */
TLVUTL_API double UNITIncAndConvValue(int unit, double value, int steps, double resolution);

/* The unit list of unit combo boxes: 15 built-in units, 41, the custom units, -1. */
TLVUTL_API const int* UNITGetUnitArray(void);

/* Grid frequencies in lines per unit. */
TLVUTL_API void GetGridFreqLimits(int unit, double* maximum, double* minimum, double resolution);
/* Clamps the frequency into the limits: 0 when it was changed, 1 when it was valid. */
TLVUTL_API int UNITValidateGridFrequency(double* frequency, int unit, double resolution);

/* 1 when the user's measurement system is metric (cached once known). */
TLVUTL_API int UNITIsMetric(void);

TLVUTL_C_END

#ifdef __cplusplus

#include <tlvutl/cstring.h>
#include <tlvutl/eq_parser.h>
#include <tlvutl/runtime_class.h>

#include <cstdint>
#include <map>
#include <set>
#include <type_traits>
#include <vector>

/* One physical unit: factor in metres (angles: radians) per unit, decimals, three spin
 * increments and three name forms (1 singular, 2 plural, 3 abbreviation). Definitions from
 * the built-in table are filled from it on first use. */
class TLVUTL_API WUntiDef : public CObject {
    TLVUTL_DECLARE_DYNCREATE(WUntiDef)
public:
    WUntiDef();
    ~WUntiDef() override;

    /* Fills the fields from the built-in definition table row of the definition's identifier. */
    virtual void LoadDefinition();
    /* Stores the decimals, the three increments (small, medium, large), the three names and the
     * factor (metres or radians per unit) and marks the definition loaded. */
    virtual void DefineFromStrings(int decimals, double inc1, double inc2, double inc3,
                                   const CString& name1, const CString& name2, const CString& name3,
                                   double factor);
    /* As DefineFromStrings with names given as string resource numbers of the resource module (0:
     * no name). */
    virtual void DefineFromResources(int decimals, double inc1, double inc2, double inc3,
                                     UINT name1, UINT name2, UINT name3, double factor);
    /* 1 when text equals a name (case-insensitively), else 0. */
    virtual int MatchesName(const CString& text);
    /* Name form 1 (singular), 2 (plural), 3 or 4 (abbreviation); empty for any other form. */
    virtual CString GetName(unsigned form);
    /* Spin increment 0 (small), 1 (medium) or 2 (large) in this unit; -1.0 for any other index. */
    virtual double GetIncrement(unsigned index);
    /* value in this unit to metres (radians for angles). precision p (0 means 1.0) is divided out
     * and multiplied back in, (value / p) * factor * p, so that results match to the bit. */
    virtual double ToMetres(double value, double precision);
    /* Metres (radians) to this unit: (value / p) / factor * p, as ToMetres. */
    virtual double FromMetres(double value, double precision);
    /* value rounded to the decimal places and printed without trailing zeros, followed by a space
     * and name form 1, 2 or 3 (form 4: the abbreviation); no unit text for other forms. */
    virtual CString FormatValue(double value, unsigned form);

    /* The definition's identifier (the built-in table's, or 42 and up for added ones).
     * @{ */
    UINT GetId() const { return m_id; }
    void SetId(UINT id) { m_id = id; }
    /* @} */
    /* True once the fields have been filled (definitions are filled on first use). */
    bool IsLoaded() const { return m_loaded != 0; }
    /* Decimal places of values in this unit (loads the definition first).
     * @{ */
    int GetDecimalPlaces();
    void SetDecimalPlaces(int places);
    /* @} */
    /* Metres (or radians) per one of this unit (loads the definition first). */
    double GetFactor();

protected:
    /* Loads the definition when it has not been loaded yet. */
    void EnsureLoaded() {
        if (!m_loaded)
            LoadDefinition();
    }
    /* The number and the unit text of a formatted value, shared with the displays. */
    void AppendUnitText(CString& text, unsigned form);
    /* Appends the unit text of form to text; WUnitWithSymbol appends its symbol for form 4. */
    virtual void AppendUnitTextImpl(CString& text, unsigned form);
    friend class WUnitCollection;
    friend class WUnitRational;

    /* The fields as DefineFromStrings stores them; m_loaded is 1 once they are filled.
     * @{ */
    UINT m_id = 0;
    int m_decimals = 0;
    double m_increments[3] = {0, 0, 0};
    CString m_names[3];
    double m_factor = 1.0;
    int m_loaded = 0;
    /* @} */
};

/* A unit with a symbol (display form 4), such as the inch or the degree mark. */
class TLVUTL_API WUnitWithSymbol : public WUntiDef {
    TLVUTL_DECLARE_DYNCREATE(WUnitWithSymbol)
public:
    /* Reads the table row as WUntiDef does and also loads the symbol. */
    void LoadDefinition() override;
    /* 1 when text equals the symbol or one of the names, else 0. */
    int MatchesName(const CString& text) override;
    /* As WUntiDef::GetName, with form 4 giving the symbol. */
    CString GetName(unsigned form) override;
    /* Form 4 writes the number with the symbol right after it, without a space; other forms as
     * WUntiDef::FormatValue. */
    CString FormatValue(double value, unsigned form) override;
    /* Sets the symbol (display form 4). */
    void SetSymbol(const CString& symbol) { m_symbol = symbol; }

protected:
    /* Appends the symbol for form 4, the name otherwise. */
    void AppendUnitTextImpl(CString& text, unsigned form) override;
    /* The symbol, display form 4. */
    CString m_symbol;
};

/* The pixel: converts through the screen resolution (WUnit::GetResolution) instead of a
 * fixed factor, with 300 pixels to the inch while no resolution is set. */
class TLVUTL_API WUnitPixel : public WUntiDef {
    TLVUTL_DECLARE_DYNCREATE(WUnitPixel)
public:
    /* value pixels to metres through the screen resolution. */
    double ToMetres(double value, double precision) override;
    /* Metres to pixels through the screen resolution. */
    double FromMetres(double value, double precision) override;
};

/* A unit display: one to three definitions shown together, largest first (feet and inches,
 * degrees minutes and seconds, picas and points). Values of a compound display are counted
 * in its first unit. The display does not own its definitions. */
class TLVUTL_API WUnitCollection : public CObject {
    TLVUTL_DECLARE_DYNCREATE(WUnitCollection)
public:
    WUnitCollection();
    ~WUnitCollection() override;

    /* 1 when any of the definitions matches text (loading each first), else 0. */
    virtual int MatchesName(const CString& text);
    /* The definitions' names of form, in order, joined by the separator. */
    virtual CString GetName(unsigned form);
    /* The name shown in unit lists; GetName(form) unless a subclass says more. */
    virtual CString GetDisplayName(unsigned form);
    /* The decimal override when set, else the last definition's decimal places. */
    virtual int GetDecimalPlaces();
    /* Sets the decimal override (-1 clears it) and returns places. */
    virtual int SetDecimalPlaces(int places);
    /* Spin increment index (0 to 2) of the first definition; -1.0 for other indices. */
    virtual double GetIncrement(unsigned index);
    /* A value of the display (counted in its first, largest unit) to metres, through the first
     * definition. */
    virtual double ToMetres(double value, double precision);
    /* Metres to a value of the display, counted in its first unit. */
    virtual double FromMetres(double value, double precision);
    /* A compound value is split part by part: each part but the last shows the whole below
     * the value and hands the remainder on; only the last part is rounded, so 10.9999 in
     * degrees and minutes shows as 10 degrees 60 minutes. flag: 0 or a power of two from 2
     * to 4096; for the fraction displays the finest denominator (0: 64), otherwise only the
     * grain of the remainders; or'ed with WUNIT_FORMAT_CARRY, the value is first rounded to
     * the last part's step so that rounding carries into the earlier parts (11 degrees 0
     * minutes). */
    virtual CString FormatValue(double value, unsigned form, int flag);
    /* Writes the last part of a compound value with the last definition; WUnitRational writes
     * fractions. */
    virtual CString FormatLastPart(double value, unsigned form, int flag);

    /* The display's identifier, the unit number callers pass. */
    UINT GetId() const { return m_id; }
    /* Number of definitions shown together, 1 to 3. */
    int GetCount() const { return m_count; }
    /* Definition index (0 is the largest), not owned. */
    WUntiDef* GetDefinition(int index) const;
    /* Text put between the parts of a compound name or value. */
    const CString& GetSeparator() const { return m_separator; }

    /* Filling a display; the registry does this. */
    void SetId(UINT id) { m_id = id; }
    /* Appends a definition (not owned) as the next, smaller part. */
    void AddDefinition(WUntiDef* definition);
    /* Sets the text between parts. */
    void SetSeparator(const CString& separator) { m_separator = separator; }
    /* Sets the decimal override; -1 for none. */
    void SetDecimalOverride(int places) { m_decimalOverride = places; }
    /* Marks the display filled. */
    void SetLoaded() { m_loaded = 1; }

protected:
    /* How many units of the last definition one unit of the first makes. */
    double LastPerFirst();
    /* The finest step of the last part, in units of the last definition. */
    virtual double LastPartGrain(int flag);

    /* The display's fields as the setters above store them; the definitions are not owned.
     * @{ */
    UINT m_id = 0;
    int m_count = 0;
    int m_decimalOverride = -1;
    CString m_separator;
    int m_loaded = 0;
    std::vector<WUntiDef*> m_definitions;
    /* @} */
};

/* Shows the last part of a value as a whole and a power-of-two fraction ("3 5/8"): the
 * fraction is the nearest multiple of 1/D, reduced, where D is the flag when it is a power
 * of two from 2 to 4096 and 64 otherwise (the finest mark of an inch ruler). */
class TLVUTL_API WUnitRational : public WUnitCollection {
    TLVUTL_DECLARE_DYNCREATE(WUnitRational)
public:
    /* Writes the last part as a whole and a reduced fraction with denominator Denominator(flag): "3
     * 5/8", "3" or "5/8". */
    CString FormatLastPart(double value, unsigned form, int flag) override;
    /* flag when it is a power of two from 2 to 4096, 64 otherwise. */
    static int Denominator(int flag);

protected:
    double LastPartGrain(int flag) override;
};

/* Feet and inches with the inches in power-of-two fractions. */
class TLVUTL_API WUnitRationalBase2 : public WUnitRational {
    TLVUTL_DECLARE_DYNCREATE(WUnitRationalBase2)
};

/* A single unit shown with power-of-two fractions (inches, feet). Its display name says so:
 * the name followed by the finest fraction, "inches (1/64)". */
class TLVUTL_API WUnitRationalInch : public WUnitRational {
    TLVUTL_DECLARE_DYNCREATE(WUnitRationalInch)
public:
    /* The plural name followed by the finest fraction, "inches (1/64)". */
    CString GetDisplayName(unsigned form) override;
};

/* The unit registry: definitions and displays by identifier. Use GetDefaultWUnit, or a
 * registry of one's own (the custom unit manager is one). */
class TLVUTL_API WUnit {
public:
    /* Position of a unit in one of the registry's identifier indexes. */
    struct UnitMap {
        /* The unit or definition identifier. */
        int id;
        /* Index of its object in the matching object array. */
        __int64 position;
    };

    WUnit();
    ~WUnit();
    WUnit(const WUnit&) = delete;
    WUnit& operator=(const WUnit&) = delete;

    /* The process-wide registry, with the default displays loaded on the first call. */
    static WUnit& GetDefaultWUnit();

    /* Registers the listed displays (null: the default list) up to the first negative
     * entry: 1 at the terminator, 0 at an identifier that no table holds. The count bounds
     * the list when it is not negative. */
    int LoadDefaults(int* const ids, int count);
    /* Registers the built-in definition id, not yet loaded, if not held. Returns id, or -1 (all
     * bits set when read unsigned) when the table has no such row. */
    int AddUnitDefinition(int id);
    /* Creates a definition of class cls under the next definition identifier (42, 43 ...) from
     * string resource numbers (0: none) and registers it. decimals, the three increments and factor
     * (metres or radians per unit) as in WUntiDef::DefineFromStrings. Returns the new identifier.
     */
    int AddUnitDefinition(const CRuntimeClass* cls, int decimals, double inc1, double inc2,
                          double inc3, int name1, int name2, int name3, int symbol, double factor);
    /* As the overload above, with the names and the symbol given as text. */
    int AddUnitDefinition(const CRuntimeClass* cls, int decimals, double inc1, double inc2,
                          double inc3, const CString& name1, const CString& name2,
                          const CString& name3, const CString& symbol, double factor);
    /* Registers the built-in display id, with its definitions, as LoadDefaults does for one
     * entry. Returns id (also when already held), or -1 when the table has no such display. */
    int AddUnitDisplay(int id);
    /* A new display of the listed definitions; separator is a string resource number
     * (negative: 24068, 0: none). Returns its identifier. */
    int AddUnitDisplay(const CRuntimeClass* cls, const int* definitions, int count, int separator,
                       int decimalOverride);
    /* 1 when removed, 0 when not registered. */
    int DeleteUnitDisplay(int id);

    /* Value in the unit to base units; unchanged for the base units 0, 17, 22 and 23. precision
     * -1.0 means the registry's precision factor (see WUntiDef::ToMetres). Unknown units throw
     * std::invalid_argument. */
    double ConvertFromUnitTo10thMicron(int unit, double value, double precision);
    /* Base units to a value in the unit, the inverse of ConvertFromUnitTo10thMicron. */
    double ConvertFrom10thMicronToUnit(int unit, double value, double precision);
    /* From one unit to another through metres. When either side is a base unit the value is
     * returned unchanged, by design. */
    double ConvertFromUnitToUnit(int from, int to, double value, double precision);
    /* A resolution per unit (dots per unit) in another unit: the inverse of converting 1 /
     * resolution as a length. 0.0 when the resolution truncates to 0. */
    double ConvertResolutionFromUnitToUnit(int from, int to, double resolution, double precision);

    /* The unit's definitions' names of form 1, 2 or 3, joined by the separator. */
    CString GetUnitString(int unit, unsigned form);
    /* The name shown in unit lists (fraction displays add their finest fraction). */
    CString GetUnitDisplayString(int unit, unsigned form);
    /* Decimal places shown for the unit, and setting them (returns places).
     * @{ */
    int GetUnitDecimalPlaces(int unit);
    int SetUnitDecimalPlaces(int unit, int places);
    /* @} */
    /* The rounding grain used when a conversion is given precision -1.0 (default 1e-7), and setting
     * it (returns the new value).
     * @{ */
    double GetPrecisionFactor() const { return m_precisionFactor; }
    double SetPrecisionFactor(double factor);
    /* @} */
    /* Spin increment 0 (small), 1 (medium) or 2 (large), in the unit; -1.0 for other indices. */
    double GetUnitIncrement(int unit, unsigned index);
    /* Number of definitions the display shows together (1 to 3). */
    int GetNumberOfUnitInCollection(int unit);
    /* value (counted in the unit's first part) as text, parts joined by the separator: see
     * WUnitCollection::FormatValue for form and flag. */
    CString DisplayUnitValueAsString(int unit, double value, unsigned form, int flag);

    /* Parses text typed into a field of the unit with the unit-aware expression parser
     * (see unit_parser.h); value receives the number in the unit. Returns 1, or 0 with value
     * 0.0. flags selects the parser's token sets as they are (WEQ_ALL for every set; 0 is the
     * base set alone, numbers, units and signs, without the binary operators). */
    int StringToValue(int unit, const CString& text, double& value, unsigned flags, DRG mode);

    /* The screen resolution that pixels convert through, shared by all registries, and
     * setting it (returns the new value). While it is 0 pixels are 300 to the inch.
     * @{ */
    static double GetResolution();
    static double SetResolution(double resolution);
    /* @} */
    /* The highest display identifier handed out so far (41 for the built-in set alone). */
    int GetMaxUnitRange() const { return m_nextDisplayId - 1; }

    /* Lookups for tools and parsers: the display or definition (throws when unknown), null
     * when absent, and the registered display identifiers in load order.
     * @{ */
    WUnitCollection& GetDisplay(int unit);
    WUnitCollection* FindDisplay(int unit);
    WUntiDef* FindDefinition(int id);
    std::vector<int> GetDisplayIds() const;
    std::vector<int> GetDefinitionIds() const;
    /* @} */

    /* True for 0, 17, 22 and 23. */
    static bool IsBaseUnit(int unit) { return unit == 0 || unit == 17 || unit == 22 || unit == 23; }

protected:
    /* Position of id in index, -1 when absent. */
    static __int64 FindUnit(int id, const std::vector<UnitMap>& index);

private:
    double Precision(double precision) const {
        return precision == -1.0 ? m_precisionFactor : precision;
    }
    WUntiDef& Definition(int id);
    int RegisterDefinition(WUntiDef* definition);

    int m_nextDefinitionId = 42;
    int m_nextDisplayId = 42;
    double m_precisionFactor = 1e-7;
    std::vector<UnitMap> m_definitionIndex;
    std::vector<WUntiDef*> m_definitions;
    std::vector<UnitMap> m_displayIndex;
    std::vector<WUnitCollection*> m_displays;
    static double m_dScreenResolution;
    // Displays by identifier for the small identifiers, so that a conversion does not scan
    // the index; rebuilt whenever a display comes or goes.
    void RebuildDisplayTable();
    std::vector<WUnitCollection*> m_displayById;
};

/* Value-to-text policies. Both round to the decimals, write the locale's decimal separator
 * and negative sign, drop the leading zero when the locale does, and drop trailing decimal
 * zeros unless UNITFMT_KEEP_ZEROS is given. DoubleToStringPolicy rounds the binary value as
 * printf does (1.0005 is just below the half and gives 1); DoubleToStringPrecisePolicy
 * rounds the shortest decimal text of the value half away from zero, as the value was typed
 * (1.0005 gives 1.001). */
struct TLVUTL_API DoubleToStringPolicy {
    /* value with decimals places, rounded as printf does; UNITFMT_KEEP_ZEROS in flags keeps
     * trailing zeros. */
    static CString ToString(double value, int decimals, unsigned flags);
};
/* Value-to-text that rounds the value as it was typed (see DoubleToStringPolicy). */
struct TLVUTL_API DoubleToStringPrecisePolicy {
    /* value with decimals places, its shortest decimal text rounded half away from zero. */
    static CString ToString(double value, int decimals, unsigned flags);
};

namespace TlvUtl::detail {
/* Shared steps of value-to-text: false when the text is already decided (empty, or the
 * finished two-part text in out). Otherwise value and decimals are ready for the policy. */
TLVUTL_API bool UnitTextPrepare(double& value, int unit, double resolution, unsigned flags,
                                int& decimals, CString& out, bool precise);
TLVUTL_API void UnitTextFinish(CString& text, int unit, unsigned flags);
} // namespace TlvUtl::detail

/* Base value to the unit's text. decimals: 0 the unit's default, UNIT_DECIMALS_NONE none,
 * UNIT_DECIMALS_PIXEL_HALVES pixels in halves, other values as they stand (0 to 20). */
template <class Policy>
CString UNITConvToUnitAndStringT(double value, int unit, double resolution, unsigned flags,
                                 int decimals) {
    CString out;
    if (!TlvUtl::detail::UnitTextPrepare(value, unit, resolution, flags, decimals, out,
                                         std::is_same_v<Policy, DoubleToStringPrecisePolicy>))
        return out;
    out = Policy::ToString(value, decimals, flags);
    TlvUtl::detail::UnitTextFinish(out, unit, flags);
    return out;
}

/* Base value (tenths of a micron) to the unit's text with the unit's default decimals, printf
 * rounding. resolution in pixels per inch for pixels (0 or less: the screen's); flags UNITFMT_*.
 * Unknown units: fatal-error report and an empty text. */
TLVUTL_API CString UNITConvToUnitAndString(double value, int unit, double resolution,
                                           unsigned flags);
/* As UNITConvToUnitAndString with decimals (see UNITConvToUnitAndStringT). */
TLVUTL_API CString UNITConvToUnitAndStringEx(double value, int unit, double resolution,
                                             unsigned flags, int decimals);
/* As UNITConvToUnitAndStringEx, rounding the value as typed (DoubleToStringPrecisePolicy). */
TLVUTL_API CString UNITPreciseConvToUnitAndString(double value, int unit, double resolution,
                                                  unsigned flags, int decimals);
/* UNITConvToUnitAndString without flags: trailing zeros dropped, no unit name. */
TLVUTL_API CString UNITConvToUnitString(double value, int unit, double resolution);
/* The unit's name in form 1, 2 or 3 (custom units from their record); empty if unknown. */
TLVUTL_API CString UNITGetUnitAsString(int unit, int form);
/* The custom unit manager: a registry with the built-in displays and the custom units, or
 * null outside UNITCustomInitialize / UNITCustomUnInitialize. */
TLVUTL_API WUnit* UNITGetCustomUnitManager();

namespace TlvUtl {

/* The host's dialog, as the unit functions see it: combo boxes and edit fields by control
 * id. */
class TLVUTL_API UnitDialog {
public:
    virtual ~UnitDialog();
    /* Empties combo control. */
    virtual void ResetCombo(int control) = 0;
    /* Appends text to combo control. */
    virtual void AddComboItem(int control, const CString& text) = 0;
    /* The selected index, -1 for none. */
    virtual int GetComboSelection(int control) = 0;
    /* Selects index; returns it, or -1 (and no selection) when out of range. */
    virtual int SetComboSelection(int control, int index) = 0;
    /* The text of edit field control. */
    virtual CString GetFieldText(int control) = 0;
    /* Replaces the text of edit field control. */
    virtual void SetFieldText(int control, const CString& text) = 0;
};

/* The host's editor of a new custom unit: fills the record; false when cancelled. value is
 * the value the user is working with, for a preview. */
class TLVUTL_API CustomUnitEditor {
public:
    virtual ~CustomUnitEditor();
    /* Lets the user fill record, which comes blank with default increments; true on OK, false when
     * cancelled. */
    virtual bool Edit(UNIT_CUSTOM_RECORD& record, double value) = 0;
};

/* Dialog state in memory, for tests and headless hosts. */
class TLVUTL_API InMemoryUnitDialog : public UnitDialog {
public:
    /* The UnitDialog operations over combos and fields held in memory.
     * @{ */
    void ResetCombo(int control) override;
    void AddComboItem(int control, const CString& text) override;
    int GetComboSelection(int control) override;
    int SetComboSelection(int control, int index) override;
    CString GetFieldText(int control) override;
    void SetFieldText(int control, const CString& text) override;
    /* @} */
    /* The items of combo control, in order. */
    const std::vector<CString>& ComboItems(int control) { return combos_[control].items; }

private:
    struct Combo {
        std::vector<CString> items;
        int selection = -1;
    };
    std::map<int, Combo> combos_;
    std::map<int, CString> fields_;
};

/* An editor that answers with a prepared record, or cancels when given none. */
class TLVUTL_API ScriptedCustomUnitEditor : public CustomUnitEditor {
public:
    ScriptedCustomUnitEditor() = default;
    /* An editor that accepts with answer. */
    explicit ScriptedCustomUnitEditor(const UNIT_CUSTOM_RECORD& answer)
        : answer_(answer), accept_(true) {}
    /* Remembers record (see Seen), copies the prepared answer into it and returns true; false when
     * there is none. */
    bool Edit(UNIT_CUSTOM_RECORD& record, double value) override;
    /* The record the editor was opened on. */
    const UNIT_CUSTOM_RECORD& Seen() const { return seen_; }

private:
    UNIT_CUSTOM_RECORD answer_{};
    UNIT_CUSTOM_RECORD seen_{};
    bool accept_ = false;
};

} // namespace TlvUtl

/* Dialog functions. Combo indices follow the historic unit order: index 0 to 5 are units
 * 1 to 6, index 6 is unit 12, later ones 13. */
TLVUTL_API int UNITGetCurrentUnit(TlvUtl::UnitDialog* dialog, int control);
/* Selects unit in the combo; returns the index selected, or -1 when the unit has none. */
TLVUTL_API int UNITSetCurrentUnit(TlvUtl::UnitDialog* dialog, int control, int unit);
/* Fills the combo from UNITGetUnitArray with the units' plural names. */
TLVUTL_API void UNITFillUnitControl(TlvUtl::UnitDialog* dialog, int control);
/* The field's number, typed in the unit, in base units (0 when it holds no number). */
TLVUTL_API double UNITGetUnitControlValue(TlvUtl::UnitDialog* dialog, int control, int unit);
/* Writes a base value into the field as the unit's text. */
TLVUTL_API void UNITSetUnitControlValue(TlvUtl::UnitDialog* dialog, int control, int unit,
                                        double value);
/* Opens the editor on a blank record (size 1, increments 0.1, 0.2, 0.5); on OK adds and
 * registers the unit, stores its number and returns 1; 0 when cancelled or when the record
 * cannot be kept (a name with a comma, a size of 0, an unknown reference unit, or no room). */
TLVUTL_API int UNITAddNewCustomUnit(TlvUtl::CustomUnitEditor* editor, double value, int* newUnit);

/* One number per unit, keyed by unit in ascending order; the smallest unit is the default
 * entry. */
class TLVUTL_API WUnitValuePair {
public:
    /* The entries, unit to number. */
    using Map = std::map<unsigned, double>;
    virtual ~WUnitValuePair();

    /* An existing entry for the unit is kept. */
    void AddValue(unsigned unit, double value);
    /* Adds ciceros (unit 12) and didots (unit 13) from the one value each, as the
     * ciceros-and-didots keyword gives them. */
    void AddCiceroDidotValue(double ciceros, double didots);
    /* Removes the unit's entry, if any. */
    void RemoveValue(unsigned unit);
    /* Removes every entry. */
    void Clear();
    /* "0.5pt;0.2mm;3,6cc;12": see the keywords in the source; a token without one is in
     * base units. */
    void LoadFromString(const CString& text);
    /* The unit's own entry into value; false when the unit has none. */
    bool GetValue(unsigned unit, double& value) const;
    /* The unit's own entry, or failing that the default entry: foundUnit tells which. False when
     * the set is empty. */
    bool GetValue(unsigned unit, unsigned& foundUnit, double& value) const;
    /* Stores the default entry when there is one; always false. */
    bool GetDefaultValue(unsigned& unit, double& value) const;
    /* True without entries. */
    bool IsEmpty() const { return m_values.empty(); }
    /* True when the default entry, converted to base units (resolution for pixels), equals
     * baseValue; unit receives the default entry's unit. */
    bool IsDefaultValue(unsigned& unit, double baseValue, double resolution) const;
    /* All entries by unit. */
    const Map& GetAllEntries() const { return m_values; }

    /* Equal when both hold the same units with the same numbers.
     * @{ */
    friend bool operator!=(const WUnitValuePair& a, const WUnitValuePair& b) {
        return a.m_values != b.m_values;
    }
    friend bool operator==(const WUnitValuePair& a, const WUnitValuePair& b) {
        return a.m_values == b.m_values;
    }
    /* @} */

private:
    Map m_values;
};

/* Values and spin increments per unit. The lookups answer from the unit's own entry, or
 * convert the default entry into the unit. which: 0 the values, any other the increments;
 * resolution in pixels per inch for pixels (0 or less: the screen's); precision as the
 * registry's conversions take it (-1: the registry's). Unknown units throw
 * std::invalid_argument; an empty set gives 0. */
class TLVUTL_API WSmartUnitValue {
public:
    virtual ~WSmartUnitValue();
    /* The values per unit, and setting them.
     * @{ */
    void SetValues(const WUnitValuePair& values) { m_values = values; }
    const WUnitValuePair& GetValues() const { return m_values; }
    /* @} */
    /* The spin increments per unit, and setting them.
     * @{ */
    void SetIncrements(const WUnitValuePair& increments) { m_increments = increments; }
    const WUnitValuePair& GetIncrements() const { return m_increments; }
    /* @} */

    /* In the unit. */
    double GetValueForUnit(int unit, int which, double resolution, double precision) const;
    /* In base units, rounded half away from zero (screen resolution, registry precision in
     * the short form; resolution as whole pixels per inch in the long one).
     * @{ */
    int GetValueForUnitBase(int unit, int which) const;
    int GetValueForUnitBase(int unit, int which, int resolution, double precision) const;
    double GetDValueForUnitBase(int unit, int which, double resolution, double precision) const;
    /* @} */

private:
    const WUnitValuePair& Set(int which) const { return which ? m_increments : m_values; }
    WUnitValuePair m_values;
    WUnitValuePair m_increments;
};

namespace TlvUtl::WorldScale {

/* A drawing scale: world distance per page distance. Units 0 mean none. */
class TLVUTL_API Preset {
public:
    /* worldDist world units are shown as pageDist page units; scale is their ratio (world per
     * page), label the text shown, metric whether it belongs to the metric set. */
    Preset(double worldDist, int worldUnit, double pageDist, int pageUnit, double scale,
           const CString& label, bool metric);
    /* The preset's fields as given to the constructor; units 0 mean none.
     * @{ */
    double WorldDist() const { return worldDist_; }
    double PageDist() const { return pageDist_; }
    double Scale() const { return scale_; }
    int WorldUnit() const { return worldUnit_; }
    int PageUnit() const { return pageUnit_; }
    bool IsMetric() const { return metric_; }
    CString Label() const { return label_; }
    /* @} */
    /* True when the preset carries units, as Format makes them for a free scale with units. */
    bool IsCustomWithUnits() const { return pageUnit_ != 0 || worldUnit_ != 0; }

private:
    double worldDist_;
    double pageDist_;
    double scale_;
    int worldUnit_;
    int pageUnit_;
    bool metric_;
    CString label_;
};

namespace detail {

/* Each key compares two presets: negative, 0 (tie) or positive. */
struct TLVUTL_API Magnification {
    static int Compare(const Preset& a, const Preset& b);
};
struct TLVUTL_API System {
    static int Compare(const Preset& a, const Preset& b);
};
struct TLVUTL_API Value {
    static int Compare(const Preset& a, const Preset& b);
};
struct TLVUTL_API CustomUnits {
    static int Compare(const Preset& a, const Preset& b);
};
struct NullOrdering {
    static int Compare(const Preset&, const Preset&) { return 0; }
};
template <class Key, class Next> struct OrderBy {
    static int Compare(const Preset& a, const Preset& b) {
        const int c = Key::Compare(a, b);
        return c != 0 ? c : Next::Compare(a, b);
    }
};
template <class Ordering> struct LessFromOrdering {
    bool operator()(const Preset& a, const Preset& b) const { return Ordering::Compare(a, b) < 0; }
};
using PresetOrdering =
    OrderBy<Magnification, OrderBy<System, OrderBy<Value, OrderBy<CustomUnits, NullOrdering>>>>;

} // namespace detail

using PresetSet = std::set<Preset, detail::LessFromOrdering<detail::PresetOrdering>>;

/* The 30 built-in presets: reductions before magnifications, metric before imperial, by
 * size. */
TLVUTL_API PresetSet GetPresets();
/* GetPresets as a vector, in the same order. */
TLVUTL_API std::vector<Preset> GetPresetList();
/* The presets whose scale equals value within a relative tolerance (both the metric and
 * the imperial one when both match); empty when none does. */
TLVUTL_API PresetSet SelectByValue(double value, double relativeTolerance = 1e-9);
/* A preset for a free scale (world per page distance). Without units (both 0) the label is
 * "1:N" for N >= 1 and "N:1" for magnifications, N rounded to the precision (the grain,
 * 0 or less: 1e-6) with trailing zeros dropped. With units the page distance is 1 page unit
 * and the world distance is the length of scale page units in world units:
 * "1 in = 4 ft". Metric unless a unit is imperial. Unknown units throw. */
TLVUTL_API Preset Format(double scale, int worldUnit, int pageUnit, double precision);

} // namespace TlvUtl::WorldScale

#endif /* __cplusplus */

#endif
