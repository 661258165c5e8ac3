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

struct TLVUTL_API CRuntimeClass {
    const char* m_lpszClassName;
    const CRuntimeClass* m_pBaseClass;
    CObject* (*m_pfnCreateObject)();

    // A new object of the class, or null when the class cannot be created dynamically.
    CObject* CreateObject() const { return m_pfnCreateObject ? m_pfnCreateObject() : nullptr; }
    bool IsDerivedFrom(const CRuntimeClass* base) const;
};

class TLVUTL_API CObject {
public:
    virtual ~CObject();
    virtual const CRuntimeClass* GetRuntimeClass() const;
    bool IsKindOf(const CRuntimeClass* cls) const { return GetRuntimeClass()->IsDerivedFrom(cls); }
    static const CRuntimeClass classCObject;
};

#define RUNTIME_CLASS(name) (&name::class##name)

#define TLVUTL_DECLARE_DYNCREATE(name)                                                             \
public:                                                                                            \
    static const CRuntimeClass class##name;                                                        \
    const CRuntimeClass* GetRuntimeClass() const override {                                        \
        return &class##name;                                                                       \
    }                                                                                              \
    static CObject* CreateObject();

#define TLVUTL_IMPLEMENT_DYNCREATE(name, base)                                                     \
    CObject* name::CreateObject() {                                                                \
        return new name;                                                                           \
    }                                                                                              \
    const CRuntimeClass name::class##name = {#name, RUNTIME_CLASS(base), &name::CreateObject};

#define TLVUTL_DECLARE_DYNAMIC(name)                                                               \
public:                                                                                            \
    static const CRuntimeClass class##name;                                                        \
    const CRuntimeClass* GetRuntimeClass() const override {                                        \
        return &class##name;                                                                       \
    }

#define TLVUTL_IMPLEMENT_DYNAMIC(name, base)                                                       \
    const CRuntimeClass name::class##name = {#name, RUNTIME_CLASS(base), nullptr};

#endif
