#include <tlvutl/duplication.h>

#include <utility>

namespace TlvUtl {

IDuplicatable::~IDuplicatable() = default;

IDuplicatable* Duplicatable::Duplicate(IDuplicationContext*) const {
    return nullptr;
}

std::shared_ptr<IDuplicatable> Duplicatable::DuplicatePtr(IDuplicationContext*) {
    return {};
}

IDuplicationContext::~IDuplicationContext() = default;

void DuplicationContextImpl::MapInstance(const IDuplicatable* source, IDuplicatable* copy) {
    plain_[source] = copy;
}

void DuplicationContextImpl::MapPtrInstance(const IDuplicatable* source,
                                            std::shared_ptr<IDuplicatable> copy) {
    // Plain look-ups must find shared copies too.
    MapInstance(source, copy.get());
    shared_[source] = std::move(copy);
}

IDuplicatable* DuplicationContextImpl::FindMappedInstance(const IDuplicatable* source) const {
    const auto found = plain_.find(source);
    return found == plain_.end() ? nullptr : found->second;
}

std::shared_ptr<IDuplicatable>
DuplicationContextImpl::FindMappedPtrInstance(const IDuplicatable* source) const {
    const auto found = shared_.find(source);
    return found == shared_.end() ? nullptr : found->second;
}

bool DuplicationContext::IsDeepCopy() const {
    return true;
}

IDuplicationContext& DuplicationContext::MapInstance(const IDuplicatable* source,
                                                     IDuplicatable* copy) {
    DuplicationContextImpl::MapInstance(source, copy);
    return *this;
}

IDuplicationContext& DuplicationContext::MapPtrInstance(const IDuplicatable* source,
                                                        std::shared_ptr<IDuplicatable> copy) {
    DuplicationContextImpl::MapPtrInstance(source, std::move(copy));
    return *this;
}

IDuplicatable* DuplicationContext::FindMappedInstance(const IDuplicatable* source) const {
    return DuplicationContextImpl::FindMappedInstance(source);
}

std::shared_ptr<IDuplicatable>
DuplicationContext::FindMappedPtrInstance(const IDuplicatable* source) const {
    return DuplicationContextImpl::FindMappedPtrInstance(source);
}

} // namespace TlvUtl
