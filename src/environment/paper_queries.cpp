// Questions about the paper catalogue and edits of its custom papers and MRU list. Sizes
// compare exactly on their integers; the first match in catalogue order wins.
#include <tlvutl/paper.h>

#include <algorithm>

namespace {

bool SameSize(const PaperTypeInformation& paper, int width, int height, bool rotated) {
    return (paper.width == width && paper.height == height) ||
           (rotated && paper.width == height && paper.height == width);
}

__int64 FindBySize(const std::vector<PaperTypeInformation>& papers, int width, int height,
                   bool rotated) {
    for (std::size_t i = 0; i < papers.size(); ++i)
        if (SameSize(papers[i], width, height, rotated))
            return static_cast<__int64>(i);
    return -1;
}

__int64 FindById(const std::vector<PaperTypeInformation>& papers, __int64 id) {
    for (std::size_t i = 0; i < papers.size(); ++i)
        if (papers[i].type == id)
            return static_cast<__int64>(i);
    return -1;
}

bool ValidSize(const PaperTypeInformation& info) {
    return info.width >= 0 && info.height >= 0;
}

} // namespace

const PaperTypeInformation* CPaperTypeMgr::At(__int64 index) const {
    if (index < 0)
        return nullptr;
    const auto i = static_cast<std::size_t>(index);
    if (i < predefined_.size())
        return &predefined_[i];
    if (i - predefined_.size() < custom_.size())
        return &custom_[i - predefined_.size()];
    return nullptr;
}

__int64 CPaperTypeMgr::NextCustomId() const {
    __int64 highest = PAPER_FIRST_CUSTOM - 1;
    for (const PaperTypeInformation& paper : custom_)
        highest = std::max<__int64>(highest, paper.type);
    return highest + 1;
}

__int64 CPaperTypeMgr::GetCount() const {
    return static_cast<__int64>(predefined_.size() + custom_.size());
}

__int64 CPaperTypeMgr::GetPredefinedCount() const {
    return static_cast<__int64>(predefined_.size());
}

bool CPaperTypeMgr::GetPaperInfo(PaperType type, PaperTypeInformation& info) const {
    for (__int64 i = 0, n = GetCount(); i < n; ++i) {
        if (At(i)->type == type) {
            info = *At(i);
            return true;
        }
    }
    return false;
}

bool CPaperTypeMgr::GetPaperInfoAt(__int64 index, PaperTypeInformation& info) const {
    const PaperTypeInformation* paper = At(index);
    if (!paper)
        return false;
    info = *paper;
    return true;
}

bool CPaperTypeMgr::GetPaperInfo(PaperType type, int width, int height,
                                 PaperTypeInformation& info) const {
    for (__int64 i = 0, n = GetCount(); i < n; ++i) {
        const PaperTypeInformation& paper = *At(i);
        const bool candidate =
            type == PAPER_CUSTOM ? i >= GetPredefinedCount() : paper.type == type;
        if (candidate && SameSize(paper, width, height, true)) {
            info = paper;
            return true;
        }
    }
    return false;
}

bool CPaperTypeMgr::GetPaperName(PaperType type, CString& name) const {
    PaperTypeInformation info;
    if (!GetPaperInfo(type, info))
        return false;
    name = info.name;
    return true;
}

bool CPaperTypeMgr::GetPaperNameAt(__int64 index, CString& name) const {
    const PaperTypeInformation* paper = At(index);
    if (!paper)
        return false;
    name = paper->name;
    return true;
}

bool CPaperTypeMgr::GetPaperGUIDAt(__int64 index, CString& text) const {
    const PaperTypeInformation* paper = At(index);
    if (!paper)
        return false;
    text = paper->identifier;
    return true;
}

bool CPaperTypeMgr::IsHidden(__int64 id) const {
    const __int64 i = FindById(predefined_, id);
    return i >= 0 && predefined_[static_cast<std::size_t>(i)].hidden;
}

bool CPaperTypeMgr::FindCustomPaper(int width, int height, PaperTypeInformation& info) const {
    const __int64 i = FindBySize(custom_, width, height, false);
    if (i < 0)
        return false;
    info = custom_[static_cast<std::size_t>(i)];
    return true;
}

bool CPaperTypeMgr::FindPredefinedPaper(int width, int height, PaperTypeInformation& info) const {
    const __int64 i = FindBySize(predefined_, width, height, false);
    if (i < 0)
        return false;
    info = predefined_[static_cast<std::size_t>(i)];
    return true;
}

