#include "cstring_printer.h"

#include <tlvutl/com_error.h>
#include <tlvutl/xml.h>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

std::uint32_t Code(const ComError& e) {
    return static_cast<std::uint32_t>(e.Error());
}

WXmlDoc Parse(const wchar_t* text) {
    WXmlDoc doc;
    EXPECT_TRUE(doc.LoadFromString(text)) << CString(text).ToUtf8();
    return doc;
}

TEST(XmlNodeIdentity, HandlesShareCompareByIdentityAndKeepTheirDocumentAlive) {
    WXmlDoc doc = Parse(L"<r><a/><a/></r>");
    WXmlNode root = doc.GetRootNode();
    WXmlNode first = root.GetNode(WXPath(L"a"));
    EXPECT_NE(first, root.GetNode(WXPath(L"a[2]")));
    WXmlNode copy = first;
    copy.Attribute(L"@seen").SetBool(true);
    EXPECT_TRUE(first.GetNodeNoThrow(WXPath(L"@seen")).IsValid());
    WXmlNode moved = std::move(copy);
    EXPECT_FALSE(copy.IsValid());
    EXPECT_EQ(moved, first);
    // A node keeps its document alive.
    WXmlNode kept;
    {
        WXmlDoc scoped = Parse(L"<r><a k=\"1\"/></r>");
        kept = scoped.GetRootNode().GetNode(WXPath(L"a"));
    }
    EXPECT_EQ(kept.Attribute(L"@k").GetInt(), 1);
    EXPECT_EQ(kept.GetParentNode().GetName(), L"r");
    WXmlDoc owner = kept.GetOwnerDocument();
    EXPECT_TRUE(owner.IsLoaded());
    EXPECT_EQ(owner, kept.GetOwnerDocument());
}

TEST(XmlNodeIdentity, EmptyNodesRaiseInvalidPointer) {
    WXmlNode empty;
    const auto expectPointer = [](auto&& op) {
        try {
            op();
            ADD_FAILURE() << "no exception";
        } catch (const ComError& e) {
            EXPECT_EQ(Code(e), 0x80004003u);
        }
    };
    expectPointer([&] { empty.GetName(); });
    expectPointer([&] { empty.GetNodeNoThrow(WXPath(L"a")); });
    expectPointer([&] { empty.CreateChild(L"a", nullptr); });
    expectPointer([&] { empty.Prune(); });
    expectPointer([&] { empty.GetNumChildren(); });
    expectPointer([&] { empty.GetOwnerDocument(); });
    expectPointer([&] { WXmlDoc().GetRootNode(); });
    expectPointer([&] { WXmlDoc().SaveToString(); });
}

TEST(XmlNodeSelection, ContextAndAbsolutePaths) {
    WXmlDoc doc =
        Parse(L"<r><g id=\"1\"><i n=\"a\"/><i n=\"b\"/></g><g id=\"2\"><i n=\"c\"/></g></r>");
    WXmlNode g2 = doc.GetRootNode().GetNode(WXPath(L"g[@id='2']"));
    EXPECT_EQ(g2.GetNodes(WXPath(L"//i")).Count(), 3);
    EXPECT_EQ(g2.GetNodes(WXPath(L"/r/g")).Count(), 2);
    EXPECT_EQ(g2.GetNode(WXPath(L"..")), doc.GetRootNode());
    EXPECT_EQ(g2.GetNode(WXPath(L"@id")).GetName(), L"id");
    // Document order, whatever the order of the union.
    WXmlNodeList all = doc.GetRootNode().GetNodes(WXPath(L"g[2]/i | g[1]/i"));
    std::wstring names;
    for (WXmlNode n : all)
        names += n.Attribute(L"@n").GetString().str();
    EXPECT_EQ(names, L"abc");
    EXPECT_EQ(all.Node(5), WXmlNode());

    WXmlNode out;
    EXPECT_FALSE(g2.GetNode(WXPath(L"missing"), out));
    EXPECT_FALSE(out.IsValid());
    EXPECT_FALSE(g2.DoesNodeExist(WXPath(L"missing")));
    try {
        g2.GetNode(WXPath(L"missing"));
        ADD_FAILURE();
    } catch (int thrown) {
        EXPECT_EQ(thrown, 0);
    }
    EXPECT_EQ(g2.GetNodes(WXPath(L"missing"), false).Count(), 0);
    EXPECT_THROW(g2.GetNodes(WXPath(L"missing"), true), int);
    WXmlNodeList list;
    EXPECT_TRUE(doc.GetNodes(WXPath(L"r/g"), list));
    EXPECT_EQ(list.Count(), 2);
    EXPECT_FALSE(doc.GetNodes(WXPath(L"g"), list)) << "the document is the context";
}

