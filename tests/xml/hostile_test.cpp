// Hostile documents, stylesheets and schemas: the library's limits hold at their exact
// bounds, refused files leak nothing (neither into results nor into messages), nothing is
// printed by the parser on any thread, and advice about parser options never reaches users.
#include "xml/parser.h"
#include "xml/xml_runtime.h"

#include "cstring_printer.h"
#include "environment/temp_dir.h"
#include "unicode_paths.h"

#include <tlvutl/encoding.h>
#include <tlvutl/stream.h>
#include <tlvutl/xml.h>

#include <gtest/gtest.h>

#include "platform_marks.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace TlvUtl::xml_detail;

std::string Attributes(std::size_t n, const char* value = "1") {
    std::string s = "<r";
    for (std::size_t i = 0; i < n; ++i)
        s += " a" + std::to_string(i) + "='" + value + "'";
    return s + "/>";
}

bool LoadBytes(WXmlDoc& doc, const std::string& bytes) {
    TlvUtils::MemoryStream stream(bytes);
    return doc.Load(&stream);
}

std::string Error() {
    return TlvUtl::XmlLastError().ToUtf8();
}

TEST(XmlLimits, AttributesPerElementAtTheBoundAndPast) {
    WXmlDoc doc;
    EXPECT_TRUE(LoadBytes(doc, Attributes(kMaxAttributesPerElement))) << Error();
    EXPECT_FALSE(LoadBytes(doc, Attributes(kMaxAttributesPerElement + 1)));
    EXPECT_EQ(Error(), "an element has more than 10000 attributes, the most the library reads");
    // "=" inside values, comments, CDATA and text is not an attribute.
    EXPECT_TRUE(LoadBytes(doc, "<r>" + std::string(20000, '=') + "<!--" + std::string(20000, '=') +
                                   "--><![CDATA[" + std::string(20000, '=') + "]]>" +
                                   Attributes(kMaxAttributesPerElement, "a=b") + "</r>"))
        << Error();
    // The quadratic case is refused before libxml2 sees it (the bound is a hang guard).
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(LoadBytes(doc, Attributes(200000)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(XmlLimits, Utf16TextIsCountedInItsOwnUnits) {
    auto utf16 = [](const std::string& ascii, bool bom) {
        std::string out;
        out.reserve(2 * ascii.size() + 2);
        if (bom) {
            out.push_back('\xFF');
            out.push_back('\xFE');
        }
        for (char c : ascii) {
            out.push_back(c);
            out.push_back('\0');
        }
        return out;
    };
    WXmlDoc doc;
    EXPECT_TRUE(LoadBytes(doc, utf16(Attributes(kMaxAttributesPerElement), true))) << Error();
    EXPECT_FALSE(LoadBytes(doc, utf16(Attributes(kMaxAttributesPerElement + 1), true)));
    EXPECT_NE(Error().find("attributes"), std::string::npos) << Error();
    EXPECT_FALSE(LoadBytes(doc, utf16(Attributes(kMaxAttributesPerElement + 1), false)));
    EXPECT_NE(Error().find("attributes"), std::string::npos) << Error();
}

TEST(XmlLimits, DepthAndTextLengthAtTheBoundAndPast) {
    auto nested = [](int depth) {
        std::string s;
        for (int i = 0; i < depth; ++i)
            s += "<a x='>'>"; // a ">" in a value does not end the tag
        s += "<leaf/><!-- <b> --><?pi <c>?>";
        for (int i = 0; i < depth; ++i)
            s += "</a>";
        return s;
    };
    WXmlDoc doc;
    EXPECT_TRUE(LoadBytes(doc, nested(kMaxDepth - 1))) << Error(); // the leaf is a level too
    EXPECT_FALSE(LoadBytes(doc, nested(kMaxDepth)));
    EXPECT_NE(Error().find("depth"), std::string::npos) << Error();

    const std::string most(kMaxTextLength, 'x');
    EXPECT_TRUE(LoadBytes(doc, "<r>" + most + "</r>")) << Error();
    EXPECT_TRUE(LoadBytes(doc, "<r v='" + most + "'/>")) << Error();
    EXPECT_TRUE(LoadBytes(doc, "<r><!--" + most + "--></r>")) << Error();
    for (const std::string& past :
         {"<r>" + most + "y</r>", "<r v='" + most + "y'/>", "<r><![CDATA[" + most + "y]]></r>",
          "<r><?p " + most + "?></r>"}) {
        EXPECT_FALSE(LoadBytes(doc, past));
        EXPECT_EQ(Error(), "a text, value or comment is longer than 4194304 characters, the "
                           "most the library reads");
    }
}

TEST(XmlLimits, MessagesNeverNameParserOptions) {
    WXmlDoc doc;
    // libxml2 refuses names past 50,000 characters and advises an option to lift the limit.
    std::string longName(60002, 'n');
    longName.front() = '<';
    longName.replace(longName.size() - 2, 2, "/>");
    EXPECT_FALSE(LoadBytes(doc, longName));
    EXPECT_FALSE(Error().empty());
    EXPECT_EQ(Error().find("XML_PARSE"), std::string::npos) << Error();
    EXPECT_EQ(TidyXmlMessage("Excessive depth in document: 256 use XML_PARSE_HUGE option\n"),
              "Excessive depth in document: 256");
}

class XmlHostileFiles : public ::testing::Test {
protected:
    // A folder with a name in several scripts, and a secret outside it.
    TempDir temp;
    std::string root = temp.path().string();
    std::string dir = root + "/" + unicode_paths::Names().back();
    std::string secret = root + "/secret.xml";
    static fs::path P(const std::string& utf8) { return TempDir::Name(utf8); }
    void SetUp() override {
        fs::create_directories(P(dir) / "sub");
        Write(secret, "<s>SECRET-LINE</s>");
    }
    static void Write(const std::string& path, const std::string& bytes) {
        TempDir::Write(P(path), bytes);
    }
    static std::wstring Wide(const std::string& utf8) { return TlvUtils::FromUtf8(utf8); }
    WXmlDoc LoadFile(const std::string& name, const std::string& bytes) {
        Write(dir + "/" + name, bytes);
        WXmlDoc doc;
        EXPECT_TRUE(doc.Load(Wide(dir + "/" + name).c_str())) << Error();
        return doc;
    }
    static constexpr const char* kXsl =
        "xmlns:xsl='http://www.w3.org/1999/XSL/Transform' version='1.0'";
    static constexpr const char* kXs = "xmlns:xs='http://www.w3.org/2001/XMLSchema'";
};

TEST_F(XmlHostileFiles, IncludedStylesheetsCannotExpandEntities) {
    Write(dir + "/sub/evil.xsl",
          std::string("<!DOCTYPE x [<!ENTITY e SYSTEM 'file://") + secret + "'>]><xsl:stylesheet " +
              kXsl + "><xsl:template match='/'><o>&e;</o></xsl:template></xsl:stylesheet>");
    for (const char* how : {"include", "import"}) {
        WXmlDoc style =
            LoadFile("main.xsl", std::string("<xsl:stylesheet ") + kXsl + "><xsl:" + how +
                                     " href='sub/evil.xsl'/></xsl:stylesheet>");
        WXmlDoc doc = WXmlDoc::CreateFromString(L"<r/>");
        testing::internal::CaptureStderr();
        EXPECT_FALSE(doc.ApplyXSLT(style));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_NE(Error().find("DTD is prohibited"), std::string::npos) << Error();
        EXPECT_EQ(doc.SaveToString().Find(L"SECRET"), -1);
        EXPECT_EQ(Error().find("SECRET"), std::string::npos) << Error();
    }
}

TEST_F(XmlHostileFiles, DocumentReadsOnlyTheFolderAndBelow) {
    TLVUTL_POSIX_ONLY("symbolic links");
    Write(dir + "/sub/ok.xml", "<x>fine</x>");
    fs::create_symlink(secret, P(dir) / "link.xml");
    auto transform = [&](const std::string& uri) {
        WXmlDoc style =
            LoadFile("d.xsl", std::string("<xsl:stylesheet ") + kXsl +
                                  "><xsl:template match='/'><o><xsl:value-of select=\"document('" +
                                  uri + "')\"/></o></xsl:template></xsl:stylesheet>");
        WXmlDoc doc = WXmlDoc::CreateFromString(L"<r/>");
        testing::internal::CaptureStderr();
        const bool done = doc.ApplyXSLT(style);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << uri;
        EXPECT_EQ(Error().find("SECRET"), std::string::npos) << Error();
        return done ? doc.GetRootNode().GetXML().ToUtf8() : "failed: " + Error();
    };
    EXPECT_EQ(transform("sub/ok.xml"), "<o>fine</o>");
    for (const std::string& outside :
         std::vector<std::string>{"../secret.xml", secret, "file://" + secret, "link.xml",
                                  "sub/../../secret.xml", "/dev/zero"})
        EXPECT_EQ(transform(outside), "<o/>") << outside;
    EXPECT_EQ(transform("http://127.0.0.1:9/x.xml").find("SECRET"), std::string::npos);
}

TEST_F(XmlHostileFiles, SchemaIncludesReadOnlyPlainFilesInTheFolder) {
    Write(dir + "/sub/part.xsd", std::string("<xs:schema ") + kXs +
                                     "><xs:element name='r' type='xs:string'/></xs:schema>");
    Write(dir + "/sub/entity.xsd", std::string("<!DOCTYPE x [<!ENTITY e SYSTEM 'file://") + secret +
                                       "'>]><xs:schema " + kXs +
                                       "><xs:element name='r' fixed='&e;'/></xs:schema>");
    Write(dir + "/passwd.xsd", std::string("<xs:schema ") + kXs +
                                   "><xs:include schemaLocation='/etc/passwd'/></xs:schema>");
    WXmlDoc doc = WXmlDoc::CreateFromString(L"<r>v</r>");
    auto validate = [&](const char* how, const std::string& location) {
        Write(dir + "/s.xsd", std::string("<xs:schema ") + kXs + "><xs:" + how +
                                  " schemaLocation='" + location + "'/></xs:schema>");
        testing::internal::CaptureStderr();
        const bool valid = doc.Validate(Wide(dir + "/s.xsd").c_str());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << location;
        EXPECT_EQ(Error().find("SECRET"), std::string::npos) << Error();
        EXPECT_EQ(Error().find("root:"), std::string::npos) << Error();
        return valid;
    };
    EXPECT_TRUE(validate("include", "sub/part.xsd")) << Error();
    EXPECT_TRUE(validate("redefine", "sub/part.xsd")) << Error();
    for (const std::string& bad :
         std::vector<std::string>{"sub/entity.xsd", "/etc/passwd", "file:///etc/passwd",
                                  "../secret.xml", "http://127.0.0.1:9/s.xsd"}) {
        EXPECT_FALSE(validate("include", bad)) << bad;
        EXPECT_NE(Error().find("refused"), std::string::npos) << Error();
        EXPECT_FALSE(validate("redefine", bad)) << bad;
    }
    EXPECT_FALSE(doc.Validate(Wide(dir + "/passwd.xsd").c_str()));
    EXPECT_EQ(Error().find("root:"), std::string::npos) << Error();
}

TEST_F(XmlHostileFiles, NothingIsPrintedOnAnyThread) {
    Write(dir + "/inc.xsd", std::string("<xs:schema ") + kXs +
                                "><xs:include schemaLocation='/etc/passwd'/></xs:schema>");
    auto noisy = [&] {
        WXmlDoc doc;
        doc.LoadFromString(L"<r><unclosed></r>");
        doc.LoadFromString(L"<r/>");
        try {
            doc.GetNodes(WXPath(L"r[foo(]"));
        } catch (...) {
        }
        doc.Validate(Wide(dir + "/inc.xsd").c_str());
        WXmlDoc style = WXmlDoc::CreateFromString(
            L"<xsl:stylesheet xmlns:xsl='http://www.w3.org/1999/XSL/Transform' version='1.0'>"
            L"<xsl:template match='/'><xsl:message terminate='yes'>stop</xsl:message>"
            L"<xsl:bogus/></xsl:template></xsl:stylesheet>");
        doc.ApplyXSLT(style);
    };
    testing::internal::CaptureStderr();
    noisy();
    std::thread fresh(noisy);
    fresh.join();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(XmlHostileFiles, SavesInsideTheFileLockDoNotWaitForIt) {
    const std::wstring path = Wide(dir + "/locked.xml");
    WXmlDoc doc = WXmlDoc::CreateFromString(L"<r/>");
    {
        TlvUtl::XmlFileLock lock(path.c_str());
        ASSERT_TRUE(lock.Locked());
        TlvUtl::XmlFileLock again(path.c_str()); // the same thread may nest it
        EXPECT_TRUE(again.Locked());
        EXPECT_TRUE(doc.Save(path.c_str())) << Error();
    }
    EXPECT_TRUE(doc.Save(path.c_str())) << Error();
    TlvUtl::XmlFileLock missing(Wide(dir + "/no/such/folder/x.xml").c_str());
    EXPECT_FALSE(missing.Locked());
}

} // namespace
