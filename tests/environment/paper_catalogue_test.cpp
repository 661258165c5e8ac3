// The paper catalogue over real files: where it is loaded from, which pageset a user gets,
// what survives a save, what a damaged file does, and the queries and edits.
#include <tlvutl/encoding.h>
#include <tlvutl/folders.h>
#include <tlvutl/locale.h>
#include <tlvutl/paper.h>

#include "temp_dir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <tuple>

namespace {

namespace fs = std::filesystem;

class Catalogue : public CPaperTypeMgr {
public:
    using CPaperTypeMgr::GetPagesetPath;
    using CPaperTypeMgr::Initialize;
    using CPaperTypeMgr::Uninitialize;
};

// A small catalogue with one of each case: rejected elements, a custom paper the size of a
// predefined one, a custom paper without an id, locales entries that do not count, and three
// pagesets.
const char kSmall[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<PageSizes>
  <sizes>
    <size id="1" width="8.5" height="11" units="in"/>
    <size id="3" width="11" height="17"/>
    <size id="4" width="17" height="11" fixedorientation="true"/>
    <size id="21" width="210" height="297" units="mm"/>
    <size id="20" width="297" height="420" units="MM" hidden="true"/>
    <size id="99" width="1" height="1"/>
    <size id="22" width="-148" height="210" units="mm"/>
    <size id="23" width="10.5" height="14.8" units="cm"/>
    <size id="58" width="640" height="480" units="px" fixedorientation="true"/>
  </sizes>
  <CustomPageSizes>
    <size id="1005" name="Плакат" width="500" height="700" units="mm"/>
    <size id="1003" name="Letter again" width="8.5" height="11"/>
    <size name="Banner" width="2" height="8"/>
  </CustomPageSizes>
  <locales>
    <locale geoid="244">imperial</locale>
    <locale>metric</locale>
    <locale geoid="94">  </locale>
    <locale geoid="122">a4only</locale>
    <locale geoid="45">no]such</locale>
  </locales>
  <pageset system="imperial">
    <order><page>1</page><page>3</page><page>x</page></order>
    <mru><page>3</page><page>1</page><page>3</page></mru>
  </pageset>
  <pageset system="metric">
    <order><page>21</page><page>20</page></order>
    <mru/>
  </pageset>
  <pageset system="a4only">
    <order><page>21</page></order>
  </pageset>
</PageSizes>
)";

std::wstring W(const fs::path& p) {
    return TlvUtils::FromUtf8(p.string());
}

// An installation (Config and the product descriptor) and a user tree under one folder; the
// installation's catalogue is the small one unless a test writes another.
class PaperCatalogueTest : public ::testing::Test {
protected:
    TempDir dir;
    fs::path install = dir / "install";
    fs::path appData = dir / "appdata";

    void SetUp() override {
        fs::create_directories(install / "Config");
        fs::create_directories(install / "Data");
        TempDir::Write(install / "Data" / "AppBoxID.xml",
                       "<AppBoxID><ApplicationRegKey>Paper Test</ApplicationRegKey>"
                       "<UserPathDir>Maker</UserPathDir><UserProductDir>Product</UserProductDir>"
                       "</AppBoxID>");
        TempDir::Write(install / "Config" / "talvoapp.ini", "[Config]\r\n");
        TempDir::Write(install / "Config" / "PaperTypes.xml", kSmall);
        SetRoots();
    }
    void TearDown() override {
        for (auto r : {TlvUtl::FolderRoot::Installation, TlvUtl::FolderRoot::Config,
                       TlvUtl::FolderRoot::AppData})
            TlvUtl::SetFolderRoot(r, L"");
        TlvUtl::SetAppFolderName(L"");
    }
    void SetRoots() {
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Installation, W(install));
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::Config, W(install / "Config"));
        TlvUtl::SetFolderRoot(TlvUtl::FolderRoot::AppData, W(appData));
        TlvUtl::SetAppFolderName(L"Draw");
    }
    fs::path UserConfig() const { return appData / "Maker" / "Product" / "Config"; }
    fs::path UserFile() const { return UserConfig() / "PaperTypes.xml"; }
    // The user's configuration folder exists (so it is not seeded) but holds no catalogue.
    void UserFolderWithout() {
        fs::create_directories(UserConfig());
        TempDir::Write(UserConfig() / "talvoapp.ini", "[Config]\r\n");
    }
    static std::string Shipped() {
        const char* root = std::getenv("TLV_INSTALL_DIR");
        return root ? TempDir::Read(fs::path(root) / "Config" / "PaperTypes.xml") : std::string();
    }
};

