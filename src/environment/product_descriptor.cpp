// The product identity from "AppBoxID.xml": looked for beside the installation's application
// folder, then in its Data folder; read once (again after the roots change).
#include <tlvutl/messages.h>
#include <tlvutl/xml.h>

#include "folder_roots.h"

#include <mutex>

namespace tlv::environment {
namespace {

// The default installation's values, used for anything the descriptor does not name.
ProductDescriptor Defaults() {
    return ProductDescriptor{
        L"Graphics Suite", L"Talvo Graphics Suite",   L"Talvo Graphics Suite",  L"Talvo",
        L"Graphics Suite", L"Graphics Suite Content", L"Graphics Suite Content"};
}

bool Read(const std::wstring& path, ProductDescriptor& out) {
    WXmlDoc doc;
    try {
        if (!doc.Load(path.c_str()))
            return false;
        WXmlNode root = doc.GetRootNode();
        const std::pair<const wchar_t*, std::wstring*> fields[] = {
            {L"ApplicationRegKey", &out.applicationRegKey},
            {L"UISuiteTitle", &out.uiSuiteTitle},
            {L"BoxName", &out.boxName},
            {L"UserPathDir", &out.userPathDir},
            {L"UserProductDir", &out.userProductDir},
            {L"UserContentDir", &out.userContentDir},
            {L"InstalledContentDir", &out.installedContentDir}};
        for (const auto& [name, field] : fields) {
            WXmlNode node;
            if (root.GetNode(WXPath(name), node)) {
                const CString text = node.Attribute(L".").GetString(L"");
                if (!text.IsEmpty())
                    *field = text.str();
            }
        }
        return true;
    } catch (...) {
        return false; // a damaged descriptor counts as missing
    }
}

std::mutex g_mutex;
unsigned g_generation = 0;
ProductDescriptor g_product;

} // namespace

ProductDescriptor Product() {
    std::lock_guard<std::mutex> g(g_mutex);
    if (g_generation == Generation())
        return g_product;
    ProductDescriptor p = Defaults();
    const std::wstring root = BundledInstallation();
    if (!Read(CombinePath(root, AppFolderName()) + L"AppBoxID.xml", p) &&
        !Read(root + L"Data/AppBoxID.xml", p))
        TlvUtl::GetMessageSink().ShowError(L"Failed to load the AppBoxID.xml file.");
    g_product = p;
    g_generation = Generation();
    return g_product;
}

} // namespace tlv::environment