TEST(XmlNodeSelection, InvalidPathsRaiseTheParsersMessage) {
    WXmlDoc doc = Parse(L"<r/>");
    WXmlNode root = doc.GetRootNode();
    for (const wchar_t* bad : {L"a[", L"", L"///", L"a]", L"count(", L"@"}) {
        try {
            root.DoesNodeExist(WXPath(bad));
            ADD_FAILURE() << CString(bad).ToUtf8();
        } catch (const ComError& e) {
            EXPECT_EQ(Code(e), 0x80004005u);
            EXPECT_NE(std::string(e.what()).find("XPath"), std::string::npos) << e.what();
        }
    }
    try {
        root.GetNodes(WXPath(L"count(*)"));
        ADD_FAILURE();
    } catch (const ComError& e) {
        EXPECT_NE(std::string(e.what()).find("node-set"), std::string::npos);
    }
    // An unknown prefix is an error too, until the document declares it.
    EXPECT_THROW(root.DoesNodeExist(WXPath(L"p:x")), ComError);
}

TEST(XmlNodeSelection, SelectionNamespacesBindPrefixes) {
    WXmlDoc doc = Parse(L"<r xmlns=\"urn:one\" xmlns:t=\"urn:two\"><a/><t:b/></r>");
    WXmlNode root = doc.GetRootNode();
    EXPECT_FALSE(root.DoesNodeExist(WXPath(L"a")));
    doc.SetSelectionNamespaces(L"xmlns:o='urn:one'  xmlns:x=\"urn:two\"");
    EXPECT_TRUE(root.DoesNodeExist(WXPath(L"o:a")));
    EXPECT_TRUE(root.DoesNodeExist(WXPath(L"x:b")));
    EXPECT_EQ(root.GetNode(WXPath(L"x:b")).GetName(), L"t:b");
    doc.SetSelectionNamespaces(L"xmlns:o='urn:one'");
    EXPECT_THROW(root.DoesNodeExist(WXPath(L"x:b")), ComError);
    for (const wchar_t* bad : {L"xmlns:o=urn", L"o='x'", L"xmlns:='x'", L"xmlns:o='x"})
        EXPECT_THROW(doc.SetSelectionNamespaces(bad), ComError) << CString(bad).ToUtf8();
    EXPECT_THROW(WXmlDoc().SetSelectionNamespaces(L""), ComError);
}

TEST(XmlNodeEnsure, CreatesWhatIsMissingAsSpecified) {
    WXmlDoc doc = Parse(L"<r/>");
    WXmlNode root = doc.GetRootNode();
    WXmlNode b = root.EnsureDescendantExists(WXPath(L"a/b[@k='x y']"));
    EXPECT_EQ(root.GetXML(), L"<r><a><b k=\"x\"/></a></r>") << "the value is cut at the space";
    // The cut value does not match the path, so a second call creates another.
    root.EnsureDescendantExists(WXPath(L"a/b[@k='x y']"));
    EXPECT_EQ(root.GetNodes(WXPath(L"a/b")).Count(), 2);
    EXPECT_EQ(root.EnsureDescendantExists(WXPath(L"a/b[@k='x']")), b);

    WXmlNode third = root.EnsureDescendantExists(WXPath(L"c/d[3]"));
    EXPECT_EQ(root.GetNodes(WXPath(L"c/d")).Count(), 3);
    EXPECT_EQ(third, root.GetNode(WXPath(L"c/d[3]")));
    EXPECT_EQ(root.EnsureDescendantExists(WXPath(L"c/d[3]")), third);
    EXPECT_EQ(root.GetNodes(WXPath(L"c/d")).Count(), 3);

    WXmlNode flag = root.EnsureDescendantExists(WXPath(L"@flag"));
    EXPECT_EQ(flag.GetName(), L"flag");
    EXPECT_TRUE(root.Attribute(L"@flag").Exists());
    EXPECT_TRUE(root.Attribute(L"@flag").IsEmpty());

    WXmlNode e = root.EnsureDescendantExists(WXPath(L"e[@id='7'][@n='q']/f"));
    EXPECT_EQ(e.GetParentNode().GetXML(), L"<e id=\"7\" n=\"q\"><f/></e>");
    // Attribute clauses after a position land on the last element made.
    root.EnsureDescendantExists(WXPath(L"g[2][@id='z']"));
    EXPECT_EQ(root.GetNode(WXPath(L"g[2]")).Attribute(L"@id").GetString(), L"z");
    EXPECT_FALSE(root.GetNode(WXPath(L"g[1]")).Attribute(L"@id").Exists());
    // A path that ends in an attribute of a new element.
    WXmlNode at = root.EnsureDescendantExists(WXPath(L"h/@w"));
    EXPECT_EQ(at.GetParentNode(), WXmlNode()) << "attributes have no parent node";
    EXPECT_TRUE(root.DoesNodeExist(WXPath(L"h[@w='']")));
}