TlvUtl::LocaleOverride Where(GEOID geo, int measure) {
    TlvUtl::LocaleOverride o;
    o.geoId = geo;
    o.measure = measure;
    return o;
}

TEST_F(PaperCatalogueTest, LoadsWhatTheRulesAccept) {
    TlvUtl::ScopedLocaleOverride here(Where(244, 0));
    Catalogue c;
    ASSERT_TRUE(c.Initialize());
    EXPECT_TRUE(c.IsLoaded());
    ASSERT_EQ(c.GetPredefinedCount(), 6);
    ASSERT_EQ(c.GetCount(), 8);
    const int ids[] = {1, 3, 4, 21, 20, 58, 1005, 1006};
    for (int i = 0; i < 8; ++i) {
        PaperTypeInformation info;
        ASSERT_TRUE(c.GetPaperInfoAt(i, info));
        EXPECT_EQ(info.type, ids[i]) << i;
    }
    CString guid;
    ASSERT_TRUE(c.GetPaperGUIDAt(6, guid));
    EXPECT_EQ(guid, TlvUtl::PaperIdentifier(1005));
    PaperTypeInformation info;
    EXPECT_FALSE(c.GetPaperInfoAt(8, info));
    EXPECT_FALSE(c.GetPaperInfoAt(-1, info));
    CString name;
    ASSERT_TRUE(c.GetPaperName(PAPER_A4, name));
    EXPECT_EQ(name.str(), L"A4");
    ASSERT_TRUE(c.GetPaperNameAt(6, name));
    EXPECT_EQ(name.str(), L"Плакат");
    EXPECT_FALSE(c.GetPaperName(PAPER_A5, name));
    EXPECT_TRUE(c.IsHidden(20));
    EXPECT_FALSE(c.IsHidden(99));
    // The order keeps what reads as a number; the MRU list loses its repeat.
    EXPECT_EQ(c.GetPaperOrder(), (std::vector<__int64>{1, 3}));
    EXPECT_EQ(c.GetMRUList(), (std::vector<__int64>{3, 1}));
}

TEST_F(PaperCatalogueTest, PagesetByLocationThenMeasuringSystem) {
    struct Case {
        GEOID geo;
        int measure;
        const wchar_t* path;
        std::vector<__int64> order;
    } cases[] = {
        {244, 0, L"/PageSizes/pageset[@system='imperial']", {1, 3}}, // the entry wins
        {94, 0, L"/PageSizes/pageset[@system='metric']", {21, 20}},  // a blank entry is no entry
        {84, 0, L"/PageSizes/pageset[@system='metric']", {21, 20}},  // no entry
        {GEOID_NOT_AVAILABLE, 1, L"/PageSizes/pageset[@system='imperial']", {1, 3}},
        {122, 1, L"/PageSizes/pageset[@system='a4only']", {21}},
        {45, 0, L"/PageSizes/pageset[@system='no]such']", {}},
    };
    for (const Case& k : cases) {
        TlvUtl::ScopedLocaleOverride here(Where(k.geo, k.measure));
        Catalogue c;
        ASSERT_TRUE(c.Initialize());
        EXPECT_EQ(c.GetPagesetPath().str(), k.path) << k.geo << "/" << k.measure;
        EXPECT_EQ(c.GetPaperOrder(), k.order) << k.geo << "/" << k.measure;
    }
}

