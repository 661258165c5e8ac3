// The paper catalogue's life: the singleton, loading "PaperTypes.xml" section by section,
// choosing the pageset, and writing the catalogue back at shut-down.
#include <tlvutl/folders.h>
#include <tlvutl/locale.h>
#include <tlvutl/paper.h>

#include "platform/file_system.h"

#include <algorithm>
#include <mutex>

namespace {

const wchar_t kFileName[] = L"PaperTypes.xml";

std::mutex g_instanceMutex;
CPaperTypeMgr* g_instance = nullptr;

// A missing user copy comes from the installation. A copy that fails leaves no file, and the
// load that follows fails as for any missing file.
void CopyFromInstallationIfMissing(const CString& userPath) {
    if (tlv::platform::IsRegularFile(userPath.view()))
        return;
    const CString configDir = INIGetConfigDir();
    if (configDir.IsEmpty())
        return;
    std::string bytes;
    if (!tlv::platform::ReadWholeFile((configDir + kFileName).str(), bytes))
        tlv::platform::WriteFileAtomically(userPath.str(), bytes);
}

// Replaces the child element called name by a new, empty one in the same place (at the end
// when there was none) and returns the new element.
WXmlNode ReplaceChild(WXmlDoc& doc, WXmlNode& parent, const wchar_t* name) {
    WXmlNode fresh = doc.CreateNode(name, nullptr);
    WXmlNode old = parent.GetNodeNoThrow(WXPath(name));
    parent.Graft(fresh, old);
    if (old.IsValid())
        old.Prune();
    return fresh;
}

// An XPath literal for text; false when the text holds both kinds of quote.
bool Quote(const CString& text, CString& literal) {
    if (text.Find(L'\'') < 0) {
        literal = L"'" + text + L"'";
        return true;
    }
    if (text.Find(L'"') < 0) {
        literal = L"\"" + text + L"\"";
        return true;
    }
    return false;
}

std::vector<__int64> ReadIds(WXmlDoc& doc, const CString& path) {
    std::vector<__int64> ids;
    for (WXmlNode node : doc.GetNodes(WXPath(path))) {
        const TlvUtils::optional<__int64> id = node.Value().Get<__int64>();
        if (id.HasValue())
            ids.push_back(id.Value());
    }
    return ids;
}

} // namespace

CPaperTypeMgr::CPaperTypeMgr() = default;
CPaperTypeMgr::~CPaperTypeMgr() = default;
CPaperTypeMgr::CPaperTypeMgr(const CPaperTypeMgr& other) = default;
CPaperTypeMgr& CPaperTypeMgr::operator=(const CPaperTypeMgr& other) = default;

CPaperTypeMgr* CPaperTypeMgr::GetInstance() {
    std::lock_guard<std::mutex> guard(g_instanceMutex);
    if (!g_instance) {
        g_instance = new CPaperTypeMgr();
        g_instance->Initialize();
    }
    return g_instance;
}

void CPaperTypeMgr::Shutdown() {
    std::lock_guard<std::mutex> guard(g_instanceMutex);
    if (!g_instance)
        return;
    g_instance->Uninitialize();
    delete g_instance;
    g_instance = nullptr;
}

bool CPaperTypeMgr::Initialize() {
    predefined_.clear();
    custom_.clear();
    order_.clear();
    mru_.clear();
    loaded_ = false;
    path_ = GetUserProfileConfigDir() + kFileName;
    CopyFromInstallationIfMissing(path_);
    doc_ = WXmlDoc();
    if (!doc_.Load(path_) || doc_.GetRootNode().GetName() != L"PageSizes") {
        doc_.ReleaseDocument();
        return false;
    }
    // The XML layer throws only for paths it cannot evaluate; a file that makes it do so is
    // as unusable as one that does not parse.
    try {
        pagesetSystem_ = HelperPagesetSystem();
        pagesetPath_ = GetPagesetPath();
        LoadPredefinedPapers();
        LoadPaperOrder();
        LoadCustomPapers();
        LoadMRUList();
    } catch (...) {
        predefined_.clear();
        custom_.clear();
        order_.clear();
        mru_.clear();
        doc_.ReleaseDocument();
        return false;
    }
    loaded_ = true;
    return true;
}

