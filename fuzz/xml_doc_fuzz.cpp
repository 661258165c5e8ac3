// Arbitrary bytes as a settings document plus a path: loading must accept or refuse them
// without crashing, hanging or leaking; what loads must survive selections, typed reads and
// edits, and its text must load again (nothing the layer writes is unreadable).
//
// Input: the first line is a path, the rest the document.
#include <tlvutl/com_error.h>
#include <tlvutl/encoding.h>
#include <tlvutl/stream.h>
#include <tlvutl/xml.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void Read(WXmlNode node) {
    unsigned char bytes[16];
    for (const wchar_t* selector : {L".", L"@id", L"@v"}) {
        WXmlValueAccessor a = node.Attribute(selector);
        a.GetInt(0);
        a.GetIntPtr(0);
        a.GetDouble(0);
        a.GetBool(false);
        a.GetRect(CRect());
        a.GetPoint(CPoint());
        a.IsEmpty();
        try {
            a.GetBinary(bytes, sizeof bytes);
        } catch (const ComError&) {
        }
    }
}

template <class F> void Guarded(F&& f) {
    try {
        f();
    } catch (const ComError&) {
    } catch (const WXmlValueTypeNotFoundException&) {
    } catch (int) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t eol = input.find('\n');
    const std::wstring path =
        TlvUtils::FromUtf8(eol == std::string::npos ? std::string() : input.substr(0, eol));
    const std::string text = eol == std::string::npos ? input : input.substr(eol + 1);

    TlvUtils::MemoryStream stream(text);
    WXmlDoc doc;
    if (!doc.Load(&stream))
        return 0;
    WXmlNode root = doc.GetRootNode();
    for (const wchar_t* p : {L"//*", L"*/@*", L"//text()", L"/*"})
        Guarded([&] {
            for (WXmlNode n : root.GetNodes(WXPath(p)))
                Read(n);
        });
    Guarded([&] {
        for (WXmlNode n : root.GetNodes(WXPath(path.c_str())))
            Read(n);
    });
    Guarded([&] { root.EnsureDescendantExists(WXPath(path.c_str())).Value().SetInt(7); });
    Guarded([&] { root.Attribute(L"@v").SetDouble(-0.5); });
    Guarded([&] {
        const unsigned char blob[] = {1, 2, 3};
        root.Value().SetBinary(blob, sizeof blob);
    });
    Guarded([&] { root.DeleteChild(WXPath(path.c_str())); });

    WXmlDoc again;
    if (doc.IsLoaded() && !again.LoadFromString(doc.SaveToString()))
        std::abort(); // the layer wrote text it cannot read back
    return 0;
}
