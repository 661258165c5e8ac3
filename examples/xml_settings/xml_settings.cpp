// Settings in XML: typed values written by path, saved, read back with defaults for what is
// missing. Paths are wide strings; the file name here has accents on purpose.
#include <tlvutl/encoding.h>
#include <tlvutl/xml.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

int main() {
    char folder[] = "/tmp/tlvutl-xml-XXXXXX";
    if (!mkdtemp(folder))
        return 1;
    const std::wstring file = TlvUtils::FromUtf8(folder) + L"/Réglages d'été.xml";

    {
        WXmlDoc doc;
        doc.LoadFromString(L"<settings/>");
        WXmlNode root = doc.GetRootNode();
        // Ensure creates the elements on the way, with the attribute the predicate asks for.
        WXmlNode view = root.EnsureDescendantExists(WXPath(L"window[@name='main']/view"));
        view.Attribute(L"@zoom").SetDouble(1.25);
        view.Attribute(L"@origin").SetPoint(CPoint(-40, 12));
        view.Attribute(L"@rulers").SetBool(true);
        view.Attribute(L"@title").SetString(L"Plan — étage 2");
        // A value equal to its default is not written at all.
        view.Attribute(L"@grid").SetInt(10, 10);
        if (!doc.Save(file.c_str())) {
            std::fprintf(stderr, "could not save the settings\n");
            return 1;
        }
        std::printf("saved: %s\n", doc.SaveToString().ToUtf8().c_str());
    }

    WXmlDoc doc;
    if (!doc.Load(file.c_str()))
        return 1;
    WXmlNode view = doc.GetRootNode().GetNode(WXPath(L"window[@name='main']/view"));
    const double zoom = view.Attribute(L"@zoom").GetDouble(1.0);
    const CPoint origin = view.Attribute(L"@origin").GetPoint(CPoint(0, 0));
    const bool rulers = view.Attribute(L"@rulers").GetBool(false);
    const int grid = view.Attribute(L"@grid").GetInt(10); // missing: the default
    const CString title = view.Attribute(L"@title").GetString(L"");
    std::printf("zoom %g, origin (%d, %d), rulers %d, grid %d, title \"%s\"\n", zoom,
                static_cast<int>(origin.x), static_cast<int>(origin.y), rulers, grid,
                title.ToUtf8().c_str());

    unlink(TlvUtils::ToUtf8(file).c_str());
    rmdir(folder);
    return zoom == 1.25 && origin == CPoint(-40, 12) && rulers && grid == 10 &&
                   title == L"Plan — étage 2"
               ? 0
               : 1;
}