// Custom papers and the MRU list survive a save, and a second save writes the same bytes.
TEST_F(PaperCatalogueTest, SaveAndReloadKeepCustomPapersAndTheMruList) {
    TlvUtl::ScopedLocaleOverride here(Where(244, 0));
    std::vector<PaperTypeInformation> added;
    {
        Catalogue c;
        ASSERT_TRUE(c.Initialize());
        PaperTypeInformation tag = CPaperTypeMgr::SetCustomPaper(600000, 400000, 2);
        tag.name = L"Ценник «é» 東京 & <x>";
        PaperTypeInformation banner = CPaperTypeMgr::SetCustomPaper(846667, 254000, 6);
        banner.name = L"Banner 300 dpi";
        banner.orientationChangeable = false;
        banner.horizontalResolution = banner.verticalResolution = 11811024;
        for (PaperTypeInformation* p : {&tag, &banner}) {
            ASSERT_TRUE(c.AddCustomPaper(*p, false));
            added.push_back(*p);
        }
        EXPECT_EQ(tag.type, 1007);
        EXPECT_EQ(banner.type, 1008);
        c.AddMRUItem(banner.type);
        c.AddMRUItem(PAPER_A4);
        c.AddMRUItem(tag.type);
        c.Uninitialize();
        EXPECT_FALSE(c.IsLoaded());
    }
    const std::string first = TempDir::Read(UserFile());
    ASSERT_NE(first.find("Ценник «é» 東京 &amp; &lt;x&gt;"), std::string::npos) << first;
    {
        Catalogue c;
        ASSERT_TRUE(c.Initialize());
        ASSERT_EQ(c.GetCount(), 8 + 2);
        auto fields = [](const PaperTypeInformation& p) {
            return std::tuple(p.type, p.name.str(), p.identifier.str(), p.width, p.height, p.units,
                              p.orientationChangeable, p.horizontalResolution);
        };
        for (std::size_t i = 0; i < added.size(); ++i) {
            PaperTypeInformation back;
            ASSERT_TRUE(c.GetPaperInfoAt(8 + static_cast<__int64>(i), back));
            EXPECT_EQ(fields(back), fields(added[i])) << i;
        }
        EXPECT_EQ(c.GetMRUList(), (std::vector<__int64>{1007, 21, 1008, 3, 1}));
        // The hidden flag of a predefined paper is kept too.
        EXPECT_TRUE(c.IsHidden(20));
        c.Uninitialize();
    }
    EXPECT_EQ(TempDir::Read(UserFile()), first);
    // Only the current pageset's MRU list changed.
    EXPECT_NE(first.find("<pageset system=\"metric\">"), std::string::npos);
    EXPECT_EQ(first.find("<size id=\"99\""), std::string::npos); // rejected, so not written
}

// The installed catalogue: every predefined paper loads, and saving it unchanged gives the
// installed bytes back.
TEST_F(PaperCatalogueTest, TheShippedCatalogueRoundTrips) {
    const std::string shipped = Shipped();
    ASSERT_FALSE(shipped.empty());
    TempDir::Write(install / "Config" / "PaperTypes.xml", shipped);
    for (int measure : {0, 1}) {
        TlvUtl::ScopedLocaleOverride here(Where(84, measure));
        Catalogue c;
        ASSERT_TRUE(c.Initialize());
        ASSERT_EQ(c.GetPredefinedCount(), 70);
        ASSERT_EQ(c.GetCount(), 70);
        const std::vector<__int64> order = c.GetPaperOrder();
        ASSERT_EQ(order.size(), 70u);
        EXPECT_EQ(order.front(), measure ? PAPER_LETTER : PAPER_A4);
        PaperTypeInformation info;
        ASSERT_TRUE(c.GetPaperInfo(PAPER_SCREEN_1920X1080, info));
        EXPECT_EQ(info.units, PAPER_UNITS_PIXELS);
        EXPECT_EQ(info.horizontalResolution, 3779528);
        c.Uninitialize();
        EXPECT_EQ(TempDir::Read(UserFile()), shipped);
    }
    // The countries that use US sizes get the imperial pageset whatever their locale says.
    for (GEOID geo : {244, 249}) {
        TlvUtl::ScopedLocaleOverride here(Where(geo, 0));
        Catalogue c;
        ASSERT_TRUE(c.Initialize());
        EXPECT_EQ(c.GetPaperOrder().front(), PAPER_LETTER) << geo;
    }
}

TEST_F(PaperCatalogueTest, MissingUserFileIsCopiedFromTheInstallation) {
    UserFolderWithout();
    Catalogue c;
    ASSERT_TRUE(c.Initialize());
    EXPECT_EQ(TempDir::Read(UserFile()), kSmall);
    EXPECT_EQ(c.GetPredefinedCount(), 6);
}

