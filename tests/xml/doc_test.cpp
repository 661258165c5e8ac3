#include "xml/doc_state.h"

#include "cstring_printer.h"
#include "environment/temp_dir.h"
#include "platform_marks.h"
#include "unicode_paths.h"

#include <tlvutl/com_error.h>
#include <tlvutl/frame.h>
#include <tlvutl/messages.h>
#include <tlvutl/stream.h>
#include <tlvutl/xml.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

namespace {

namespace fs = std::filesystem;

class XmlFiles : public ::testing::Test {
protected:
    TempDir dir;
    std::wstring Write(const char* name, const std::string& bytes) {
        TempDir::Write(dir / name, bytes);
        return (dir / name).wstring();
    }
    static std::string Read(const std::wstring& path) { return TempDir::Read(fs::path(path)); }
};

TEST_F(XmlFiles, SavedFilesAreIndentedUtf8AndReloadIdentically) {
    WXmlDoc doc;
    ASSERT_TRUE(doc.LoadFromString(L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>"
                                   L"<s><p name=\"A4 \u00e9\" w=\"2100000\"/><p/></s>"));
    const std::wstring path = (dir / "out.xml").wstring();
    ASSERT_TRUE(doc.Save(path.c_str()));
    EXPECT_EQ(Read(path), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<s>\n"
                          "  <p name=\"A4 \xC3\xA9\" w=\"2100000\"/>\n  <p/>\n</s>\n");
    WXmlDoc back = WXmlDoc::CreateFromFile(path.c_str());
    ASSERT_TRUE(back.IsLoaded());
    EXPECT_EQ(back.SaveToString(), doc.SaveToString());
    EXPECT_EQ(doc.SaveToString(),
              L"<?xml version=\"1.0\"?>\n<s><p name=\"A4 \u00e9\" w=\"2100000\"/><p/></s>\n");
    // Saved again over itself: the content is replaced whole.
    doc.GetRootNode().CreateChild(L"q", nullptr);
    ASSERT_TRUE(doc.Save(path.c_str()));
    EXPECT_EQ(WXmlDoc::CreateFromFile(path.c_str()).GetRootNode().GetNumChildren(), 3);
    std::ptrdiff_t entries = 0;
    for (const auto& entry : fs::directory_iterator(dir.path()))
        entries += entry.path().filename() == ".tlvutl.lock" ? 0 : 1; // the Windows path lock's
    EXPECT_EQ(entries, 1) << "no temporary file is left beside the saved one";
}

TEST_F(XmlFiles, FilesInNonAsciiFoldersUnderAnyLocale) {
    for (const std::string& locale : unicode_paths::Locales()) {
        unicode_paths::ScopedLocale scoped(locale);
        for (const std::string& name : unicode_paths::Names()) {
            SCOPED_TRACE(locale + " / " + name);
            fs::create_directories(dir / name);
            const std::wstring path = unicode_paths::Wide((dir / name / (name + ".xml")).string());
            WXmlDoc doc;
            ASSERT_TRUE(doc.LoadFromString(L"<s/>"));
            doc.GetRootNode().CreateChild(L"p", unicode_paths::Wide(name).c_str());
            ASSERT_TRUE(doc.Save(path.c_str()));
            WXmlDoc back;
            ASSERT_TRUE(back.Load(path.c_str()));
            EXPECT_EQ(back.SaveToString(), doc.SaveToString());
            // A missing file fails with a reason, not an exception from the path.
            WXmlDoc missing;
            EXPECT_FALSE(missing.Load(unicode_paths::Wide((dir / "нет.xml").string()).c_str()));
        }
    }
}

TEST_F(XmlFiles, WhiteSpaceIsKeptOnlyWhenAsked) {
    const std::wstring path = Write("ws.xml", "<r>\n  <a> x </a>\n</r>");
    WXmlDoc plain;
    ASSERT_TRUE(plain.Load(path.c_str()));
    EXPECT_EQ(plain.GetRootNode().GetNumChildren(), 1);
    EXPECT_EQ(plain.GetRootNode().GetNode(WXPath(L"a")).Value().GetString(), L" x ");
    WXmlDoc kept(true);
    ASSERT_TRUE(kept.Load(path.c_str()));
    EXPECT_EQ(kept.GetRootNode().GetNumChildren(), 3);
    const std::wstring again = (dir / "again.xml").wstring();
    ASSERT_TRUE(kept.Save(again.c_str()));
    EXPECT_EQ(Read(again), "<r>\n  <a> x </a>\n</r>") << "no declaration or line break added";
}

TEST_F(XmlFiles, SaveSucceedsOnlyWhenTheFileIsWritten) {
    WXmlDoc never;
    EXPECT_FALSE(never.Save((dir / "never.xml").wstring().c_str()));
    EXPECT_FALSE(fs::exists(dir / "never.xml"));
    const std::wstring keep = Write("keep.xml", "<precious/>");
    WXmlDoc broken;
    EXPECT_FALSE(broken.LoadFromString(L"<unclosed>"));
    EXPECT_FALSE(broken.Save(keep.c_str())) << "an empty document never replaces a file";
    EXPECT_EQ(Read(keep), "<precious/>");
    WXmlDoc doc = WXmlDoc::CreateFromString(L"<r/>");
    EXPECT_FALSE(doc.Save((dir / "no" / "such" / "dir.xml").wstring().c_str()));
    EXPECT_FALSE(TlvUtl::XmlLastError().IsEmpty());
    EXPECT_FALSE(doc.Save(static_cast<IStream*>(nullptr)));
}

TEST_F(XmlFiles, StreamsCarryDocumentsBothWays) {
    WXmlDoc doc = WXmlDoc::CreateFromString(L"<r a=\"1\"/>");
    TlvUtils::MemoryStream memory;
    ASSERT_TRUE(doc.Save(&memory));
    EXPECT_EQ(memory.Bytes(), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r a=\"1\"/>\n");
    memory.Seek(0, STREAM_SEEK_SET, nullptr);
    WXmlDoc back = WXmlDoc::CreateFromStream(&memory);
    EXPECT_EQ(back.GetRootNode().Attribute(L"@a").GetInt(), 1);
    const std::wstring path = (dir / "stream.xml").wstring();
    {
        auto file = TlvUtils::FileStream::Open(path, TlvUtils::FileStream::Mode::kWrite);
        ASSERT_TRUE(file);
        ASSERT_TRUE(doc.Save(file.get()));
    }
    auto file = TlvUtils::FileStream::Open(path, TlvUtils::FileStream::Mode::kRead);
    ASSERT_TRUE(file);
    EXPECT_TRUE(WXmlDoc::CreateFromStream(file.get()).IsLoaded());
    EXPECT_FALSE(WXmlDoc::CreateFromStream(nullptr).IsLoaded());
    HRESULT hr = S_OK;
    EXPECT_FALSE(TlvUtils::FileStream::Open((dir / "none").wstring(),
                                            TlvUtils::FileStream::Mode::kRead, &hr));
    EXPECT_EQ(static_cast<std::uint32_t>(hr), 0x80070002u);
}

TEST_F(XmlFiles, LoadsAcceptFileUrlsAndDeclaredEncodings) {
    const std::wstring path =
        Write("latin 1.xml", std::string("<?xml version=\"1.0\" "
                                         "encoding=\"ISO-8859-1\"?><r>\xE9</r>"));
    const std::string url = "file://" + (dir / "latin%201.xml").string();
    WXmlDoc doc;
    ASSERT_TRUE(doc.Load(CString(url.c_str()))) << TlvUtl::XmlLastError().ToUtf8();
    EXPECT_EQ(doc.GetRootNode().Value().GetString(), L"\u00e9");
    EXPECT_FALSE(doc.Load(L"http://example.invalid/settings.xml"));
    EXPECT_FALSE(doc.IsLoaded());
    EXPECT_FALSE(doc.Load((dir / "missing.xml").wstring().c_str()));
    EXPECT_NE(TlvUtl::XmlLastError().Find(L"missing.xml"), -1);
}

TEST_F(XmlFiles, TransformReplacesTheContentAndMayReadLocalDocuments) {
    Write("extra.xml", "<extra v=\"from-file\"/>");
    const std::wstring xslPath = Write(
        "t.xsl",
        "<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
        "<xsl:template match=\"/\"><out n=\"{count(//i)}\" e=\"{document('extra.xml')/extra/@v}\">"
        "<xsl:copy-of select=\"//i[1]\"/></out></xsl:template></xsl:stylesheet>");
    WXmlDoc style = WXmlDoc::CreateFromFile(xslPath.c_str());
    ASSERT_TRUE(style.IsLoaded());
    WXmlDoc doc = WXmlDoc::CreateFromString(L"<r><i k=\"1\"/><i/></r>");
    WXmlDoc sharer = doc;
    WXmlNode old = doc.GetRootNode().GetNode(WXPath(L"i"));
    ASSERT_TRUE(doc.ApplyXSLT(style)) << TlvUtl::XmlLastError().ToUtf8();
    EXPECT_EQ(doc.GetRootNode().GetXML(), L"<out n=\"2\" e=\"from-file\"><i k=\"1\"/></out>");
    EXPECT_EQ(sharer.GetRootNode().GetName(), L"out") << "copies share the transformed content";
    EXPECT_EQ(old.GetXML(), L"<i k=\"1\"/>") << "nodes of replaced content stay valid";
    EXPECT_EQ(style.GetRootNode().GetName(), L"xsl:stylesheet") << "the stylesheet is untouched";
    WXmlDoc target = WXmlDoc::CreateFromString(L"<r/>");
    WXmlDoc notStyle = WXmlDoc::CreateFromString(L"<plain/>");
    EXPECT_FALSE(target.ApplyXSLT(notStyle));
    WXmlDoc empty;
    EXPECT_FALSE(target.ApplyXSLT(empty));
}

TEST_F(XmlFiles, ValidatesAgainstAnXsdFile) {
    const std::wstring xsd = Write(
        "s.xsd",
        "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">"
        "<xs:element name=\"r\"><xs:complexType><xs:sequence>"
        "<xs:element name=\"i\" maxOccurs=\"unbounded\"><xs:complexType>"
        "<xs:attribute name=\"k\" type=\"xs:int\" use=\"required\"/></xs:complexType></xs:element>"
        "</xs:sequence></xs:complexType></xs:element></xs:schema>");
    EXPECT_TRUE(WXmlDoc::CreateFromString(L"<r><i k=\"1\"/></r>").Validate(xsd.c_str()));
    WXmlDoc bad = WXmlDoc::CreateFromString(L"<r><i k=\"x\"/></r>");
    EXPECT_FALSE(bad.Validate(xsd.c_str()));
    EXPECT_NE(TlvUtl::XmlLastError().Find(L"'x'"), -1) << TlvUtl::XmlLastError().ToUtf8();
    EXPECT_FALSE(bad.Validate((dir / "missing.xsd").wstring().c_str()));
    const std::wstring notXsd = Write("n.xsd", "<not-a-schema/>");
    EXPECT_FALSE(bad.Validate(notXsd.c_str()));
    EXPECT_THROW(WXmlDoc().Validate(xsd.c_str()), ComError);
}

TEST_F(XmlFiles, BackupLivesInATemporaryFileUntilDeleted) {
    WXmlDoc doc = WXmlDoc::CreateFromString(L"<r v=\"1\"/>");
    std::unique_ptr<TlvUtl::WDataBackup> backup(doc.Backup());
    ASSERT_TRUE(backup);
    doc.GetRootNode().Attribute(L"@v").SetInt(2);
    doc.Restore(backup.get());
    EXPECT_EQ(doc.GetRootNode().Attribute(L"@v").GetInt(), 1);
    std::unique_ptr<TlvUtl::WDataBackup> second(doc.Backup());
    EXPECT_NE(second, nullptr);
    // Find the files: they are ours, in the temporary folder, and go with their objects.
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(fs::temp_directory_path()))
        if (entry.path().filename().string().rfind("tlvutl-backup-", 0) == 0)
            files.push_back(entry.path());
    EXPECT_GE(files.size(), 2u);
    backup.reset();
    second.reset();
    std::size_t left = 0;
    for (const auto& f : files)
        left += fs::exists(f);
    EXPECT_LE(left, files.size() - 2);
    EXPECT_EQ(WXmlDoc().Backup(), nullptr);
    doc.Restore(nullptr);
    EXPECT_TRUE(doc.IsLoaded());
}