__int64 CPaperTypeMgr::FindCustomPaperIndex(const PaperTypeInformation& info) const {
    const __int64 i = FindBySize(custom_, info.width, info.height, false);
    return i < 0 ? -1 : GetPredefinedCount() + i;
}

__int64 CPaperTypeMgr::FindCustomPaperIndex(const wchar_t* name) const {
    if (!name)
        return -1;
    for (std::size_t i = 0; i < custom_.size(); ++i)
        if (custom_[i].name == name)
            return GetPredefinedCount() + static_cast<__int64>(i);
    return -1;
}

__int64 CPaperTypeMgr::FindPredefinedPaperIndex(const PaperTypeInformation& info,
                                                bool rotated) const {
    return FindBySize(predefined_, info.width, info.height, rotated);
}

bool CPaperTypeMgr::IsCustomPaper(const PaperTypeInformation& info, bool rotated) const {
    return FindBySize(custom_, info.width, info.height, rotated) >= 0;
}

bool CPaperTypeMgr::IsPredefinedPaper(const PaperTypeInformation& info, bool rotated) const {
    return FindPredefinedPaperIndex(info, rotated) >= 0;
}

bool CPaperTypeMgr::IsCustomPaper(PaperType type, int width, int height) const {
    for (const PaperTypeInformation& paper : predefined_)
        if (paper.type == type && SameSize(paper, width, height, true))
            return false;
    return true;
}

bool CPaperTypeMgr::AddCustomPaper(PaperTypeInformation& info, bool keepId) {
    if (!ValidSize(info)) {
        info.type = PAPER_CUSTOM;
        return false;
    }
    __int64 found = FindBySize(predefined_, info.width, info.height, false);
    if (found >= 0) {
        info = predefined_[static_cast<std::size_t>(found)];
        return false;
    }
    found = FindBySize(custom_, info.width, info.height, false);
    if (found >= 0) {
        info = custom_[static_cast<std::size_t>(found)];
        return false;
    }
    const bool idFree = info.type > PAPER_LAST_PREDEFINED && FindById(custom_, info.type) < 0;
    if (!keepId || !idFree) {
        const __int64 next = NextCustomId();
        info.type = GetTypeFromInt(next);
        if (info.type == PAPER_CUSTOM)
            return false; // ids exhausted: only a file crafted to reach 2^31 gets here
    }
    info.hidden = false;
    info.identifier = TlvUtl::PaperIdentifier(info.type);
    custom_.push_back(info);
    return true;
}

bool CPaperTypeMgr::UpdateCustomPaper(const PaperTypeInformation& info) {
    const __int64 i = FindById(custom_, info.type);
    if (i < 0 || !ValidSize(info))
        return false;
    for (__int64 j = 0, n = GetCount(); j < n; ++j) {
        const PaperTypeInformation& other = *At(j);
        if (other.type != info.type && SameSize(other, info.width, info.height, false))
            return false;
    }
    PaperTypeInformation& paper = custom_[static_cast<std::size_t>(i)];
    paper = info;
    paper.hidden = false;
    paper.identifier = TlvUtl::PaperIdentifier(paper.type);
    return true;
}

bool CPaperTypeMgr::DeletePaper(const PaperTypeInformation& info) {
    const __int64 i = FindById(custom_, info.type);
    if (i < 0)
        return false;
    custom_.erase(custom_.begin() + i);
    RemoveMRUItem(info.type);
    return true;
}

std::vector<__int64> CPaperTypeMgr::GetPaperOrder() const {
    return order_;
}

std::vector<__int64> CPaperTypeMgr::GetMRUList() const {
    return mru_;
}

void CPaperTypeMgr::AddMRUItem(__int64 id) {
    RemoveMRUItem(id);
    mru_.insert(mru_.begin(), id);
    if (mru_.size() > static_cast<std::size_t>(maxMru_))
        mru_.resize(static_cast<std::size_t>(maxMru_));
}

void CPaperTypeMgr::RemoveMRUItem(__int64 id) {
    mru_.erase(std::remove(mru_.begin(), mru_.end(), id), mru_.end());
}

int CPaperTypeMgr::GetMaxMRUSize() const {
    return maxMru_;
}

void CPaperTypeMgr::SetMaxMRUSize(int size) {
    maxMru_ = std::max(size, 0);
    if (mru_.size() > static_cast<std::size_t>(maxMru_))
        mru_.resize(static_cast<std::size_t>(maxMru_));
}
