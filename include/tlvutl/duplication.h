// Copying graphs of objects without copying a shared object twice.
//
// Every copyable object implements IDuplicatable. A copy operation carries one duplication
// context, which remembers for each source object already copied its copy: as a plain
// pointer (not owned by the context), or as a shared pointer when the copy is shared-owned
// (the context holds it until it is destroyed). An object reached a second time asks the
// context first and links to the copy made the first time. The last mapping of a source
// wins. A context belongs to one copy operation on one thread.
#ifndef TLVUTL_DUPLICATION_H
#define TLVUTL_DUPLICATION_H

#include <tlvutl/export.h>

#include <map>
#include <memory>

namespace TlvUtl {

class IDuplicationContext;

// An object that can copy itself within a duplication context, in one or both forms.
class TLVUTL_API IDuplicatable {
public:
    // A new copy owned by the caller, or null when the object is not copied this way.
    virtual IDuplicatable* Duplicate(IDuplicationContext* context) const = 0;
    // A new shared-owned copy, or an empty pointer.
    virtual std::shared_ptr<IDuplicatable> DuplicatePtr(IDuplicationContext* context) = 0;
    virtual ~IDuplicatable();
};

// Defaults for classes that support only one of the two forms: null and an empty pointer.
class TLVUTL_API Duplicatable : public IDuplicatable {
public:
    IDuplicatable* Duplicate(IDuplicationContext* context) const override;
    std::shared_ptr<IDuplicatable> DuplicatePtr(IDuplicationContext* context) override;
};

// Remembers, during one copy operation, the copy made of each source object.
class TLVUTL_API IDuplicationContext {
public:
    // True when referenced objects are copied too, false when the copy shares them.
    virtual bool IsDeepCopy() const = 0;
    // Maps source to copy; returns the context for chaining.
    virtual IDuplicationContext& MapInstance(const IDuplicatable* source, IDuplicatable* copy) = 0;
    // Maps source to a shared copy, which plain look-ups find as well.
    virtual IDuplicationContext& MapPtrInstance(const IDuplicatable* source,
                                                std::shared_ptr<IDuplicatable> copy) = 0;
    // The copy of source, or null when it was never mapped.
    virtual IDuplicatable* FindMappedInstance(const IDuplicatable* source) const = 0;
    // The shared copy of source, or an empty pointer when it has no shared mapping (also
    // when it has only a plain one).
    virtual std::shared_ptr<IDuplicatable>
    FindMappedPtrInstance(const IDuplicatable* source) const = 0;
    virtual ~IDuplicationContext();
};

// The map behind a context, keyed by the source object's address.
class TLVUTL_API DuplicationContextImpl {
public:
    // Record a plain or shared mapping and look one up, as the IDuplicationContext calls of the
    // same names describe.
    // @{
    void MapInstance(const IDuplicatable* source, IDuplicatable* copy);
    void MapPtrInstance(const IDuplicatable* source, std::shared_ptr<IDuplicatable> copy);
    IDuplicatable* FindMappedInstance(const IDuplicatable* source) const;
    std::shared_ptr<IDuplicatable> FindMappedPtrInstance(const IDuplicatable* source) const;
    // @}

private:
    std::map<const IDuplicatable*, IDuplicatable*> plain_;
    std::map<const IDuplicatable*, std::shared_ptr<IDuplicatable>> shared_;
};

// The ready context: a deep copy over DuplicationContextImpl.
class TLVUTL_API DuplicationContext : public IDuplicationContext, private DuplicationContextImpl {
public:
    // True: the context makes deep copies.
    bool IsDeepCopy() const override;
    IDuplicationContext& MapInstance(const IDuplicatable* source, IDuplicatable* copy) override;
    IDuplicationContext& MapPtrInstance(const IDuplicatable* source,
                                        std::shared_ptr<IDuplicatable> copy) override;
    IDuplicatable* FindMappedInstance(const IDuplicatable* source) const override;
    std::shared_ptr<IDuplicatable>
    FindMappedPtrInstance(const IDuplicatable* source) const override;
};

} // namespace TlvUtl

#endif
