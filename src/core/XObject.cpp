#include "KVDbase/core/XObject.h"

#include "core/XMapSP.h"

// The table is built after the string pools and before every record, so
// that records in any translation unit find it ready when they register.
XMapSP XObject::RTCMap __attribute__((init_priority(102))) (10);

XRuntimeClass::XRuntimeClass()
    : lpszClassName(""), nObjectSize(0), nSchema(1), pfnCreateObject(nullptr), pBaseClass(nullptr)
{
}

XRuntimeClass::XRuntimeClass(const char* lpszClassName, int nObjectSize, unsigned int nSchema,
                             XObject* (*pfnCreateObject)(), const XRuntimeClass* pBaseClass)
    : lpszClassName(lpszClassName), nObjectSize(nObjectSize), nSchema(nSchema),
      pfnCreateObject(pfnCreateObject), pBaseClass(pBaseClass)
{
    XObject::RTCMap[lpszClassName] = this;
}

XObject* XRuntimeClass::CreateObject() const
{
    if (pfnCreateObject == nullptr)
        return nullptr;
    try {
        return pfnCreateObject();
    } catch (...) {
        return nullptr;
    }
}

BOOL XRuntimeClass::IsDerivedFrom(const XRuntimeClass* p) const
{
    for (const XRuntimeClass* pClass = this; pClass != nullptr; pClass = pClass->pBaseClass)
        if (pClass == p)
            return 1;
    return 0;
}

const XRuntimeClass XObject::rtcXObject __attribute__((init_priority(103)))
    ("XObject", static_cast<int>(sizeof(XObject)), 1, &XObject::CreateObject, nullptr);

XObject::~XObject() = default;

const XRuntimeClass* XObject::GetRuntimeClassStatic()
{
    return &rtcXObject;
}

const XRuntimeClass* XObject::GetRuntimeClass() const
{
    return &rtcXObject;
}

XObject* XObject::CreateObject()
{
    return new XObject;
}

BOOL XObject::IsKindOf(const XRuntimeClass* pClass) const
{
    return GetRuntimeClass()->IsDerivedFrom(pClass);
}