TEST(XmlNodeEnsure, DoubleSlashAndAbsolutePaths) {
    WXmlDoc doc = Parse(L"<r><x><y/></x></r>");
    WXmlNode root = doc.GetRootNode();
    // "//y" exists anywhere, so only "z" is created, under it.
    WXmlNode z = root.EnsureDescendantExists(WXPath(L"//y/z"));
    EXPECT_EQ(z.GetParentNode().GetName(), L"y");
    // A missing absolute path cannot be made from its empty first step.
    EXPECT_THROW(root.EnsureDescendantExists(WXPath(L"/nope/a")), ComError);
    EXPECT_EQ(root.EnsureDescendantExists(WXPath(L"/r/x")), root.GetNode(WXPath(L"x")));
    // A step that is not an element name cannot be created.
    EXPECT_THROW(root.EnsureDescendantExists(WXPath(L"text()")), ComError);
    EXPECT_THROW(root.EnsureDescendantExists(WXPath(L"w[999999999]")), ComError);
    EXPECT_FALSE(root.DoesNodeExist(WXPath(L"w"))) << "refused before anything was made";
}

TEST(XmlNodeEnsure, VeryLongPathsNeedNoDeepStack) {
    WXmlDoc doc = Parse(L"<r/>");
    std::wstring path;
    for (int i = 0; i < 3000; ++i)
        path += L"n/";
    path += L"leaf";
    WXmlNode leaf = doc.GetRootNode().EnsureDescendantExists(WXPath(path.c_str()));
    EXPECT_EQ(leaf.GetName(), L"leaf");
    int depth = 0;
    for (WXmlNode n = leaf; n.IsValid() && n.GetName() != L"#document"; n = n.GetParentNode())
        ++depth;
    EXPECT_EQ(depth, 3002);
}

TEST(XmlNodeEdit, CreateChildDropsClausesAndSetsText) {
    WXmlDoc doc = Parse(L"<r/>");
    WXmlNode root = doc.GetRootNode();
    root.CreateChild(L"item[@id='1']", nullptr);
    root.CreateChild(L"a/b/leaf[1][x]", L"t&<>");
    // A "]" before the "[" hides the clause from removal: the name stays invalid.
    EXPECT_THROW(root.CreateChild(L"odd]x[y]", nullptr), ComError);
    EXPECT_EQ(root.GetXML(), L"<r><item/><leaf>t&amp;&lt;&gt;</leaf></r>");
    EXPECT_THROW(root.CreateChild(L"", nullptr), ComError);
    EXPECT_THROW(root.CreateChild(L"a b", nullptr), ComError);
    EXPECT_THROW(root.CreateChild(L"ok", L"\x01"), ComError);
    EXPECT_EQ(root.GetNumChildren(), 2);
}

TEST(XmlNodeEdit, DeleteChildPrunesEverySelectedNode) {
    WXmlDoc doc = Parse(L"<r><x><x><x/></x></x><y a=\"1\" b=\"2\"/><x/></r>");
    WXmlNode root = doc.GetRootNode();
    WXmlNode inner = root.GetNode(WXPath(L"x/x"));
    root.DeleteChild(WXPath(L"//x")); // nested matches: ancestors and descendants
    EXPECT_EQ(root.GetXML(), L"<r><y a=\"1\" b=\"2\"/></r>");
    EXPECT_EQ(inner.GetXML(), L"<x/>") << "a pruned node stays usable";
    root.DeleteChild(WXPath(L"y/@a"));
    EXPECT_EQ(root.GetXML(), L"<r><y b=\"2\"/></r>");
    root.DeleteChild(WXPath(L"nothing"));
    root.GetNode(WXPath(L"y")).Attribute(L"@b").Delete();
    EXPECT_EQ(root.GetXML(), L"<r><y/></r>");
}