TEST_F(PaperCatalogueTest, BadFilesLeaveTheCatalogueEmptyAndAreNotWritten) {
    const std::string small = kSmall;
    const std::string bad[] = {
        small.substr(0, small.size() / 2),                            // truncated
        "<Other><sizes><size id=\"1\" width=\"1\"/></sizes></Other>", // not a catalogue
        "",
    };
    for (const std::string& bytes : bad) {
        UserFolderWithout();
        TempDir::Write(UserFile(), bytes);
        Catalogue c;
        EXPECT_FALSE(c.Initialize());
        EXPECT_FALSE(c.IsLoaded());
        EXPECT_EQ(c.GetCount(), 0);
        EXPECT_TRUE(c.GetPaperOrder().empty());
        PaperTypeInformation info = CPaperTypeMgr::SetCustomPaper(10, 10, 2);
        EXPECT_TRUE(c.AddCustomPaper(info, false)); // edits stay in memory...
        c.AddMRUItem(info.type);
        c.Uninitialize();
        EXPECT_EQ(TempDir::Read(UserFile()), bytes); // ...and are never written
    }
    // Missing in both places: nothing is created.
    fs::remove(UserFile());
    fs::remove(install / "Config" / "PaperTypes.xml");
    Catalogue c;
    EXPECT_FALSE(c.Initialize());
    EXPECT_EQ(c.GetCount(), 0);
    c.Uninitialize();
    EXPECT_FALSE(fs::exists(UserFile()));
}

class PaperQueriesTest : public PaperCatalogueTest {
protected:
    Catalogue c;
    void SetUp() override {
        PaperCatalogueTest::SetUp();
        TlvUtl::ScopedLocaleOverride here(Where(244, 0));
        ASSERT_TRUE(c.Initialize());
    }
    static PaperTypeInformation Size(int width, int height) {
        return CPaperTypeMgr::SetCustomPaper(width, height, 2);
    }
};

TEST_F(PaperQueriesTest, RotatedMatchesAndTheFirstMatchWins) {
    // Tabloid (11 x 17 in) comes before Ledger (17 x 11 in).
    EXPECT_EQ(c.FindPredefinedPaperIndex(Size(2794000, 4318000), false), 1);
    EXPECT_EQ(c.FindPredefinedPaperIndex(Size(4318000, 2794000), false), 2);
    EXPECT_EQ(c.FindPredefinedPaperIndex(Size(4318000, 2794000), true), 1);
    EXPECT_EQ(c.FindPredefinedPaperIndex(Size(2970000, 2100000), false), -1);
    EXPECT_EQ(c.FindPredefinedPaperIndex(Size(2970000, 2100000), true), 3);
    EXPECT_TRUE(c.IsPredefinedPaper(Size(2970000, 2100000), true));
    // One unit off is another paper.
    EXPECT_FALSE(c.IsPredefinedPaper(Size(2100001, 2970000), true));
    // A landscape custom paper for a portrait query.
    EXPECT_TRUE(c.IsCustomPaper(Size(7000000, 5000000), true));
    EXPECT_FALSE(c.IsCustomPaper(Size(7000000, 5000000), false));

    PaperTypeInformation info;
    EXPECT_FALSE(c.FindCustomPaper(7000000, 5000000, info));
    EXPECT_TRUE(c.FindPredefinedPaper(2159000, 2794000, info));
    EXPECT_EQ(info.type, PAPER_LETTER);
    EXPECT_FALSE(c.FindPredefinedPaper(2794000, 2159000, info));
    EXPECT_EQ(c.FindCustomPaperIndex(Size(7000000, 5000000)), -1);
    EXPECT_EQ(c.FindCustomPaperIndex(L"Banner"), 7);
    EXPECT_EQ(c.FindCustomPaperIndex(L"banner"), -1);
    EXPECT_EQ(c.FindCustomPaperIndex(static_cast<const wchar_t*>(nullptr)), -1);
}

