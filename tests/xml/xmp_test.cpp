#include "xml/xmp_chunks.h"

#include "cstring_printer.h"
#include "platform_marks.h"
#include "xmp_packet.h"

#include <tlvutl/encoding.h>
#include <tlvutl/property_store.h>
#include <tlvutl/xmp.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>

// Reaches WXmpDoc's private steps, so the writer primitives and the chunk table can be driven
// one at a time.
struct XmpDocTestPeer {
    static int OpenFile(WXmpDoc& d) { return d.CreateAndOpenTempFile(); }
    static int Write(WXmpDoc& d, const CString& text) { return d.WriteData(text); }
    static int Chunks(WXmpDoc& d) { return d.SetUpChunks(); }
    static int Offset(const WXmpDoc& d, int i) { return d.GetChunkOffset(i); }
    static CString FileName(const WXmpDoc& d) { return d.GetFileName(); }
};

namespace {

// 100-ns ticks since 1601 of a UTC civil time (days from civil after H. Hinnant).
FILETIME Utc(int y, int m, int d, int hh, int mm, int ss, int ms) {
    y -= m <= 2;
    const long long era = (y >= 0 ? y : y - 399) / 400;
    const long long yoe = y - era * 400;
    const long long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const long long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    const long long days = era * 146097 + doe - 719468; // since 1970-01-01
    const long long seconds = days * 86400 + hh * 3600 + mm * 60 + ss + 11644473600LL;
    const unsigned long long ticks = static_cast<unsigned long long>(seconds) * 10000000ULL +
                                     static_cast<unsigned long long>(ms) * 10000ULL;
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// Central European time with its summer-time rule, without relying on installed zone files.
constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

// Tests that set one carry TLVUTL_POSIX_ONLY: Windows keeps one time zone for the system.
#ifdef _WIN32
struct ScopedTimeZone {
    explicit ScopedTimeZone(const char*) {}
};
#else
class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const char* tz) {
        if (const char* old = std::getenv("TZ"))
            old_ = old;
        ::setenv("TZ", tz, 1);
        ::tzset();
    }
    ~ScopedTimeZone() {
        if (old_)
            ::setenv("TZ", old_->c_str(), 1);
        else
            ::unsetenv("TZ");
        ::tzset();
    }

private:
    std::optional<std::string> old_;
};
#endif

class Xmp : public XmpTempFolder {
protected:
    std::shared_ptr<MemoryPropertyStore> store = std::make_shared<MemoryPropertyStore>();

    std::string Build() {
        WXmpDoc doc(store);
        EXPECT_EQ(doc.CreateFromPropertyStore(), 0);
        EXPECT_EQ(doc.GetError(), XMP_ERROR_NONE);
        return Packet(doc);
    }
    void Set(REFPROPERTYKEY key, PropVariant value) { store->SetValue(key, std::move(value)); }
};

const std::string kHeader = "<?xpacket begin='\xEF\xBB\xBF' id='W5M0MpCehiHzreSzNTczkc9d'?>\n"
                            "\n<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">"
                            "\n<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
                            "\n<rdf:Description xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
                            "xmlns:xap=\"http://ns.adobe.com/xap/1.0/\" rdf:about=\"\">";

std::string Padding() {
    std::string p;
    for (int line = 0; line < 20; ++line)
        p += "\n" + std::string(99, ' ');
    return p + "\n" + std::string(47, ' ') + "\n";
}

TEST_F(Xmp, FullStoreGivesTheExpectedBytes) {
    TLVUTL_POSIX_ONLY("a time zone set for the process (TZ)");
    ScopedTimeZone tz(kCentralEurope);
    Set(PKEY_Title, PropVariant::FromString(TlvUtils::FromUtf8("Café «Гавань» 港の朝")));
    Set(PKEY_Comment, PropVariant::FromString(L"First light"));
    Set(PKEY_Author, PropVariant::FromStringVector({L"Ana Lima", L"Bo Chen"}));
    Set(PKEY_Copyright, PropVariant::FromString(L"(c) 2024 Ana Lima"));
    Set(PKEY_Keywords, PropVariant::FromStringVector({L"sea", L"boat"}));
    Set(PKEY_Rating, PropVariant::FromUInt16(50));
    Set(PKEY_Photo_DateTaken, PropVariant::FromFileTime(Utc(2024, 7, 1, 12, 34, 56, 789)));
    const std::string expected = FullStorePacket();
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(Build(), expected);
}

TEST_F(Xmp, EmptyStoreGivesTheFrameOnly) {
    EXPECT_EQ(Build(), kHeader + "\n</rdf:Description>\n</rdf:RDF>\n</x:xmpmeta>" + Padding() +
                           "\n<?xpacket end=\"w\"?>");
}

