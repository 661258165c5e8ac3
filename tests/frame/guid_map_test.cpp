#include <tlvutl/frame.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;

GUID Make(uint32_t d1, uint8_t last) {
    GUID g{};
    g.Data1 = d1;
    g.Data4[7] = last;
    return g;
}

std::string Bytes(const GUID& g) {
    std::string b(16, '\0');
    for (int i = 0; i < 4; ++i)
        b[static_cast<std::size_t>(i)] = static_cast<char>(g.Data1 >> (8 * i));
    b[4] = static_cast<char>(g.Data2), b[5] = static_cast<char>(g.Data2 >> 8);
    b[6] = static_cast<char>(g.Data3), b[7] = static_cast<char>(g.Data3 >> 8);
    std::memcpy(&b[8], g.Data4, 8);
    return b;
}

std::string U32(uint32_t v) {
    std::string b(4, '\0');
    for (int i = 0; i < 4; ++i)
        b[static_cast<std::size_t>(i)] = static_cast<char>(v >> (8 * i));
    return b;
}

class GuidMapFileTest : public ::testing::Test {
protected:
    fs::path dir =
        fs::temp_directory_path() /
        ("tlvutl-guidmap-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
         "-" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    void SetUp() override { fs::create_directories(dir); }
    void TearDown() override { fs::remove_all(dir); }
    std::wstring Write(const std::string& bytes) {
        const fs::path p = dir / "guidmap.dat";
        std::ofstream(p, std::ios::binary) << bytes;
        return p.wstring();
    }
};

TEST(GuidOrder, LastByteOfData4IsMostSignificant) {
    EXPECT_LT(TlvUtl::CompareGuids(Make(0xFFFFFFFF, 1), Make(0, 2)), 0);
    GUID a{}, b{};
    a.Data3 = 2, b.Data2 = 0xFFFF;
    EXPECT_GT(TlvUtl::CompareGuids(a, b), 0); // Data3 before Data2
    a = {}, b = {};
    a.Data2 = 1, b.Data1 = 0xFFFFFFFF;
    EXPECT_GT(TlvUtl::CompareGuids(a, b), 0); // Data2 before Data1
    EXPECT_EQ(TlvUtl::CompareGuids(Make(5, 5), Make(5, 5)), 0);
}

TEST_F(GuidMapFileTest, DamagedFilesFailCleanlyAnEmptyMapLoads) {
    const std::string rec = Bytes(Make(1, 1)) + Bytes(Make(2, 2));
    TlvUtl::GuidMapFile map;
    // Short header.
    EXPECT_FALSE(map.Load(Write(U32(1) + U32(12))));
    // A count far beyond the file: refused before anything is allocated.
    EXPECT_FALSE(map.Load(Write(U32(0x7FFFFFFF) + U32(12) + U32(12) + rec)));
    // Negative count, offsets past the end.
    EXPECT_FALSE(map.Load(Write(U32(0xFFFFFFFF) + U32(12) + U32(12))));
    EXPECT_FALSE(map.Load(Write(U32(1) + U32(0xFFFFFFF0) + U32(12) + rec)));
    EXPECT_FALSE(map.Load((dir / "missing.dat").wstring()));
    EXPECT_EQ(map.Count(), 0);
    // An empty map with both offsets at the end is no damage.
    ASSERT_TRUE(map.Load(Write(U32(0) + U32(12) + U32(12))));
    GUID out{};
    EXPECT_FALSE(map.EngineToApp(Make(0, 0), out));
    EXPECT_FALSE(map.AppToEngine(Make(0, 0), out));
}

TEST(GuidText, ParseAndFormat) {
    GUID g{};
    ASSERT_TRUE(TlvUtl::ParseGuid(L"{6B29FC40-CA47-1067-B31D-00DD010662DA}", g));
    EXPECT_EQ(g.Data1, 0x6B29FC40u);
    EXPECT_EQ(g.Data4[7], 0xDA);
    EXPECT_EQ(TlvUtl::FormatGuid(g), L"{6B29FC40-CA47-1067-B31D-00DD010662DA}");
    EXPECT_TRUE(TlvUtl::ParseGuid(L"6b29fc40-ca47-1067-b31d-00dd010662da", g));
    EXPECT_FALSE(TlvUtl::ParseGuid(L"{6B29FC40-CA47-1067-B31D-00DD010662DX}", g));
    EXPECT_FALSE(TlvUtl::ParseGuid(L"6B29FC40", g));
}

TEST(GuidMap, LibraryMapAnswersFromTheDefaultInstallation) {
    GUID engine{}, app{};
    ASSERT_TRUE(TlvUtl::ParseGuid(L"{6B29FC40-CA47-1067-B31D-00DD010662DA}", engine));
    ASSERT_EQ(UTLMapEng2AppGUID(&engine, &app), 1);
    EXPECT_EQ(TlvUtl::FormatGuid(app), L"{3F2504E0-4F89-11D3-9A0C-0305E82C3301}");
    GUID back{};
    ASSERT_EQ(UTLMapApp2EngGUID(&app, &back), 1);
    EXPECT_EQ(TlvUtl::CompareGuids(back, engine), 0);
    EXPECT_EQ(UTLMapEng2AppGUID(&app, &back), 0);
    EXPECT_EQ(UTLMapEng2AppGUID(nullptr, &back), 0);
}

} // namespace