TEST(XmlDocCreation, FailureShowsTheResourceMessage) {
    InitModule();
    TlvUtl::ScopedMessageCapture capture;
    TlvUtl::xml_detail::FailNextDocumentCreation(E_OUTOFMEMORY);
    WXmlDoc doc;
    EXPECT_FALSE(doc.LoadFromString(L"<r/>"));
    EXPECT_FALSE(doc.IsLoaded());
    EXPECT_THROW(doc.GetRootNode(), ComError);
    const auto messages = capture.Messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].kind, TlvUtl::CapturingMessageSink::Kind::Error);
    EXPECT_EQ(messages[0].text,
              L"Unable to create an XML document.\nNot enough memory resources are available to "
              L"complete this operation.\nCheck that the XML parser library is installed.");
    EXPECT_TRUE(doc.LoadFromString(L"<r/>"));
}

TEST(XmlBadInput, MalformedAndTruncatedTextFailsToLoad) {
    const wchar_t* bad[] = {L"",
                            L"<",
                            L"<r></s>",
                            L"<r a='1' a='2'/>",
                            L"<r/><r/>",
                            L"<?xml version=\"1.0\"?>",
                            L"<r>&undefined;</r>",
                            L"<r xmlns:p='u' p:a='1' p:a='2'/>",
                            L"\xFEFF<r/"};
    for (const wchar_t* text : bad) {
        WXmlDoc doc;
        EXPECT_FALSE(doc.LoadFromString(text)) << CString(text).ToUtf8();
        EXPECT_FALSE(doc.IsLoaded());
        EXPECT_FALSE(TlvUtl::XmlLastError().IsEmpty());
        EXPECT_FALSE(doc.GetRootNode().IsValid());
    }
}