TEST_F(Xmp, MarkupInValuesIsWrittenAsItIs) {
    Set(PKEY_Title, PropVariant::FromString(L"Fish & Chips <hot>"));
    Set(PKEY_Keywords, PropVariant::FromStringVector({L"a&amp;b", L"\"q\""}));
    const std::string p = Build();
    EXPECT_NE(p.find("\n<rdf:li xml:lang=\"x-default\">\nFish & Chips <hot>\n</rdf:li>"),
              std::string::npos);
    EXPECT_NE(p.find("\n<rdf:li>\na&amp;b\n</rdf:li>\n<rdf:li>\n\"q\"\n</rdf:li>"),
              std::string::npos);
}

TEST_F(Xmp, RatingsAndStars) {
    const struct {
        PropVariant value;
        const char* number;
        const char* stars;
    } cases[] = {
        {PropVariant::FromUInt16(0), "0", "0"},     {PropVariant::FromUInt16(1), "1", "1"},
        {PropVariant::FromUInt16(12), "12", "1"},   {PropVariant::FromUInt16(13), "13", "2"},
        {PropVariant::FromUInt16(87), "87", "4"},   {PropVariant::FromUInt16(88), "88", "5"},
        {PropVariant::FromUInt16(100), "100", "5"}, {PropVariant::FromInt16(-1), "-1", "0"},
        {PropVariant::FromUInt32(75), "75", "4"},
    };
    for (const auto& c : cases) {
        Set(PKEY_Rating, c.value);
        const std::string p = Build();
        const std::string tail =
            "\n</rdf:Description>"
            "\n<rdf:Description xmlns:MicrosoftPhoto=\"http://ns.microsoft.com/photo/1.0/\">"
            "\n<MicrosoftPhoto:Rating>\n" +
            std::string(c.number) +
            "\n</MicrosoftPhoto:Rating>\n</rdf:Description>"
            "\n<rdf:Description xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\">"
            "\n<xmp:Rating>\n" +
            c.stars + "\n</xmp:Rating>\n</rdf:Description>\n</rdf:RDF>";
        EXPECT_EQ(p.substr(kHeader.size(), tail.size()), tail) << "rating " << c.number;
    }
    // A rating that does not fit 16 bits is not a rating: no descriptions.
    Set(PKEY_Rating, PropVariant::FromUInt16(40000));
    EXPECT_EQ(Build().find("Rating"), std::string::npos);
}

TEST_F(Xmp, CreationDateIsLocalWithTheRuleOfItsDate) {
    TLVUTL_POSIX_ONLY("a time zone set for the process (TZ)");
    ScopedTimeZone tz(kCentralEurope);
    const struct {
        FILETIME utc;
        const char* local;
    } cases[] = {
        // Spring forward on 2024-03-31 at 01:00 UTC: 02:00 local does not exist.
        {Utc(2024, 3, 31, 0, 59, 59, 999), "2024-03-31T01:59:59.999"},
        {Utc(2024, 3, 31, 1, 0, 0, 0), "2024-03-31T03:00:00.000"},
        // Fall back on 2024-10-27 at 01:00 UTC: 02:xx local happens twice.
        {Utc(2024, 10, 27, 0, 59, 59, 5), "2024-10-27T02:59:59.005"},
        {Utc(2024, 10, 27, 1, 0, 0, 40), "2024-10-27T02:00:00.040"},
        // Zero padding of every field, and a new year reached only in local time.
        {Utc(2023, 12, 31, 23, 0, 1, 7), "2024-01-01T00:00:01.007"},
        {Utc(1601, 1, 1, 0, 0, 0, 0), "1601-01-01T01:00:00.000"},
    };
    for (const auto& c : cases) {
        Set(PKEY_Photo_DateTaken, PropVariant::FromFileTime(c.utc));
        const std::string p = Build();
        EXPECT_NE(p.find("\n</rdf:Description>"
                         "\n<rdf:Description xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\">"
                         "\n<xmp:CreateDate>\n" +
                         std::string(c.local) +
                         "\n</xmp:CreateDate>\n</rdf:Description>\n</rdf:RDF>"),
                  std::string::npos)
            << c.local;
    }
}

TEST_F(Xmp, DateTakenComesBeforeDateCreated) {
    TLVUTL_POSIX_ONLY("a time zone set for the process (TZ)");
    ScopedTimeZone tz("UTC0");
    Set(PKEY_DateCreated, PropVariant::FromFileTime(Utc(2020, 1, 2, 3, 4, 5, 6)));
    EXPECT_NE(Build().find("\n2020-01-02T03:04:05.006\n"), std::string::npos);
    Set(PKEY_Photo_DateTaken, PropVariant::FromFileTime(Utc(2021, 1, 2, 3, 4, 5, 6)));
    const std::string p = Build();
    EXPECT_NE(p.find("\n2021-01-02T03:04:05.006\n"), std::string::npos);
    EXPECT_EQ(p.find("2020"), std::string::npos);
}

