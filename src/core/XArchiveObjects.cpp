// The object graph in an archive: references by tag and index, class records,
// class-hierarchy blocks and stored schemas. Objects and class records share
// one numbering; index 0 is the null pointer.
#include "KVDbase/core/XArchive.h"

#include "KVDbase/collections/XMap.h"
#include "KVDbase/collections/XArray.h"
#include "KVDbase/core/XFrameworkException.h"
#include "core/XMapSP.h"

#include <cstring>

namespace {

enum : BYTE {
    kTagNull = 0,
    kTagNewClass = 1,
    kTagKnownClass = 2,
    kTagKnownObject = 3,
    kTagNewHierarchy = 4,
};

inline void* Key(const void* p)
{
    return const_cast<void*>(p);
}

inline DWORD IndexOf(void* pValue)
{
    return static_cast<DWORD>(reinterpret_cast<uintptr_t>(pValue));
}

inline void* ValueOf(DWORD nIndex)
{
    return reinterpret_cast<void*>(static_cast<uintptr_t>(nIndex));
}

} // namespace

// -------------------------------------------------------- class records

void XRuntimeClass::Store(XArchive& ar) const
{
    WORD nLen = static_cast<WORD>(std::strlen(lpszClassName));
    ar << static_cast<DWORD>(nSchema);
    ar << nLen;
    ar.Write(lpszClassName, nLen);
}

XRuntimeClass* XRuntimeClass::Load(XArchive& ar, unsigned int& nSchema)
{
    DWORD nStoredSchema;
    WORD nLen;
    ar >> nStoredSchema;
    ar >> nLen;
    char szClassName[64];
    if (nLen >= sizeof(szClassName) || ar.Read(szClassName, nLen) != nLen)
        return nullptr;
    szClassName[nLen] = '\0';
    void* pClass = nullptr;
    if (!XObject::RTCMap.Lookup(szClassName, pClass))
        return nullptr;
    nSchema = nStoredSchema;
    return static_cast<XRuntimeClass*>(pClass);
}

void XObject::Serialize(XArchive& ar)
{
    if (ar.IsStoring())
        ar.WriteRuntimeClassHierachy(GetRuntimeClass());
    else
        ar.ReadRuntimeClassHierachy(const_cast<XRuntimeClass*>(GetRuntimeClass()));
}

// ---------------------------------------------------------- the tables

void XArchive::CheckCount()
{
    if (nMapCount >= nMaxMapCount)
        XArchiveException::Throw(XArchiveException::badIndex, strFileName);
}

void XArchive::MapObject(const XObject* pOb)
{
    if (IsStoring()) {
        if (pObjectTable == nullptr) {
            XMapPtrToPtr* pMap = new XMapPtrToPtr(nGrowSize);
            pObjectTable = pMap;
            pMap->InitHashTable(static_cast<UINT>(nHashSize), 1);
            pMap->SetAt(nullptr, ValueOf(0));
            nMapCount = 1;
        }
        if (pOb != nullptr) {
            CheckCount();
            (*StoreMap())[Key(pOb)] = ValueOf(nMapCount++);
        }
    } else {
        if (pObjectTable == nullptr) {
            XPtrArray* pArray = new XPtrArray;
            pObjectTable = pArray;
            pArray->SetSize(1, nGrowSize);
            pArray->SetAt(0, nullptr);
            nMapCount = 1;
        }
        if (pOb != nullptr) {
            CheckCount();
            LoadArray()->InsertAt(static_cast<int>(nMapCount++), Key(pOb), 1);
        }
    }
}

unsigned int XArchive::GetRTCSchemaStored(XString strClass)
{
    if (pSchemaMap == nullptr)
        return 0;
    void* pClass = nullptr;
    if (!XObject::RTCMap.Lookup(strClass, pClass))
        return 0;
    void* pSchema = nullptr;
    if (!pSchemaMap->Lookup(pClass, pSchema))
        return 0;
    return IndexOf(pSchema);
}

// ------------------------------------------------------------- storing

void XArchive::WriteRuntimeClassHierachy(const XRuntimeClass* pClass)
{
    MapObject(nullptr);
    XMapPtrToPtr& map = *StoreMap();
    int nCount = 0;
    for (const XRuntimeClass* p = pClass; p != nullptr; p = p->pBaseClass)
        if (IndexOf(map[Key(p)]) == 0)
            ++nCount;
    *this << static_cast<DWORD>(nHierarchyMagic);
    *this << nCount;
    if (nCount == 0)
        return;
    for (const XRuntimeClass* p = pClass; p != nullptr; p = p->pBaseClass) {
        if (IndexOf(map[Key(p)]) == 0) {
            p->Store(*this);
            CheckCount();
            map[Key(p)] = ValueOf(nMapCount++);
        }
    }
}

void XArchive::WriteObject(const XObject* pOb)
{
    MapObject(nullptr);
    if (pOb == nullptr) {
        *this << kTagNull;
        return;
    }
    XMapPtrToPtr& map = *StoreMap();
    // operator[] leaves a zero entry for a key not yet seen.
    DWORD nIndex = IndexOf(map[Key(pOb)]);
    if (nIndex != 0) {
        *this << kTagKnownObject;
        *this << nIndex;
        return;
    }
    const XRuntimeClass* pClass = pOb->GetRuntimeClass();
    DWORD nClassIndex = IndexOf(map[Key(pClass)]);
    if (nClassIndex != 0) {
        *this << kTagKnownClass;
        *this << nClassIndex;
    } else {
        *this << kTagNewHierarchy;
        WriteRuntimeClassHierachy(pClass);
    }
    // Entered before its body, so a cycle back to it ends in a reference.
    CheckCount();
    map[Key(pOb)] = ValueOf(nMapCount++);
    const_cast<XObject*>(pOb)->Serialize(*this);
}