TEST(XmlNodeEdit, PruneGraftCloneAndGraftsFromAnotherDocument) {
    WXmlDoc doc = Parse(L"<r><a/><b/><c/></r>");
    WXmlNode root = doc.GetRootNode();
    WXmlNode a = root.GetNode(WXPath(L"a"));
    WXmlNode c = root.GetNode(WXPath(L"c"));
    a.Prune();
    EXPECT_EQ(root.GetXML(), L"<r><b/><c/></r>");
    EXPECT_FALSE(a.GetParentNode().IsValid());
    a.Prune(); // already detached
    root.Graft(a, 1);
    EXPECT_EQ(root.GetXML(), L"<r><b/><a/><c/></r>");
    root.Graft(c, 0);
    EXPECT_EQ(root.GetXML(), L"<r><c/><b/><a/></r>");
    root.Graft(c, 99);
    EXPECT_EQ(root.GetXML(), L"<r><b/><a/><c/></r>");
    WXmlNode b = root.GetNode(WXPath(L"b"));
    root.Graft(c, b);
    EXPECT_EQ(root.GetXML(), L"<r><c/><b/><a/></r>");
    root.Graft(c, WXmlNode());
    EXPECT_EQ(root.GetXML(), L"<r><b/><a/><c/></r>");
    b.Graft(c, -1);
    EXPECT_EQ(root.GetXML(), L"<r><b><c/></b><a/></r>");

    EXPECT_THROW(c.Graft(b, 0), ComError) << "a node under its own descendant";
    EXPECT_THROW(b.Graft(b, 0), ComError);
    EXPECT_THROW(root.Graft(a, c), ComError) << "c is not a child of the root";
    WXmlNode attr = root.GetNode(WXPath(L"b"));
    attr.Attribute(L"@k").SetInt(1);
    WXmlNode k = attr.GetNode(WXPath(L"@k"));
    EXPECT_THROW(root.Graft(k, 0), ComError) << "attributes are not children";
    WXmlNode docNode = root.GetNode(WXPath(L"/"));
    WXmlNode second = doc.CreateNode(L"second", nullptr);
    EXPECT_THROW(docNode.Graft(second, 0), ComError) << "one document element only";

    WXmlNode deep = b.Clone(true);
    WXmlNode shallow = attr.Clone(false);
    EXPECT_EQ(deep.GetXML(), L"<b k=\"1\"><c/></b>");
    EXPECT_EQ(shallow.GetXML(), L"<b k=\"1\"/>");
    root.Graft(deep, 0);
    EXPECT_EQ(root.GetXML(), L"<r><b k=\"1\"><c/></b><b k=\"1\"><c/></b><a/></r>");
    // A graft from another document moves a copy.
    WXmlDoc from = Parse(L"<s><m x=\"1\"><n/></m></s>");
    WXmlDoc to = Parse(L"<t/>");
    WXmlNode moving = from.GetRootNode().GetNode(WXPath(L"m"));
    WXmlNode original = moving;
    to.GetRootNode().Graft(moving, 0);
    EXPECT_EQ(to.GetRootNode().GetXML(), L"<t><m x=\"1\"><n/></m></t>");
    EXPECT_EQ(from.GetRootNode().GetXML(), L"<s/>");
    EXPECT_NE(moving, original);
    EXPECT_EQ(moving.GetOwnerDocument(), to);
    EXPECT_EQ(original.GetXML(), L"<m x=\"1\"><n/></m>");
}

TEST(XmlNodeInfo, NamesAttributesAndChildren) {
    WXmlDoc doc =
        Parse(L"<p:r xmlns:p=\"urn:p\" b=\"1\" p:a=\"2\" c=\"3\"><!--c--><![CDATA[x]]>t<e/></p:r>");
    WXmlNode root = doc.GetRootNode();
    EXPECT_EQ(root.GetName(), L"p:r");
    std::vector<CString> names;
    root.GetAttributes(names);
    EXPECT_EQ(names, (std::vector<CString>{L"b", L"p:a", L"c"}));
    EXPECT_EQ(root.GetNumChildren(), 4);
    EXPECT_EQ(root.GetNode(WXPath(L"comment()")).GetName(), L"#comment");
    EXPECT_EQ(root.GetNode(WXPath(L"text()[1]")).GetName(), L"#cdata-section");
    EXPECT_EQ(root.GetNode(WXPath(L"text()[2]")).GetName(), L"#text");
    EXPECT_EQ(root.GetNode(WXPath(L"/")).GetName(), L"#document");
    EXPECT_EQ(root.GetParentNode(), root.GetNode(WXPath(L"/")));
    WXmlNode target = root.GetNode(WXPath(L"e"));
    target.CopyAttributeFrom(root, L"@c", L"@copied");
    EXPECT_EQ(target.Attribute(L"@copied").GetString(), L"3");
    target.CopyAttributeFrom(root, L"@absent", L"@copied");
    EXPECT_TRUE(target.Attribute(L"@copied").Exists());
    EXPECT_TRUE(target.Attribute(L"@copied").IsEmpty());
    target.CopyAttributeFrom(root, L"@absent", L"@other");
    EXPECT_FALSE(target.Attribute(L"@other").Exists());
}

} // namespace
