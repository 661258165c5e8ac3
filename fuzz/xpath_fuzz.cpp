// Arbitrary text as a path and a clause: every WXPath operation must finish, whatever the
// brackets, slashes and relative steps; selecting and creating by the path in a small
// settings document must succeed or throw the library's errors, nothing else.
#include <tlvutl/com_error.h>
#include <tlvutl/encoding.h>
#include <tlvutl/xml.h>

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::wstring input =
        TlvUtils::FromUtf8(std::string(reinterpret_cast<const char*>(data), size));
    const std::size_t split = input.find(L'\n');
    const std::wstring text = input.substr(0, split);
    const std::wstring clause = split == std::wstring::npos ? L"" : input.substr(split + 1);

    WXPath path(text.c_str());
    const int len = static_cast<int>(text.size());
    for (int start : {-1, 0, 1, 2, len / 2, len - 1, len})
        path.FindSeparator(start);
    path.ReverseFindSeparator(len);
    path.GetRoot();
    path.GetChildOfRoot();
    path.GetLeaf();
    path.GetParentOfLeaf();
    CString c;
    for (int i = -1; i < 6; ++i)
        path.GetFilterClause(i, c);

    WXPath added = path;
    added.AddFilterClause(clause.c_str());
    added.RemoveFilterClause(clause.c_str());
    WXPath normal = path;
    normal.Normalize();
    normal.Normalize();
    added.Normalize();

    WXmlDoc doc = WXmlDoc::CreateFromString(
        L"<settings v='1'><paper id='1' w='2100000'>A4<size>(3,4)</size></paper>"
        L"<paper id='2'/><units><unit name='mm'/></units></settings>");
    WXmlNode root = doc.GetRootNode();
    for (const WXPath& p : {path, normal, added}) {
        try {
            for (WXmlNode n : root.GetNodes(p))
                n.GetName();
            root.DoesNodeExist(p);
            root.EnsureDescendantExists(p).Value().SetString(L"x");
        } catch (const ComError&) {
        } catch (const WXmlValueTypeNotFoundException&) {
        } catch (int) {
        }
    }
    return 0;
}