TEST(XmlBadInput, DocumentsWithADtdAreRefusedWithoutExpandingAnything) {
    std::wstring laughs = L"<?xml version=\"1.0\"?><!DOCTYPE l [<!ENTITY l0 \"ha\">";
    for (int i = 1; i < 30; ++i)
        laughs += L"<!ENTITY l" + std::to_wstring(i) + L" \"&l" + std::to_wstring(i - 1) + L";&l" +
                  std::to_wstring(i - 1) + L";\">";
    laughs += L"]><l>&l29;</l>";
    const auto start = std::chrono::steady_clock::now();
    WXmlDoc doc;
    EXPECT_FALSE(doc.LoadFromString(laughs.c_str()));
    EXPECT_EQ(TlvUtl::XmlLastError(), L"DTD is prohibited");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_FALSE(doc.LoadFromString(L"<!DOCTYPE r SYSTEM \"http://127.0.0.1:9/r.dtd\"><r/>"));
    EXPECT_FALSE(doc.LoadFromString(L"<!DOCTYPE r [<!ENTITY x SYSTEM \"file:///etc/passwd\">]>"
                                    L"<r>&x;</r>"));
}

TEST(XmlBadInput, TreesBuiltDeeperThanAnyFileFailCleanlyWhereTheyMustBeCopied) {
    WXmlDoc doc = WXmlDoc::CreateFromString(L"<r/>");
    WXmlNode n = doc.GetRootNode();
    for (int i = 0; i < 20000; ++i)
        n = n.CreateChild(L"a", nullptr);
    const CString text = doc.SaveToString(); // written without recursion
    EXPECT_EQ(text.Left(31), L"<?xml version=\"1.0\"?>\n<r><a><a>");
    EXPECT_FALSE(WXmlDoc::CreateFromString(text).IsLoaded()) << "too deep to parse back";
    EXPECT_THROW(doc.Clone(), ComError);
    EXPECT_THROW(doc.GetRootNode().Clone(true), ComError);
    EXPECT_NO_THROW(doc.GetRootNode().Clone(false));
    WXmlDoc other = WXmlDoc::CreateFromString(L"<o/>");
    WXmlNode top = doc.GetRootNode().GetNode(WXPath(L"a"));
    EXPECT_THROW(other.GetRootNode().Graft(top, 0), ComError);
    WXmlDoc style = WXmlDoc::CreateFromString(
        L"<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\"/>");
    EXPECT_FALSE(doc.ApplyXSLT(style));
    top.Prune(); // the whole chain is freed without recursion
    EXPECT_EQ(doc.GetRootNode().GetXML(), L"<r/>");
}

