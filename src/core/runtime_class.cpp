#include <tlvutl/runtime_class.h>

bool CRuntimeClass::IsDerivedFrom(const CRuntimeClass* base) const {
    for (const CRuntimeClass* c = this; c; c = c->m_pBaseClass)
        if (c == base)
            return true;
    return false;
}

CObject::~CObject() = default;

const CRuntimeClass CObject::classCObject = {"CObject", nullptr, nullptr};

const CRuntimeClass* CObject::GetRuntimeClass() const {
    return &classCObject;
}
