// A minimal run-time class record for dynamic creation: enough for code that is handed a
// class record and must create an object of that class (unit definitions, parser tokens).
//
// Declare with TLVUTL_DECLARE_DYNCREATE(Class) in the class and define with
// TLVUTL_IMPLEMENT_DYNCREATE(Class, Base) in one source file; RUNTIME_CLASS(Class) yields the
// record. CObject is the root; nothing else of a framework object model is offered.
#ifndef TLVUTL_RUNTIME_CLASS_H
#define TLVUTL_RUNTIME_CLASS_H

#include <tlvutl/export.h>

class CObject;

// The record of one class: its name, its base's record and its factory.
struct TLVUTL_API CRuntimeClass {
    // The class name as written in the source.
    const char* m_lpszClassName;
    // The base class's record; null for CObject.
    const CRuntimeClass* m_pBaseClass;
    // Creates an object with new; null for classes that cannot be created dynamically.
    CObject* (*m_pfnCreateObject)();

    // A new object of the class, or null when the class cannot be created dynamically.
    CObject* CreateObject() const { return m_pfnCreateObject ? m_pfnCreateObject() : nullptr; }
    // True when this class is base or derives from it.
    bool IsDerivedFrom(const CRuntimeClass* base) const;
};

// The root of the classes that have a run-time class record.
class TLVUTL_API CObject {
public:
    virtual ~CObject();
    // The record of the object's most derived class that declares one.
    virtual const CRuntimeClass* GetRuntimeClass() const;
    // True when the object's class is cls or derives from it.
    bool IsKindOf(const CRuntimeClass* cls) const { return GetRuntimeClass()->IsDerivedFrom(cls); }
    // The record of CObject itself.
    static const CRuntimeClass classCObject;
};

// The record of class name.
#define RUNTIME_CLASS(name) (&name::class##name)

// In a class body: declares the record class<name>, GetRuntimeClass and the static CreateObject
// (the class needs a default constructor). Leaves the access at public.
#define TLVUTL_DECLARE_DYNCREATE(name)                                                             \
public:                                                                                            \
    static const CRuntimeClass class##name;                                                        \
    const CRuntimeClass* GetRuntimeClass() const override {                                        \
        return &class##name;                                                                       \
    }                                                                                              \
    static CObject* CreateObject();

// In one source file: defines the record and factory that TLVUTL_DECLARE_DYNCREATE declared, with
// base as the base class.
#define TLVUTL_IMPLEMENT_DYNCREATE(name, base)                                                     \
    CObject* name::CreateObject() {                                                                \
        return new name;                                                                           \
    }                                                                                              \
    const CRuntimeClass name::class##name = {#name, RUNTIME_CLASS(base), &name::CreateObject};

// As TLVUTL_DECLARE_DYNCREATE, for a class that is not created dynamically (no factory).
#define TLVUTL_DECLARE_DYNAMIC(name)                                                               \
public:                                                                                            \
    static const CRuntimeClass class##name;                                                        \
    const CRuntimeClass* GetRuntimeClass() const override {                                        \
        return &class##name;                                                                       \
    }

// Defines the record that TLVUTL_DECLARE_DYNAMIC declared (its factory is null).
#define TLVUTL_IMPLEMENT_DYNAMIC(name, base)                                                       \
    const CRuntimeClass name::class##name = {#name, RUNTIME_CLASS(base), nullptr};

#endif
