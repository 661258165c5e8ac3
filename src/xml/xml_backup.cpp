// WXmlDoc::Backup and Restore through a temporary file that the backup object owns.
#include "doc_state.h"
#include "xml_runtime.h"

#include "platform/file_system.h"

using namespace TlvUtl::xml_detail;

namespace {

class XmlFileBackup final : public TlvUtl::WDataBackup {
public:
    explicit XmlFileBackup(std::wstring path) : path_(std::move(path)) {}
    ~XmlFileBackup() override { tlv::platform::Remove(path_); }
    const std::wstring& Path() const { return path_; }

private:
    std::wstring path_;
};

} // namespace

TlvUtl::WDataBackup* WXmlDoc::Backup() {
    std::wstring path;
    if (const std::error_code ec = tlv::platform::CreateTempFile("tlvutl-backup-", ".xml", path)) {
        SetLastXmlError("cannot create a temporary file: " + tlv::platform::Describe(ec));
        return nullptr;
    }
    auto backup = std::make_unique<XmlFileBackup>(path);
    if (!Save(path.c_str()))
        return nullptr; // the file goes with the backup object
    return backup.release();
}

void WXmlDoc::Restore(const TlvUtl::WDataBackup* backup) {
    if (const auto* file = dynamic_cast<const XmlFileBackup*>(backup))
        Load(file->Path().c_str());
}
