// The paper record: unit conversions at their rounding edges, the attribute rules of a "size"
// element, the written form and its round trip, and the printer codes.
#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>
#include <tlvutl/frame.h>
#include <tlvutl/paper.h>

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>

namespace {

// Reaches the element rules the catalogue uses.
class Catalogue : public CPaperTypeMgr {
public:
    using CPaperTypeMgr::ReadPaper;
    using CPaperTypeMgr::WritePaper;
};

class PaperEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        // The names of predefined papers come from the resource module (the result also
        // counts the GUID map, which these tests do not need).
        InitModule();
        ASSERT_EQ(UTLLoadStringEx(19762).str(), L"A4") << "resource module missing";
    }
};

::testing::Environment* const g_env = ::testing::AddGlobalTestEnvironment(new PaperEnvironment);

// Reads one element given as attribute text.
class SizeElementTest : public ::testing::Test {
protected:
    Catalogue catalogue;
    WXmlDoc doc;

    bool Read(const std::wstring& attributes, PaperTypeInformation& info, bool custom) {
        EXPECT_TRUE(doc.LoadFromString((L"<size " + attributes + L"/>").c_str()));
        WXmlNode node = doc.GetRootNode();
        return catalogue.ReadPaper(node, info, custom);
    }
    std::wstring Write(const PaperTypeInformation& info, bool custom) {
        EXPECT_TRUE(doc.LoadFromString(L"<size/>"));
        WXmlNode node = doc.GetRootNode();
        catalogue.WritePaper(info, node, custom);
        return node.GetXML().str();
    }
};

TEST(PaperUnitsTest, ConversionsRoundHalfUpAtTheirEdges) {
    int out = -1;
    EXPECT_TRUE(TlvUtl::PaperLengthFromUnits(8.5, PAPER_UNITS_INCHES, 96, out));
    EXPECT_EQ(out, 2159000);
    // 3 px at 96 dpi are exactly 7937.5 units: the half goes up.
    EXPECT_TRUE(TlvUtl::PaperLengthFromUnits(3, PAPER_UNITS_PIXELS, 96, out));
    EXPECT_EQ(out, 7938);
    // Half a unit exactly, and a hair below it.
    EXPECT_TRUE(TlvUtl::PaperLengthFromUnits(1, PAPER_UNITS_PIXELS, 508000, out));
    EXPECT_EQ(out, 1);
    EXPECT_TRUE(TlvUtl::PaperLengthFromUnits(1, PAPER_UNITS_PIXELS, 508001, out));
    EXPECT_EQ(out, 0);
    // 2^-10 in = 248.046875 units; 0.25 mm = 2500 exactly.
    EXPECT_TRUE(TlvUtl::PaperLengthFromUnits(0.0009765625, PAPER_UNITS_INCHES, 96, out));
    EXPECT_EQ(out, 248);
    EXPECT_TRUE(TlvUtl::PaperLengthFromUnits(0.25, PAPER_UNITS_MILLIMETERS, 96, out));
    EXPECT_EQ(out, 2500);
    // The largest size that fits 32 bits, and the first one that does not.
    EXPECT_TRUE(TlvUtl::PaperLengthFromUnits(214748.3647, PAPER_UNITS_MILLIMETERS, 96, out));
    EXPECT_EQ(out, INT_MAX);
    EXPECT_FALSE(TlvUtl::PaperLengthFromUnits(214748.3648, PAPER_UNITS_MILLIMETERS, 96, out));
    EXPECT_FALSE(TlvUtl::PaperLengthFromUnits(-0.0001, PAPER_UNITS_MILLIMETERS, 96, out));
    EXPECT_FALSE(TlvUtl::PaperLengthFromUnits(NAN, PAPER_UNITS_MILLIMETERS, 96, out));
    EXPECT_FALSE(TlvUtl::PaperLengthFromUnits(1, PAPER_UNITS_PIXELS, 0, out));
    EXPECT_FALSE(TlvUtl::PaperLengthFromUnits(1, 5, 96, out)); // centimetres
    EXPECT_TRUE(TlvUtl::PaperLengthFromUnits(-0.0, PAPER_UNITS_MILLIMETERS, 96, out));
    EXPECT_EQ(out, 0);
}