// Documents are not shared between threads, but each thread may have its own.
TEST_F(XmlFiles, IndependentDocumentsOnSeveralThreads) {
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            const std::wstring path = (dir / ("t" + std::to_string(t) + ".xml")).wstring();
            for (int round = 0; round < 50; ++round) {
                WXmlDoc doc;
                if (!doc.LoadFromString(L"<r><i id=\"1\"/><i id=\"2\"/></r>")) {
                    ++failures;
                    continue;
                }
                WXmlNode root = doc.GetRootNode();
                root.EnsureDescendantExists(WXPath(L"i[@id='3']")).Attribute(L"@v").SetInt(t);
                if (root.GetNodes(WXPath(L"i[@id = '3']")).Count() != 1)
                    ++failures;
                try {
                    root.DoesNodeExist(WXPath(L"i["));
                    ++failures;
                } catch (const ComError&) {
                }
                if (!doc.Save(path.c_str()) || WXmlDoc(false).LoadFromString(L"<bad") ||
                    WXmlDoc::CreateFromFile(path.c_str())
                            .GetRootNode()
                            .GetNode(WXPath(L"i[3]"))
                            .Attribute(L"@v")
                            .GetInt(-1) != t)
                    ++failures;
            }
        });
    for (auto& th : threads)
        th.join();
    EXPECT_EQ(failures.load(), 0);
}

} // namespace