void CPaperTypeMgr::Uninitialize() {
    if (!loaded_)
        return;
    // A document the XML layer failed to update halfway is not written over the file.
    try {
        SavePredefinedPapers();
        SaveCustomPapers();
        SaveMRUList();
        doc_.Save(path_);
    } catch (...) {
    }
    doc_.ReleaseDocument();
    loaded_ = false;
}

CString CPaperTypeMgr::HelperPagesetSystem() {
    const GEOID geo = TlvUtl::Win32::GetUserGeoID(GEOCLASS_NATION);
    for (WXmlNode locale : doc_.GetNodes(WXPath(L"/PageSizes/locales/*"))) {
        const TlvUtils::optional<int> id = locale.Attribute(L"@geoid").Get<int>();
        if (!id.HasValue() || id.Value() != geo)
            continue;
        CString system = locale.Value().GetString(L"");
        system.Trim();
        CString literal;
        if (!system.IsEmpty() && Quote(system, literal))
            return system;
    }
    wchar_t measure[8] = L"";
    const bool known =
        TlvUtl::Win32::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_IMEASURE, measure, 8) > 0;
    return known && CString(measure) == L"1" ? L"imperial" : L"metric";
}

CString CPaperTypeMgr::GetPagesetPath() {
    CString literal;
    Quote(HelperPagesetSystem(), literal);
    return L"/PageSizes/pageset[@system=" + literal + L"]";
}

void CPaperTypeMgr::LoadPredefinedPapers() {
    for (WXmlNode node : doc_.GetNodes(WXPath(L"/PageSizes/sizes/*"))) {
        PaperTypeInformation info;
        if (ReadPaper(node, info, false))
            predefined_.push_back(info);
    }
}

void CPaperTypeMgr::LoadPaperOrder() {
    order_ = ReadIds(doc_, pagesetPath_ + L"/order/*");
}

void CPaperTypeMgr::LoadCustomPapers() {
    for (WXmlNode node : doc_.GetNodes(WXPath(L"/PageSizes/CustomPageSizes/*"))) {
        PaperTypeInformation info;
        if (ReadPaper(node, info, true))
            AddCustomPaper(info, true);
    }
}

void CPaperTypeMgr::LoadMRUList() {
    mru_.clear();
    const std::vector<__int64> ids = ReadIds(doc_, pagesetPath_ + L"/mru/*");
    // Oldest first, so the first id of the file ends up first.
    for (auto it = ids.rbegin(); it != ids.rend(); ++it)
        AddMRUItem(*it);
}

void CPaperTypeMgr::SavePredefinedPapers() {
    WXmlNode root = doc_.GetRootNode();
    WXmlNode sizes = ReplaceChild(doc_, root, L"sizes");
    for (const PaperTypeInformation& info : predefined_) {
        WXmlNode size = sizes.CreateChild(L"size", nullptr);
        WritePaper(info, size, false);
    }
}

void CPaperTypeMgr::SaveCustomPapers() {
    WXmlNode root = doc_.GetRootNode();
    WXmlNode sizes = ReplaceChild(doc_, root, L"CustomPageSizes");
    for (const PaperTypeInformation& info : custom_) {
        WXmlNode size = sizes.CreateChild(L"size", nullptr);
        WritePaper(info, size, true);
    }
}

void CPaperTypeMgr::SaveMRUList() {
    WXmlNode root = doc_.GetRootNode();
    WXmlNode pageset;
    if (!root.GetNode(WXPath(pagesetPath_), pageset)) {
        if (mru_.empty())
            return; // no pageset to keep an empty list in: the file stays as it was
        pageset = doc_.CreateNode(L"pageset", nullptr);
        pageset.Attribute(L"@system").SetString(pagesetSystem_);
        root.Graft(pageset, -1);
    }
    WXmlNode mru = ReplaceChild(doc_, pageset, L"mru");
    for (__int64 id : mru_) {
        CString text;
        text.Format(L"%I64d", id);
        mru.CreateChild(L"page", text);
    }
}