TEST_F(PaperQueriesTest, AddingFindsExistingSizesAndAssignsIds) {
    PaperTypeInformation letter = Size(2159000, 2794000);
    EXPECT_FALSE(c.AddCustomPaper(letter, false));
    EXPECT_EQ(letter.type, PAPER_LETTER);
    EXPECT_EQ(letter.name.str(), L"Letter");
    // The other way round is another paper.
    PaperTypeInformation landscape = Size(7000000, 5000000);
    EXPECT_TRUE(c.AddCustomPaper(landscape, false));
    EXPECT_EQ(landscape.type, 1007);
    EXPECT_EQ(landscape.identifier, TlvUtl::PaperIdentifier(1007));

    PaperTypeInformation kept = Size(1, 2);
    kept.type = static_cast<PaperType>(1500);
    EXPECT_TRUE(c.AddCustomPaper(kept, true));
    EXPECT_EQ(kept.type, 1500);
    PaperTypeInformation taken = Size(1, 3);
    taken.type = static_cast<PaperType>(1005);
    EXPECT_TRUE(c.AddCustomPaper(taken, true));
    EXPECT_EQ(taken.type, 1501);
    PaperTypeInformation negative = Size(-1, 5);
    EXPECT_FALSE(c.AddCustomPaper(negative, false));
    EXPECT_EQ(negative.type, PAPER_CUSTOM);
    EXPECT_EQ(c.GetCount(), 8 + 3);
}

TEST_F(PaperQueriesTest, UpdateAndDelete) {
    PaperTypeInformation banner;
    ASSERT_TRUE(c.GetPaperInfoAt(7, banner));
    const CString identifier = banner.identifier;
    banner.width = 5000000; // the poster's size
    banner.height = 7000000;
    EXPECT_FALSE(c.UpdateCustomPaper(banner));
    banner.height = 7500000;
    banner.name = L"Wide banner";
    banner.identifier = L"ignored";
    EXPECT_TRUE(c.UpdateCustomPaper(banner));
    PaperTypeInformation back;
    ASSERT_TRUE(c.GetPaperInfo(banner.type, back));
    EXPECT_EQ(back.name.str(), L"Wide banner");
    EXPECT_EQ(back.height, 7500000);
    EXPECT_EQ(back.identifier, identifier);
    // Keeping its own size is no conflict; a predefined paper is neither updated nor deleted.
    EXPECT_TRUE(c.UpdateCustomPaper(back));
    PaperTypeInformation a4;
    ASSERT_TRUE(c.GetPaperInfo(PAPER_A4, a4));
    EXPECT_FALSE(c.UpdateCustomPaper(a4));
    EXPECT_FALSE(c.DeletePaper(a4));

    c.AddMRUItem(banner.type);
    c.AddMRUItem(PAPER_A4);
    EXPECT_TRUE(c.DeletePaper(banner));
    EXPECT_FALSE(c.DeletePaper(banner));
    EXPECT_EQ(c.GetCount(), 7);
    EXPECT_EQ(c.GetMRUList(), (std::vector<__int64>{21, 3, 1}));
    // The highest id is free again.
    PaperTypeInformation next = Size(9, 9);
    EXPECT_TRUE(c.AddCustomPaper(next, false));
    EXPECT_EQ(next.type, 1006);
}

TEST_F(PaperQueriesTest, MruListIsMostRecentFirstWithoutRepeatsAndTrimmed) {
    EXPECT_EQ(c.GetMaxMRUSize(), 5);
    for (int id = 1; id <= 7; ++id)
        c.AddMRUItem(id);
    EXPECT_EQ(c.GetMRUList(), (std::vector<__int64>{7, 6, 5, 4, 3}));
    c.AddMRUItem(5);
    EXPECT_EQ(c.GetMRUList(), (std::vector<__int64>{5, 7, 6, 4, 3}));
    c.RemoveMRUItem(6);
    c.RemoveMRUItem(99);
    EXPECT_EQ(c.GetMRUList(), (std::vector<__int64>{5, 7, 4, 3}));
    c.SetMaxMRUSize(2);
    EXPECT_EQ(c.GetMRUList(), (std::vector<__int64>{5, 7}));
    c.AddMRUItem(1);
    EXPECT_EQ(c.GetMRUList(), (std::vector<__int64>{1, 5}));
    c.SetMaxMRUSize(-4);
    EXPECT_EQ(c.GetMaxMRUSize(), 0);
    c.AddMRUItem(1);
    EXPECT_TRUE(c.GetMRUList().empty());
}

} // namespace
