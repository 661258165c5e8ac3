// tlvutl xml: reads and changes settings files by path, for scripts.
//
// Paths are XPath from the document ("/settings/paper[@name='A4']/@width", or without the
// leading "/"). Changes are saved in place, atomically, under the lock every writer of
// settings files takes, held from the read to the replacement so that processes changing
// one file at once lose nothing. White space and the lack of an XML declaration are kept:
// only the changed node's text differs (new elements are written compactly). Exit status:
// 0 done, 1 the file, path or operation failed (with a message on stderr), 2 bad usage.
#include "command.h"

#include <tlvutl/com_error.h>
#include <tlvutl/encoding.h>
#include <tlvutl/xml.h>

#include <iostream>

namespace tlvtool {
namespace {

const Command& Self() {
    return CommandNamed("xml");
}

CString Wide(const std::string& s) {
    return CString(TlvUtils::FromUtf8(s));
}

int Fail(const std::string& message) {
    std::cerr << "tlvutl xml: " << message << "\n";
    return kFailed;
}

bool Open(const std::string& file, WXmlDoc& doc) {
    if (doc.Load(Wide(file)))
        return true;
    Fail("cannot load " + file + ": " + TlvUtl::XmlLastError().ToUtf8());
    return false;
}

int Save(WXmlDoc& doc, const std::string& file) {
    if (doc.Save(Wide(file)))
        return kOk;
    return Fail("cannot save " + file + ": " + TlvUtl::XmlLastError().ToUtf8());
}

// The document node: paths start there, so "settings/x" and "/settings/x" name the same.
WXmlNode DocumentNode(WXmlDoc& doc) {
    return doc.GetRootNode().GetNode(WXPath(L"/"));
}

// The document node is the context, so a leading "/" adds nothing; without it, making a
// missing absolute path would start from an empty step.
WXPath FromDocument(const std::string& path) {
    const bool single = path.size() > 1 && path[0] == '/' && path[1] != '/';
    return WXPath(Wide(single ? path.substr(1) : path));
}

int Get(const std::string& file, const std::string& path) {
    WXmlDoc doc;
    if (!Open(file, doc))
        return kFailed;
    const WXmlNodeList found = DocumentNode(doc).GetNodes(WXPath(Wide(path)));
    if (found.Count() == 0)
        return Fail("nothing matches " + path + " in " + file);
    for (WXmlNode node : found)
        std::cout << node.Value().GetString(L"").ToUtf8() << "\n";
    return kOk;
}

// Loads the file for a change, with its white space, under the file's lock; edit returns
// whether to save. The lock is held until the file is replaced.
template <class Edit> int Change(const std::string& file, Edit edit) {
    TlvUtl::XmlFileLock lock(Wide(file));
    if (!lock.Locked())
        return Fail("cannot lock " + file + ": its folder cannot be opened");
    WXmlDoc doc(true);
    if (!Open(file, doc))
        return kFailed;
    return edit(doc) ? Save(doc, file) : kOk;
}

int Set(const std::string& file, const std::string& path, const std::string& value) {
    return Change(file, [&](WXmlDoc& doc) {
        DocumentNode(doc).EnsureDescendantExists(FromDocument(path)).Value().SetString(Wide(value));
        return true;
    });
}

int Ensure(const std::string& file, const std::string& path) {
    return Change(file, [&](WXmlDoc& doc) {
        const WXmlNode node = DocumentNode(doc).EnsureDescendantExists(FromDocument(path));
        std::cout << node.GetXML().ToUtf8() << "\n";
        return true;
    });
}

int Delete(const std::string& file, const std::string& path) {
    return Change(file, [&](WXmlDoc& doc) {
        WXmlNode top = DocumentNode(doc);
        const int count = top.GetNodes(WXPath(Wide(path))).Count();
        top.DeleteChild(WXPath(Wide(path)));
        std::cout << "deleted " << count << (count == 1 ? " node\n" : " nodes\n");
        return count > 0;
    });
}

int Validate(const std::string& file, const std::string& schema) {
    WXmlDoc doc;
    if (!Open(file, doc))
        return kFailed;
    if (!doc.Validate(Wide(schema)))
        return Fail(file + " is not valid against " + schema + ": " +
                    TlvUtl::XmlLastError().ToUtf8());
    std::cout << file << " is valid\n";
    return kOk;
}

int Transform(const std::string& file, const std::string& stylesheet, const std::string* out) {
    WXmlDoc doc, style;
    if (!Open(file, doc) || !Open(stylesheet, style))
        return kFailed;
    if (!doc.ApplyXSLT(style))
        return Fail("cannot transform " + file + " with " + stylesheet + ": " +
                    TlvUtl::XmlLastError().ToUtf8());
    if (out)
        return Save(doc, *out);
    std::cout << doc.SaveToString().ToUtf8();
    return kOk;
}

int RunXmlOperation(const Args& a) {
    const std::size_t n = a.size();
    const std::string op = n ? a[0] : "";
    if (op == "get" && n == 3)
        return Get(a[1], a[2]);
    if (op == "set" && n == 4)
        return Set(a[1], a[2], a[3]);
    if (op == "ensure" && n == 3)
        return Ensure(a[1], a[2]);
    if (op == "delete" && n == 3)
        return Delete(a[1], a[2]);
    if (op == "validate" && n == 3)
        return Validate(a[1], a[2]);
    if (op == "transform" && (n == 3 || n == 4))
        return Transform(a[1], a[2], n == 4 ? &a[3] : nullptr);
    return UsageError(Self(),
                      op.empty() ? "expected an operation" : "wrong arguments for '" + op + "'");
}

} // namespace

int RunXml(const Args& args) {
    try {
        return RunXmlOperation(args);
    } catch (int) {
        return Fail("the path names nothing that can be made");
    } catch (const WXmlValueTypeNotFoundException& e) {
        return Fail("no " + e.GetMessage().ToUtf8() + " value there");
    }
}

} // namespace tlvtool