class FailingStore : public MemoryPropertyStore {
public:
    PROPERTYKEY failOn = PKEY_Keywords;
    HRESULT GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override {
        return IsEqualPropertyKey(key, failOn) ? E_FAIL : MemoryPropertyStore::GetValue(key, value);
    }
};

TEST_F(Xmp, FailuresStopTheBuildAndLeaveNoChunks) {
    WXmpDoc none(nullptr);
    EXPECT_EQ(none.CreateFromPropertyStore(), 1);
    EXPECT_EQ(none.GetError(), XMP_ERROR_NO_STORE);
    EXPECT_EQ(none.GetNumberOfChunks(), 0);

    // A date without a local time, and a store that fails to give a value.
    auto failing = std::make_shared<FailingStore>();
    failing->SetValue(PKEY_Title, PropVariant::FromString(L"kept"));
    Set(PKEY_Photo_DateTaken, PropVariant::FromFileTime(FILETIME{0, 0x80000000u}));
    const std::shared_ptr<MemoryPropertyStore> stores[] = {store, failing};
    for (const auto& from : stores) {
        WXmpDoc doc(from);
        EXPECT_EQ(doc.CreateFromPropertyStore(), 1);
        EXPECT_EQ(doc.GetError(), XMP_ERROR_STORE);
        EXPECT_EQ(doc.GetNumberOfChunks(), 0);
        EXPECT_EQ(doc.GetDataSize(), 0u);
        std::vector<char> data;
        EXPECT_EQ(doc.GetDataToVector(data, 0), -1);
    } // its temporary file closes: Windows removes no folder with an open file

    // The temporary folder is gone: no file, no packet.
    Set(PKEY_Photo_DateTaken, PropVariant());
    fs::remove_all(dir);
    WXmpDoc noFolder(store);
    EXPECT_EQ(noFolder.CreateFromPropertyStore(), 1);
    EXPECT_EQ(noFolder.GetError(), XMP_ERROR_TEMP_FILE);
    fs::create_directories(dir);
}

// The chunk table for packets of chosen sizes, on a real file.
TEST_F(Xmp, ChunkTables) {
    for (const int size : {4500, 0}) {
        SCOPED_TRACE(size);
        WXmpDoc doc(store);
        ASSERT_EQ(XmpDocTestPeer::OpenFile(doc), 0);
        std::wstring data;
        for (int i = 0; i < size; ++i)
            data += static_cast<wchar_t>(L'a' + i % 26 + (i / 26 % 2) * (L'A' - L'a'));
        if (size) {
            ASSERT_EQ(XmpDocTestPeer::Write(doc, data), 0);
        }
        std::vector<char> chunk;
        EXPECT_EQ(doc.GetDataToVector(chunk, 0), -1); // not set up yet
        ASSERT_EQ(XmpDocTestPeer::Chunks(doc), 0);
        ASSERT_EQ(doc.GetNumberOfChunks(), size ? 3 : 0);
        EXPECT_EQ(doc.GetDataSize(), static_cast<ULONGLONG>(size));
        if (size) {
            EXPECT_EQ(doc.GetChunkSize(2), 500);
            EXPECT_EQ(XmpDocTestPeer::Offset(doc, 2), 4000);
        }
        // Read backwards: each read positions the file itself.
        std::string all(static_cast<std::size_t>(size), '\0');
        for (int i = doc.GetNumberOfChunks() - 1; i >= 0; --i) {
            ASSERT_EQ(doc.GetDataToVector(chunk, i), doc.GetChunkSize(i));
            ASSERT_EQ(chunk.size(), static_cast<std::size_t>(doc.GetChunkSize(i)));
            all.replace(static_cast<std::size_t>(XmpDocTestPeer::Offset(doc, i)), chunk.size(),
                        chunk.data(), chunk.size());
        }
        EXPECT_EQ(all, TlvUtils::ToUtf8(data));
        const int n = doc.GetNumberOfChunks();
        EXPECT_EQ(doc.GetChunkSize(n), 0);
        EXPECT_EQ(doc.GetChunkSize(-1), 0);
        EXPECT_EQ(XmpDocTestPeer::Offset(doc, n + 1), 0);
        EXPECT_EQ(doc.GetDataToVector(chunk, n), -1);
        EXPECT_EQ(doc.GetDataToVector(chunk, -1), -1);
    }
}