// Units by default and in any case, pixels at 96 dpi unless told, missing sizes as 0, and
// names: a predefined paper's from the resources, a custom one's own or "Custom".
TEST_F(SizeElementTest, AttributesAndTheirDefaults) {
    struct Case {
        const wchar_t* attributes;
        bool custom;
        int width, height, resolution;
        const wchar_t* name;
    } cases[] = {
        {L"id='1' width='8.5' height='11'", false, 2159000, 2794000, 0, L"Letter"},
        {L"id='21' width='210' height='297' units='Mm' dpi='0'", false, 2100000, 2970000, 0, L"A4"},
        {L"id='58' width='96' height='96' units='px'", false, 254000, 254000, 3779528, nullptr},
        {L"id='58' width='300' height='600' units='PX' dpi='300'", false, 254000, 508000, 11811024,
         nullptr},
        {L"id='3' units='mm'", false, 0, 0, 0, nullptr},
        {L"id='22' name='Mine' width='1' height='1'", false, 254000, 254000, 0, L"A5"},
        {L"id='1001' width='1' height='1' hidden='true'", true, 254000, 254000, 0, L"Custom"},
        {L"id='1002' name='Плакат «Ж»' width='1' height='1'", true, 254000, 254000, 0,
         L"Плакат «Ж»"},
    };
    for (const Case& k : cases) {
        PaperTypeInformation info;
        ASSERT_TRUE(Read(k.attributes, info, k.custom)) << TlvUtils::ToUtf8(k.attributes);
        EXPECT_EQ(info.width, k.width) << TlvUtils::ToUtf8(k.attributes);
        EXPECT_EQ(info.height, k.height) << TlvUtils::ToUtf8(k.attributes);
        EXPECT_EQ(info.horizontalResolution, k.resolution) << TlvUtils::ToUtf8(k.attributes);
        EXPECT_EQ(info.verticalResolution, k.resolution) << TlvUtils::ToUtf8(k.attributes);
        if (k.name) {
            EXPECT_EQ(info.name.str(), k.name);
        }
        EXPECT_FALSE(info.hidden); // custom papers have no hidden flag
    }
    PaperTypeInformation info;
    ASSERT_TRUE(
        Read(L"id='4' width='17' height='11' fixedorientation='true' hidden='true'", info, false));
    EXPECT_FALSE(info.orientationChangeable);
    EXPECT_TRUE(info.hidden);
}

TEST_F(SizeElementTest, RejectedElementsLeaveTheRecordAlone) {
    PaperTypeInformation info;
    info.name = L"untouched";
    const wchar_t* rejected[] = {
        L"id='71' width='1' height='1'",           // beyond the predefined range
        L"id='0' width='1' height='1'",            // the custom type
        L"width='1' height='1'",                   // no id
        L"id='5' width='-1' height='1'",           // negative
        L"id='5' width='1' height='-0.5'",         // negative
        L"id='5' width='1' height='1' units='cm'", // unknown unit
        L"id='5' width='1' height='1' units=''",   // empty unit
        L"id='5' width='1' height='1' units='px' dpi='0'",
        L"id='5' width='1e10' height='1' units='in'", // beyond 32 bits
    };
    for (const wchar_t* attributes : rejected) {
        EXPECT_FALSE(Read(attributes, info, false)) << TlvUtils::ToUtf8(attributes);
        EXPECT_EQ(info.name.str(), L"untouched");
    }
    EXPECT_TRUE(Read(L"id='70' width='1' height='1'", info, false));
    EXPECT_FALSE(Read(L"id='-3' width='1' height='1'", info, true));
    EXPECT_TRUE(Read(L"id='71' width='1' height='1'", info, true));
}

