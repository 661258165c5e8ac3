// One paper: its units and size conversions, its identifier, and the rules by which a
// "size" element of "PaperTypes.xml" reads and writes.
#include <tlvutl/frame.h>
#include <tlvutl/paper.h>

#include <charconv>
#include <climits>
#include <cmath>
#include <cwctype>

namespace {

// Pixels per metre x 100 at a dpi: the resolution unit of the printer interfaces.
int ResolutionFromDpi(int dpi) {
    return static_cast<int>(dpi * 100000.0 / 2.54 + 0.5);
}

int DpiFromResolution(int resolution) {
    const int dpi = static_cast<int>(resolution * 2.54 / 100000.0 + 0.5);
    return dpi > 0 ? dpi : 96;
}

// The shortest plain decimal (no exponent, at most 12 decimals) that reads back to the same
// length; files stay readable and a reload gives the very same integers.
CString FormatLength(int length, int units, int dpi) {
    const double value = TlvUtl::PaperLengthToUnits(length, units, dpi);
    char buffer[64];
    for (int precision = 0; precision <= 12; ++precision) {
        const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value,
                                             std::chars_format::fixed, precision);
        if (ec != std::errc())
            break;
        const char* last = end;
        if (precision > 0) {
            while (last[-1] == '0')
                --last;
            if (last[-1] == '.')
                --last;
        }
        double parsed = 0.0;
        std::from_chars(buffer, last, parsed);
        int back = 0;
        if (TlvUtl::PaperLengthFromUnits(parsed, units, dpi, back) && back == length)
            return CString(std::string(static_cast<const char*>(buffer), last).c_str());
    }
    CString fallback;
    fallback.Format(L"%.12f", value);
    return fallback;
}

} // namespace

namespace TlvUtl {

int PaperUnitsFromName(const wchar_t* name) {
    if (!name)
        return 0;
    const CString text(name);
    if (text.CompareNoCase(L"in") == 0)
        return PAPER_UNITS_INCHES;
    if (text.CompareNoCase(L"mm") == 0)
        return PAPER_UNITS_MILLIMETERS;
    if (text.CompareNoCase(L"px") == 0)
        return PAPER_UNITS_PIXELS;
    return 0;
}

const wchar_t* PaperUnitsName(int units) {
    switch (units) {
    case PAPER_UNITS_INCHES:
        return L"in";
    case PAPER_UNITS_MILLIMETERS:
        return L"mm";
    case PAPER_UNITS_PIXELS:
        return L"px";
    default:
        return L"";
    }
}

bool PaperLengthFromUnits(double value, int units, int dpi, int& out) {
    if (!std::isfinite(value) || value < 0.0)
        return false;
    double scaled = 0.0;
    switch (units) {
    case PAPER_UNITS_INCHES:
        scaled = value * 254000.0;
        break;
    case PAPER_UNITS_MILLIMETERS:
        scaled = value * 10000.0;
        break;
    case PAPER_UNITS_PIXELS:
        if (dpi <= 0)
            return false;
        scaled = value * 254000.0 / dpi;
        break;
    default:
        return false;
    }
    scaled += 0.5;
    if (scaled >= static_cast<double>(INT_MAX) + 1.0)
        return false;
    out = static_cast<int>(scaled); // truncation of a non-negative value: rounds half up
    return true;
}

double PaperLengthToUnits(int length, int units, int dpi) {
    switch (units) {
    case PAPER_UNITS_INCHES:
        return length / 254000.0;
    case PAPER_UNITS_PIXELS:
        return length * static_cast<double>(dpi > 0 ? dpi : 96) / 254000.0;
    default:
        return length / 10000.0;
    }
}

CString PaperIdentifier(__int64 id) {
    CString text;
    text.Format(L"{54504150-4552-4000-8000-%012I64X}",
                static_cast<unsigned long long>(id) & 0xFFFFFFFFFFFFull);
    return text;
}

} // namespace TlvUtl