TEST(XmpChunks, SplitMatchesASimpleModel) {
    for (std::uint64_t size :
         {0ull, 1ull, 1999ull, 2000ull, 2001ull, 3999ull, 4000ull, 4500ull, 123457ull}) {
        const auto chunks = tlv::xml::SplitIntoChunks(size, 2000);
        std::uint64_t next = 0;
        for (std::size_t i = 0; i < chunks.size(); ++i) {
            EXPECT_EQ(chunks[i].offset, next);
            EXPECT_GE(chunks[i].size, 1u);
            EXPECT_LE(chunks[i].size, 2000u);
            if (i + 1 < chunks.size()) {
                EXPECT_EQ(chunks[i].size, 2000u);
            }
            next += chunks[i].size;
        }
        EXPECT_EQ(next, size);
        EXPECT_EQ(chunks.size(), (size + 1999) / 2000);
    }
}

TEST_F(Xmp, TemporaryFileLivesAsLongAsTheLastCopy) {
    Set(PKEY_Title, PropVariant::FromString(L"shared"));
    std::string first;
    fs::path file;
    {
        auto doc = std::make_unique<WXmpDoc>(store);
        ASSERT_EQ(doc->CreateFromPropertyStore(), 0);
        file = PathOf(XmpDocTestPeer::FileName(*doc).str());
        EXPECT_EQ(file.parent_path(), dir);
        ASSERT_TRUE(fs::exists(file));
        first = Packet(*doc);

        WXmpDoc copy(*doc);
        WXmpDoc assigned(nullptr);
        assigned = *doc;
        doc.reset();
        EXPECT_TRUE(fs::exists(file));
        EXPECT_EQ(Packet(copy), first);
        EXPECT_EQ(assigned.GetNumberOfChunks(), copy.GetNumberOfChunks());
        EXPECT_EQ(Packet(assigned), first);

        // A new packet gets a new file; the copy that still holds the old one keeps it.
        ASSERT_EQ(assigned.CreateFromPropertyStore(), 0);
        EXPECT_NE(XmpDocTestPeer::FileName(assigned), XmpDocTestPeer::FileName(copy));
        EXPECT_TRUE(fs::exists(file));
    }
    EXPECT_FALSE(fs::exists(file));

    // Built twice with nothing shared: the first file goes at once.
    WXmpDoc doc(store);
    ASSERT_EQ(doc.CreateFromPropertyStore(), 0);
    const fs::path old = PathOf(XmpDocTestPeer::FileName(doc).str());
    ASSERT_EQ(doc.CreateFromPropertyStore(), 0);
    EXPECT_FALSE(fs::exists(old));
    EXPECT_EQ(Packet(doc), first);
}

TEST_F(Xmp, EntriesThePacketDoesNotCarry) {
    TLVUTL_POSIX_ONLY("a time zone set for the process (TZ)");
    ScopedTimeZone tz("UTC0");
    const PROPERTYKEY subject = {PKEY_Title.fmtid, 3};
    const PROPERTYKEY people = {{0x12345678, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8}}, 100};
    const PROPERTYKEY count = {{0x12345678, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8}}, 101};
    const PROPERTYKEY when = {{0x12345678, 1, 2, {1, 2, 3, 4, 5, 6, 7, 8}}, 102};
    Set(PKEY_Title, PropVariant::FromString(L"in the packet"));
    Set(subject, PropVariant::FromString(L"ab"));
    Set(people, PropVariant::FromStringVector({L"Ана", L"Bo"}));
    Set(count, PropVariant::FromUInt32(70000));
    Set(when, PropVariant::FromFileTime(Utc(2023, 4, 5, 6, 7, 8, 9)));
    WXmpDoc doc(store);
    EXPECT_EQ(doc.IsNonXMPInfoPresent(subject), -1); // nothing before the packet is built
    ASSERT_EQ(doc.CreateFromPropertyStore(), 0);
    EXPECT_EQ(doc.IsNonXMPInfoPresent(PKEY_Title), -1);
    ASSERT_EQ(doc.IsNonXMPInfoPresent(subject), 0);
    EXPECT_EQ(doc.GetNonXMPTagDataToString(0), L"ab   "); // padded to 5
    EXPECT_EQ(doc.GetNonXMPTagSize(0), 5u);
    ASSERT_EQ(doc.IsNonXMPInfoPresent(people), 1);
    EXPECT_EQ(doc.GetNonXMPTagDataToString(1), TlvUtils::FromUtf8("Ана; Bo"));
    EXPECT_EQ(doc.GetNonXMPTagSize(1), 10u); // UTF-8 bytes
    EXPECT_EQ(doc.GetNonXMPTagDataToString(doc.IsNonXMPInfoPresent(count)), L"70000");
    EXPECT_EQ(doc.GetNonXMPTagDataToString(doc.IsNonXMPInfoPresent(when)),
              L"2023-04-05T06:07:08.009");
    EXPECT_EQ(doc.GetNonXMPTagDataToString(4), L"");
    EXPECT_EQ(doc.GetNonXMPTagSize(-1), 0u);
    EXPECT_EQ(Packet(doc).find("\nab"), std::string::npos);
}

} // namespace