TEST_F(SizeElementTest, WrittenForm) {
    PaperTypeInformation letter;
    letter.type = PAPER_LETTER;
    letter.name = L"Letter";
    letter.width = 2159000;
    letter.height = 2794000;
    letter.hidden = true;
    letter.orientationChangeable = false;
    EXPECT_EQ(Write(letter, false),
              L"<size id=\"1\" name=\"Letter\" nameid=\"19742\" width=\"8.5\" height=\"11\" "
              L"units=\"in\" fixedorientation=\"true\" hidden=\"true\"/>");
    // Custom: no name id, no hidden flag; pixels keep their dpi when it is not 96.
    PaperTypeInformation screen = CPaperTypeMgr::SetCustomPaper(846667, 254000, 6);
    screen.type = static_cast<PaperType>(1001);
    screen.name = L"Écran 東京";
    screen.horizontalResolution = screen.verticalResolution = 11811024; // 300 dpi
    screen.hidden = true;
    EXPECT_EQ(Write(screen, true), L"<size id=\"1001\" name=\"Écran 東京\" width=\"1000\" "
                                   L"height=\"300\" units=\"px\" dpi=\"300\"/>");
    // A unit the file cannot name is written in millimetres.
    PaperTypeInformation odd = CPaperTypeMgr::SetCustomPaper(12345, 10, 5);
    EXPECT_EQ(odd.units, PAPER_UNITS_MILLIMETERS);
    odd.units = 9;
    EXPECT_EQ(Write(odd, true),
              L"<size id=\"0\" name=\"Custom\" width=\"1.2345\" height=\"0.001\" units=\"mm\"/>");
}

// Whatever integer size a paper has, its written element reads back to the same integers.
TEST_F(SizeElementTest, WrittenSizesReadBackExactly) {
    std::mt19937 random(17);
    std::uniform_int_distribution<int> size(0, 400000000);
    const int dpis[] = {72, 96, 150, 300, 600, 1200, 2400};
    for (int i = 0; i < 3000; ++i) {
        const int units = (i % 3 == 0) ? 1 : (i % 3 == 1) ? 2 : 6;
        PaperTypeInformation paper = CPaperTypeMgr::SetCustomPaper(
            i < 20 ? i : size(random), i < 20 ? INT_MAX - i : size(random), units);
        paper.type = static_cast<PaperType>(2000 + i);
        if (units == 6) {
            const int dpi = dpis[i % 7];
            paper.horizontalResolution = paper.verticalResolution =
                static_cast<int>(dpi * 100000.0 / 2.54 + 0.5);
        }
        const std::wstring xml = Write(paper, true);
        PaperTypeInformation back;
        ASSERT_TRUE(Read(xml.substr(6, xml.size() - 8), back, true)) << TlvUtils::ToUtf8(xml);
        ASSERT_EQ(back.width, paper.width) << TlvUtils::ToUtf8(xml);
        ASSERT_EQ(back.height, paper.height) << TlvUtils::ToUtf8(xml);
        ASSERT_EQ(back.units, paper.units);
        ASSERT_EQ(back.horizontalResolution, paper.horizontalResolution);
    }
}

// The public sizes of the printer codes, in tenths of a micron, portrait.
struct CodeSize {
    short code;
    int width, height;
};
constexpr int In(double inches) {
    return static_cast<int>(inches * 254000 + 0.5);
}
constexpr int Mm(int mm) {
    return mm * 10000;
}
// One of each kind: the landscape code, the JIS B sizes next to the ISO ones, an envelope in
// inches and one in millimetres, the last code.
const CodeSize kCodeSizes[] = {
    {DMPAPER_LETTER, In(8.5), In(11)},
    {DMPAPER_LEDGER, In(17), In(11)},
    {DMPAPER_A4, Mm(210), Mm(297)},
    {DMPAPER_ISO_B4, Mm(250), Mm(353)},
    {DMPAPER_B4, Mm(257), Mm(364)},
    {DMPAPER_B5, Mm(182), Mm(257)},
    {DMPAPER_ENV_10, In(4.125), In(9.5)},
    {DMPAPER_ENV_DL, Mm(110), Mm(220)},
    {DMPAPER_JAPANESE_POSTCARD, Mm(100), Mm(148)},
};