PaperTypeInformation CPaperTypeMgr::SetCustomPaper(int width, int height, int units) {
    PaperTypeInformation info;
    info.type = PAPER_CUSTOM;
    info.name = UTLLoadStringEx(PAPER_NAME_STRING_BASE);
    info.identifier = TlvUtl::PaperIdentifier(PAPER_CUSTOM);
    info.width = width;
    info.height = height;
    info.units = TlvUtl::PaperUnitsName(units)[0] ? units : PAPER_UNITS_MILLIMETERS;
    if (info.units == PAPER_UNITS_PIXELS)
        info.horizontalResolution = info.verticalResolution = ResolutionFromDpi(96);
    return info;
}

PaperType CPaperTypeMgr::GetTypeFromInt(__int64 value) {
    return value < 0 || value > INT_MAX ? PAPER_CUSTOM : static_cast<PaperType>(value);
}

bool CPaperTypeMgr::ReadPaper(WXmlNode& node, PaperTypeInformation& info, bool custom) const {
    PaperTypeInformation read;
    const int id = node.Attribute(L"@id").GetInt(0);
    // Id 0 is the type of a size outside the catalogue and cannot name a predefined paper.
    if (!custom && (id < 1 || id > PAPER_LAST_PREDEFINED))
        return false;
    if (custom && id < 0)
        return false;
    read.type = static_cast<PaperType>(id);
    if (custom) {
        read.name = node.Attribute(L"@name").GetString(L"");
        if (read.name.IsEmpty())
            read.name = UTLLoadStringEx(PAPER_NAME_STRING_BASE);
    } else {
        read.name = UTLLoadStringEx(PAPER_NAME_STRING_BASE + static_cast<UINT>(id));
    }

    const double width = node.Attribute(L"@width").GetDouble(0.0);
    const double height = node.Attribute(L"@height").GetDouble(0.0);
    if (width < 0.0 || height < 0.0)
        return false;

    WXmlValueAccessor unitsAttribute = node.Attribute(L"@units");
    read.units = unitsAttribute.Exists()
                     ? TlvUtl::PaperUnitsFromName(unitsAttribute.GetString(L"").GetString())
                     : PAPER_UNITS_INCHES;
    if (read.units == 0)
        return false;
    read.orientationChangeable = !node.Attribute(L"@fixedorientation").GetBool(false);
    const int dpi = node.Attribute(L"@dpi").GetInt(96);

    if (!TlvUtl::PaperLengthFromUnits(width, read.units, dpi, read.width) ||
        !TlvUtl::PaperLengthFromUnits(height, read.units, dpi, read.height))
        return false;
    if (read.units == PAPER_UNITS_PIXELS)
        read.horizontalResolution = read.verticalResolution = ResolutionFromDpi(dpi);
    if (!custom)
        read.hidden = node.Attribute(L"@hidden").GetBool(false);
    read.identifier = TlvUtl::PaperIdentifier(id);
    info = read;
    return true;
}

void CPaperTypeMgr::WritePaper(const PaperTypeInformation& info, WXmlNode& node,
                               bool custom) const {
    const int units = TlvUtl::PaperUnitsName(info.units)[0] ? info.units : PAPER_UNITS_MILLIMETERS;
    const int dpi = units == PAPER_UNITS_PIXELS ? DpiFromResolution(info.horizontalResolution) : 96;
    node.Attribute(L"@id").SetInt(info.type);
    node.Attribute(L"@name").SetString(info.name);
    if (!custom)
        node.Attribute(L"@nameid").SetInt(static_cast<int>(PAPER_NAME_STRING_BASE) + info.type);
    node.Attribute(L"@width").SetString(FormatLength(info.width, units, dpi));
    node.Attribute(L"@height").SetString(FormatLength(info.height, units, dpi));
    node.Attribute(L"@units").SetString(TlvUtl::PaperUnitsName(units));
    // Optional attributes are removed and written only when they differ from their default,
    // so a rewritten element carries no stale value.
    WXmlValueAccessor dpiAttribute = node.Attribute(L"@dpi");
    dpiAttribute.Delete();
    if (dpi != 96)
        dpiAttribute.SetInt(dpi);
    WXmlValueAccessor fixed = node.Attribute(L"@fixedorientation");
    fixed.Delete();
    if (!info.orientationChangeable)
        fixed.SetBool(true);
    WXmlValueAccessor hidden = node.Attribute(L"@hidden");
    hidden.Delete();
    if (!custom && info.hidden)
        hidden.SetBool(true);
}