// ------------------------------------------------------------- loading

XRuntimeClass* XArchive::LoadClassRecord()
{
    unsigned int nSchema = 0;
    XRuntimeClass* pClass = XRuntimeClass::Load(*this, nSchema);
    if (pClass == nullptr)
        XArchiveException::Throw(XArchiveException::badClass, strFileName);
    if (nSchema == 0 || nSchema > pClass->nSchema)
        XArchiveException::Throw(XArchiveException::badSchema, strFileName);
    CheckCount();
    LoadArray()->InsertAt(static_cast<int>(nMapCount++), pClass, 1);
    if (pSchemaMap == nullptr)
        pSchemaMap = new XMapPtrToPtr(10);
    pSchemaMap->SetAt(pClass, ValueOf(nSchema));
    return pClass;
}

XRuntimeClass* XArchive::ReadRuntimeClassHierachy(XRuntimeClass* pClassDefault)
{
    MapObject(nullptr);
    if (pSchemaMap == nullptr)
        pSchemaMap = new XMapPtrToPtr(10);
    DWORD nMagic;
    *this >> nMagic;
    if (nMagic != nHierarchyMagic) {
        // An older stream without the block: the four bytes belong to the
        // caller's fields. They were just read, so they are in the buffer.
        lpBufCur -= sizeof(DWORD);
        return pClassDefault;
    }
    int nCount;
    *this >> nCount;
    if (nCount == 0)
        return pClassDefault;
    XRuntimeClass* pFirst = nullptr;
    for (int i = 0; i < nCount; ++i) {
        XRuntimeClass* pClass = LoadClassRecord();
        if (pFirst == nullptr)
            pFirst = pClass;
    }
    return pFirst;
}

XObject* XArchive::ReadObject(const XRuntimeClass* pClassRequested)
{
    MapObject(nullptr);
    XPtrArray& table = *LoadArray();
    BYTE nTag;
    *this >> nTag;

    // Reads an index and checks it against the table. Indexes with the top
    // bit set are out of range as well: they never name an entry.
    auto readIndex = [&]() -> DWORD {
        DWORD nIndex;
        *this >> nIndex;
        if (nIndex > 0x7FFFFFFFu || static_cast<int>(nIndex) > table.GetUpperBound())
            XArchiveException::Throw(XArchiveException::badIndex, strFileName);
        return nIndex;
    };
    // Class records are exactly the entries with a stored schema.
    auto isClassRecord = [&](void* pEntry) {
        void* pSchema;
        return pEntry != nullptr && pSchemaMap != nullptr && pSchemaMap->Lookup(pEntry, pSchema);
    };

    const XRuntimeClass* pClass = nullptr;
    switch (nTag) {
    case kTagNull:
        return nullptr;
    case kTagNewClass:
        pClass = LoadClassRecord();
        break;
    case kTagNewHierarchy:
        pClass = ReadRuntimeClassHierachy(const_cast<XRuntimeClass*>(pClassRequested));
        if (pClass == nullptr)
            XArchiveException::Throw(XArchiveException::badClass, strFileName);
        break;
    case kTagKnownClass: {
        DWORD nIndex = readIndex();
        if (nIndex == 0)
            return nullptr;
        void* pEntry = table.GetAt(static_cast<int>(nIndex));
        if (!isClassRecord(pEntry))
            XArchiveException::Throw(XArchiveException::badClass, strFileName);
        pClass = static_cast<const XRuntimeClass*>(pEntry);
        break;
    }
    case kTagKnownObject: {
        void* pEntry = table.GetAt(static_cast<int>(readIndex()));
        if (isClassRecord(pEntry))
            XArchiveException::Throw(XArchiveException::badClass, strFileName);
        XObject* pOb = static_cast<XObject*>(pEntry);
        if (pOb != nullptr && pClassRequested != nullptr && !pOb->IsKindOf(pClassRequested))
            XArchiveException::Throw(XArchiveException::badClass, strFileName);
        return pOb;
    }
    default:
        XArchiveException::Throw(XArchiveException::badClass, strFileName);
    }

    if (pClassRequested != nullptr && !pClass->IsDerivedFrom(pClassRequested))
        XArchiveException::Throw(XArchiveException::badIndex, strFileName);
    XObject* pOb = pClass->CreateObject();
    if (pOb == nullptr)
        XMemoryException::Throw();
    CheckCount();
    table.InsertAt(static_cast<int>(nMapCount++), pOb, 1);
    pOb->Serialize(*this);
    return pOb;
}

// ------------------------------------------------------ pointer operators

XArchive& operator<<(XArchive& ar, const XObject* pOb)
{
    ar.WriteObject(pOb);
    return ar;
}

XArchive& operator>>(XArchive& ar, XObject*& pOb)
{
    pOb = ar.ReadObject(XObject::GetRuntimeClassStatic());
    return ar;
}

XArchive& operator>>(XArchive& ar, const XObject*& pOb)
{
    pOb = ar.ReadObject(XObject::GetRuntimeClassStatic());
    return ar;
}