// Every code the shipped catalogue uses maps back to its paper (29 of them), and the papers of
// the codes above have exactly the code's size.
TEST(PaperDevModeTest, CodesAgreeWithTheShippedSizes) {
    const char* install = std::getenv("TLV_INSTALL_DIR");
    ASSERT_NE(install, nullptr);
    WXmlDoc doc;
    ASSERT_TRUE(doc.Load((TlvUtils::FromUtf8(install) + L"/Config/PaperTypes.xml").c_str()));
    Catalogue catalogue;
    int mapped = 0, checked = 0;
    for (WXmlNode node : doc.GetNodes(WXPath(L"/PageSizes/sizes/size"))) {
        PaperTypeInformation paper;
        ASSERT_TRUE(catalogue.ReadPaper(node, paper, false));
        const short code = CPaperTypeMgr::GetDevModeFromPaper(paper.type);
        if (code == DMPAPER_USER)
            continue;
        ++mapped;
        EXPECT_EQ(CPaperTypeMgr::GetPaperFromDevMode(code), paper.type);
        for (const CodeSize& c : kCodeSizes) {
            if (c.code != code)
                continue;
            ++checked;
            EXPECT_EQ(paper.width, c.width) << "code " << code;
            EXPECT_EQ(paper.height, c.height) << "code " << code;
        }
    }
    EXPECT_EQ(mapped, 29);
    EXPECT_EQ(checked, static_cast<int>(std::size(kCodeSizes)));
}

TEST(PaperDevModeTest, VariantsUnknownCodesAndIdentifiers) {
    EXPECT_EQ(CPaperTypeMgr::GetPaperFromDevMode(DMPAPER_LETTERSMALL), PAPER_LETTER);
    EXPECT_EQ(CPaperTypeMgr::GetPaperFromDevMode(DMPAPER_A4_ROTATED), PAPER_A4);
    EXPECT_EQ(CPaperTypeMgr::GetPaperFromDevMode(DMPAPER_B5_TRANSVERSE), PAPER_JIS_B5);
    EXPECT_EQ(CPaperTypeMgr::GetPaperFromDevMode(DMPAPER_USER), PAPER_CUSTOM);
    EXPECT_EQ(CPaperTypeMgr::GetPaperFromDevMode(-7), PAPER_CUSTOM);
    EXPECT_EQ(CPaperTypeMgr::GetDevModeFromPaper(PAPER_B5), DMPAPER_USER); // ISO B5 has none
    EXPECT_EQ(CPaperTypeMgr::GetDevModeFromPaper(PAPER_JIS_B5), DMPAPER_B5);
    EXPECT_EQ(CPaperTypeMgr::GetDevModeFromPaper(static_cast<PaperType>(1001)), DMPAPER_USER);
    // Identifiers are derived from the id.
    EXPECT_EQ(TlvUtl::PaperIdentifier(21).str(), L"{54504150-4552-4000-8000-000000000015}");
    EXPECT_EQ(TlvUtl::PaperIdentifier(1001).str(), L"{54504150-4552-4000-8000-0000000003E9}");
    EXPECT_EQ(CPaperTypeMgr::GetTypeFromInt(-1), PAPER_CUSTOM);
    EXPECT_EQ(CPaperTypeMgr::GetTypeFromInt(1ll << 32), PAPER_CUSTOM);
}

} // namespace