// A written map answers every pair both ways, and every single-bit flip anywhere in it is
// caught by the header, order and mirror checks: no flip can yield a map that loads and
// answers with a different GUID.
TEST_F(GuidMapFileTest, EveryFlippedBitIsDetected) {
    std::vector<std::pair<GUID, GUID>> pairs;
    for (uint32_t i = 0; i < 5; ++i)
        pairs.emplace_back(Make(0x1000 + i, static_cast<uint8_t>(7 * i)),
                           Make(0x2000 + i, static_cast<uint8_t>(40 - 3 * i)));
    ASSERT_TRUE(TlvUtl::WriteGuidMapFile((dir / "good.dat").wstring(), pairs));
    std::ifstream in(dir / "good.dat", std::ios::binary);
    const std::string good(std::istreambuf_iterator<char>(in), {});
    ASSERT_EQ(good.size(), 12u + 2 * 5 * 32);
    TlvUtl::GuidMapFile map;
    ASSERT_TRUE(map.Load(Write(good)));
    EXPECT_EQ(map.Count(), 5);
    for (const auto& [e, a] : pairs) {
        GUID out{};
        ASSERT_TRUE(map.EngineToApp(e, out));
        EXPECT_EQ(TlvUtl::CompareGuids(out, a), 0);
        ASSERT_TRUE(map.AppToEngine(a, out));
        EXPECT_EQ(TlvUtl::CompareGuids(out, e), 0);
    }
    GUID miss{};
    EXPECT_FALSE(map.EngineToApp(Make(1, 1), miss));
    int loaded = 0;
    for (std::size_t at = 0; at < good.size(); ++at)
        for (int bit = 0; bit < 8; ++bit) {
            std::string bad = good;
            bad[at] = static_cast<char>(bad[at] ^ (1 << bit));
            if (map.Load(Write(bad)))
                ++loaded, ADD_FAILURE() << "flip of bit " << bit << " of byte " << at;
        }
    EXPECT_EQ(loaded, 0);
    // A trailing byte, a byte less, both offsets on the first table.
    EXPECT_FALSE(map.Load(Write(good + "x")));
    EXPECT_FALSE(map.Load(Write(good.substr(0, good.size() - 1))));
    EXPECT_FALSE(map.Load(Write(good.substr(0, 8) + U32(12) + good.substr(12))));
    EXPECT_EQ(map.Count(), 0);
}

TEST_F(GuidMapFileTest, MirroredApplicationsMayRepeatButEnginesMayNot) {
    const GUID app = Make(42, 42);
    ASSERT_TRUE(TlvUtl::WriteGuidMapFile((dir / "shared.dat").wstring(),
                                         {{Make(1, 1), app}, {Make(2, 2), app}}));
    TlvUtl::GuidMapFile map;
    ASSERT_TRUE(map.Load((dir / "shared.dat").wstring()));
    GUID out{};
    EXPECT_TRUE(map.EngineToApp(Make(2, 2), out));
    EXPECT_EQ(TlvUtl::CompareGuids(out, app), 0);
    EXPECT_FALSE(TlvUtl::WriteGuidMapFile((dir / "dup.dat").wstring(),
                                          {{Make(1, 1), app}, {Make(1, 1), Make(3, 3)}}));
    EXPECT_FALSE(fs::exists(dir / "dup.dat"));
}
