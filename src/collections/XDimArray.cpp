#include "KVDbase/collections/XDimArray.h"

#include "KVDbase/platform/XThreadId.h"

#include <climits>
#include <initializer_list>
#include <new>

namespace {

// The bytes of a shape, or -1 when a factor is negative or the product
// doesn't fit the int byte counts of the blocks.
long long ShapeBytes(std::initializer_list<int> factors)
{
    long long nBytes = 1;
    for (int n : factors) {
        if (n < 0)
            return -1;
        nBytes *= n;
        if (nBytes > INT_MAX)
            return -1;
    }
    return nBytes;
}

// Replaces an offset table by one of nDim entries, entry i being i * nStride.
// A table that cannot be allocated is left null.
void RebuildTable(int*& pTable, int nDim, long long nStride)
{
    if (nDim < 1)
        return;
    delete[] pTable;
    pTable = new (std::nothrow) int[nDim];
    if (pTable == nullptr)
        return;
    for (int i = 0; i < nDim; ++i)
        pTable[i] = static_cast<int>(i * nStride);
}

// Gives a new buffer of nBytes to a block, or fails leaving it empty.
template <class ARR>
bool TakeBuffer(ARR& arr, long long nBytes)
{
    if (arr.nAlloc >= nBytes)
        return true;
    arr.Free();
    arr.pData = new (std::nothrow) BYTE[nBytes];
    if (arr.pData == nullptr)
        return false;
    arr.nAlloc = static_cast<int>(nBytes);
    return true;
}

// The calling thread's block is kept under its thread id, which is never 0.
DWORD CurrentThreadKey()
{
    return XfnGetCurrentThreadId();
}

template <class ARR, class FN>
ARR* GetThreadBuffer(XCriticalSection& csLock, XMap<DWORD, DWORD, ARR*, ARR*>& mapBuffers, FN fnShape)
{
    XCriticalSectionLock lock(csLock);
    DWORD nKey = CurrentThreadKey();
    ARR* pArr = nullptr;
    bool bNew = !mapBuffers.Lookup(nKey, pArr);
    if (bNew) {
        pArr = new (std::nothrow) ARR;
        if (pArr == nullptr)
            return nullptr;
    }
    if (fnShape(*pArr)) {
        if (!bNew)
            return pArr;
        try {
            mapBuffers.SetAt(nKey, pArr);
            return pArr;
        } catch (const XMemoryException&) {
        }
    } else if (!bNew) {
        // The table must not keep a block that is about to be deleted.
        mapBuffers.RemoveKey(nKey);
    }
    delete pArr;
    return nullptr;
}

template <class ARR>
ARR* FindThreadBuffer(XCriticalSection& csLock, const XMap<DWORD, DWORD, ARR*, ARR*>& mapBuffers)
{
    XCriticalSectionLock lock(csLock);
    ARR* pArr = nullptr;
    return mapBuffers.Lookup(CurrentThreadKey(), pArr) ? pArr : nullptr;
}

template <class ARR>
void FreeThreadBuffers(XCriticalSection& csLock, XMap<DWORD, DWORD, ARR*, ARR*>& mapBuffers, DWORD nThreadId)
{
    XCriticalSectionLock lock(csLock);
    POSITION pos = mapBuffers.GetStartPosition();
    while (pos != nullptr) {
        DWORD nKey;
        ARR* pArr;
        mapBuffers.GetNextAssoc(pos, nKey, pArr);
        if (nThreadId == 0 || nKey == nThreadId) {
            delete pArr;
            mapBuffers.RemoveKey(nKey);
            // Removal may empty the table: walk again from the start.
            pos = mapBuffers.GetStartPosition();
        }
    }
}

} // namespace

// tagXArr1

tagXArr1::tagXArr1() : pData(nullptr), nDim1(0), nElemSize(0), pOffset1(nullptr), nAlloc(0)
{
    Set(nullptr, 0, 0);
}

tagXArr1::tagXArr1(int nDim1, int nElemSize)
    : pData(nullptr), nDim1(0), nElemSize(0), pOffset1(nullptr), nAlloc(0)
{
    Alloc(nDim1, nElemSize);
}

tagXArr1::tagXArr1(void* pData, int nDim1, int nElemSize)
    : pData(nullptr), nDim1(0), nElemSize(0), pOffset1(nullptr), nAlloc(0)
{
    Set(pData, nDim1, nElemSize);
}

tagXArr1::~tagXArr1()
{
    Free();
}

int tagXArr1::Alloc(int nNewDim1, int nNewElemSize)
{
    long long nBytes = ShapeBytes({nNewDim1, nNewElemSize});
    if (nBytes < 0)
        return 0;
    if (!TakeBuffer(*this, nBytes)) {
        nDim1 = 0;
        return 0;
    }
    nDim1 = nNewDim1;
    nElemSize = nNewElemSize;
    BuildOffsets();
    return 1;
}

int tagXArr1::AllocExact(int nNewDim1, int nNewElemSize)
{
    Free();
    return Alloc(nNewDim1, nNewElemSize);
}

void tagXArr1::Set(void* pNewData, int nNewDim1, int nNewElemSize)
{
    Free();
    pData = static_cast<BYTE*>(pNewData);
    nAlloc = 0;
    nDim1 = nNewDim1;
    nElemSize = nNewElemSize;
    BuildOffsets();
}

int tagXArr1::Reform(int nNewDim1)
{
    if (pData == nullptr)
        return 0;
    if (nNewDim1 == nDim1)
        return 1;
    if (nNewDim1 < 0)
        return 0;
    if (nAlloc > 0 ? static_cast<long long>(nNewDim1) * nElemSize > nAlloc : nNewDim1 > nDim1)
        return 0;
    nDim1 = nNewDim1;
    BuildOffsets();
    return 1;
}

void tagXArr1::BuildOffsets()
{
    if (pData == nullptr)
        return;
    RebuildTable(pOffset1, nDim1, nElemSize);
}

void tagXArr1::Free()
{
    if (pData != nullptr && nAlloc > 0)
        delete[] pData;
    pData = nullptr;
    nAlloc = 0;
    delete[] pOffset1;
    pOffset1 = nullptr;
}

// tagXArr2

tagXArr2::tagXArr2()
    : pData(nullptr), nDim1(0), nDim2(0), nElemSize(0), pOffset2(nullptr), pOffset1(nullptr), nAlloc(0)
{
    Set(nullptr, 0, 0, 0);
}

tagXArr2::tagXArr2(int nDim1, int nDim2, int nElemSize)
    : pData(nullptr), nDim1(0), nDim2(0), nElemSize(0), pOffset2(nullptr), pOffset1(nullptr), nAlloc(0)
{
    Alloc(nDim1, nDim2, nElemSize);
}

tagXArr2::tagXArr2(void* pData, int nDim1, int nDim2, int nElemSize)
    : pData(nullptr), nDim1(0), nDim2(0), nElemSize(0), pOffset2(nullptr), pOffset1(nullptr), nAlloc(0)
{
    Set(pData, nDim1, nDim2, nElemSize);
}

tagXArr2::~tagXArr2()
{
    Free();
}

int tagXArr2::Alloc(int nNewDim1, int nNewDim2, int nNewElemSize)
{
    long long nBytes = ShapeBytes({nNewDim1, nNewDim2, nNewElemSize});
    if (nBytes < 0)
        return 0;
    if (!TakeBuffer(*this, nBytes)) {
        nDim1 = nDim2 = 0;
        return 0;
    }
    nDim1 = nNewDim1;
    nDim2 = nNewDim2;
    nElemSize = nNewElemSize;
    BuildOffsets();
    return 1;
}

int tagXArr2::AllocExact(int nNewDim1, int nNewDim2, int nNewElemSize)
{
    Free();
    return Alloc(nNewDim1, nNewDim2, nNewElemSize);
}

void tagXArr2::Set(void* pNewData, int nNewDim1, int nNewDim2, int nNewElemSize)
{
    Free();
    pData = static_cast<BYTE*>(pNewData);
    nAlloc = 0;
    nDim1 = nNewDim1;
    nDim2 = nNewDim2;
    nElemSize = nNewElemSize;
    BuildOffsets();
}

int tagXArr2::Reform(int nNewDim1, int nNewDim2)
{
    if (pData == nullptr)
        return 0;
    if (nNewDim1 == nDim1 && nNewDim2 == nDim2)
        return 1;
    if (nNewDim1 < 0 || nNewDim2 < 0)
        return 0;
    long long nCount = static_cast<long long>(nNewDim1) * nNewDim2;
    if (nCount > INT_MAX)
        return 0;
    if (nAlloc > 0 ? nCount * nElemSize > nAlloc : nCount > static_cast<long long>(nDim1) * nDim2)
        return 0;
    nDim1 = nNewDim1;
    nDim2 = nNewDim2;
    BuildOffsets();
    return 1;
}

void tagXArr2::BuildOffsets()
{
    if (pData == nullptr)
        return;
    RebuildTable(pOffset2, nDim2, static_cast<long long>(nDim1) * nElemSize);
    RebuildTable(pOffset1, nDim1, nElemSize);
}

void tagXArr2::Free()
{
    if (pData != nullptr && nAlloc > 0)
        delete[] pData;
    pData = nullptr;
    nAlloc = 0;
    delete[] pOffset2;
    delete[] pOffset1;
    pOffset2 = pOffset1 = nullptr;
}

// tagXArr3

tagXArr3::tagXArr3()
    : pData(nullptr), nDim1(0), nDim2(0), nDim3(0), nElemSize(0), pOffset3(nullptr), pOffset2(nullptr),
      pOffset1(nullptr), nAlloc(0)
{
    Set(nullptr, 0, 0, 0, 0);
}

tagXArr3::tagXArr3(int nDim1, int nDim2, int nDim3, int nElemSize)
    : pData(nullptr), nDim1(0), nDim2(0), nDim3(0), nElemSize(0), pOffset3(nullptr), pOffset2(nullptr),
      pOffset1(nullptr), nAlloc(0)
{
    Alloc(nDim1, nDim2, nDim3, nElemSize);
}

tagXArr3::tagXArr3(void* pData, int nDim1, int nDim2, int nDim3, int nElemSize)
    : pData(nullptr), nDim1(0), nDim2(0), nDim3(0), nElemSize(0), pOffset3(nullptr), pOffset2(nullptr),
      pOffset1(nullptr), nAlloc(0)
{
    Set(pData, nDim1, nDim2, nDim3, nElemSize);
}

tagXArr3::~tagXArr3()
{
    Free();
}

int tagXArr3::Alloc(int nNewDim1, int nNewDim2, int nNewDim3, int nNewElemSize)
{
    long long nBytes = ShapeBytes({nNewDim1, nNewDim2, nNewDim3, nNewElemSize});
    if (nBytes < 0)
        return 0;
    if (!TakeBuffer(*this, nBytes)) {
        nDim1 = nDim2 = nDim3 = 0;
        return 0;
    }
    nDim1 = nNewDim1;
    nDim2 = nNewDim2;
    nDim3 = nNewDim3;
    nElemSize = nNewElemSize;
    BuildOffsets();
    return 1;
}

int tagXArr3::AllocExact(int nNewDim1, int nNewDim2, int nNewDim3, int nNewElemSize)
{
    Free();
    return Alloc(nNewDim1, nNewDim2, nNewDim3, nNewElemSize);
}

void tagXArr3::Set(void* pNewData, int nNewDim1, int nNewDim2, int nNewDim3, int nNewElemSize)
{
    Free();
    pData = static_cast<BYTE*>(pNewData);
    nAlloc = 0;
    nDim1 = nNewDim1;
    nDim2 = nNewDim2;
    nDim3 = nNewDim3;
    nElemSize = nNewElemSize;
    BuildOffsets();
}

int tagXArr3::Reform(int nNewDim1, int nNewDim2, int nNewDim3)
{
    if (pData == nullptr)
        return 0;
    if (nNewDim1 == nDim1 && nNewDim2 == nDim2 && nNewDim3 == nDim3)
        return 1;
    if (nNewDim1 < 0 || nNewDim2 < 0 || nNewDim3 < 0)
        return 0;
    long long nCount = static_cast<long long>(nNewDim1) * nNewDim2 * nNewDim3;
    if (nCount > INT_MAX)
        return 0;
    long long nOldCount = static_cast<long long>(nDim1) * nDim2 * nDim3;
    if (nAlloc > 0 ? nCount * nElemSize > nAlloc : nCount > nOldCount)
        return 0;
    nDim1 = nNewDim1;
    nDim2 = nNewDim2;
    nDim3 = nNewDim3;
    BuildOffsets();
    return 1;
}

void tagXArr3::BuildOffsets()
{
    if (pData == nullptr)
        return;
    RebuildTable(pOffset3, nDim3, static_cast<long long>(nDim1) * nDim2 * nElemSize);
    RebuildTable(pOffset2, nDim2, static_cast<long long>(nDim1) * nElemSize);
    RebuildTable(pOffset1, nDim1, nElemSize);
}

void tagXArr3::Free()
{
    if (pData != nullptr && nAlloc > 0)
        delete[] pData;
    pData = nullptr;
    nAlloc = 0;
    delete[] pOffset3;
    delete[] pOffset2;
    delete[] pOffset1;
    pOffset3 = pOffset2 = pOffset1 = nullptr;
}

// The thread-safe arrays.

XThreadSafeArr1::XThreadSafeArr1() : mapBuffers(10) {}

XThreadSafeArr1::~XThreadSafeArr1()
{
    FreeAll();
}

tagXArr1* XThreadSafeArr1::GetBuffer(int nDim1, int nElemSize)
{
    return GetThreadBuffer(csLock, mapBuffers, [&](tagXArr1& arr) { return arr.Alloc(nDim1, nElemSize) != 0; });
}

tagXArr1* XThreadSafeArr1::GetBuffer()
{
    return FindThreadBuffer(csLock, mapBuffers);
}

void XThreadSafeArr1::FreeCurrentThreadsBuffer()
{
    Free(CurrentThreadKey());
}

void XThreadSafeArr1::FreeAll()
{
    Free(0);
}

void XThreadSafeArr1::Free(DWORD nThreadId)
{
    FreeThreadBuffers(csLock, mapBuffers, nThreadId);
}

XThreadSafeArr2::XThreadSafeArr2() : mapBuffers(10) {}

XThreadSafeArr2::~XThreadSafeArr2()
{
    FreeAll();
}

tagXArr2* XThreadSafeArr2::GetBuffer(int nDim1, int nDim2, int nElemSize)
{
    return GetThreadBuffer(csLock, mapBuffers,
                           [&](tagXArr2& arr) { return arr.Alloc(nDim1, nDim2, nElemSize) != 0; });
}

tagXArr2* XThreadSafeArr2::GetBuffer()
{
    return FindThreadBuffer(csLock, mapBuffers);
}

void XThreadSafeArr2::FreeCurrentThreadsBuffer()
{
    Free(CurrentThreadKey());
}

void XThreadSafeArr2::FreeAll()
{
    Free(0);
}

void XThreadSafeArr2::Free(DWORD nThreadId)
{
    FreeThreadBuffers(csLock, mapBuffers, nThreadId);
}

XThreadSafeArr3::XThreadSafeArr3() : mapBuffers(10) {}

XThreadSafeArr3::~XThreadSafeArr3()
{
    FreeAll();
}

tagXArr3* XThreadSafeArr3::GetBuffer(int nDim1, int nDim2, int nDim3, int nElemSize)
{
    return GetThreadBuffer(csLock, mapBuffers,
                           [&](tagXArr3& arr) { return arr.Alloc(nDim1, nDim2, nDim3, nElemSize) != 0; });
}

tagXArr3* XThreadSafeArr3::GetBuffer()
{
    return FindThreadBuffer(csLock, mapBuffers);
}

void XThreadSafeArr3::FreeCurrentThreadsBuffer()
{
    Free(CurrentThreadKey());
}

void XThreadSafeArr3::FreeAll()
{
    Free(0);
}

void XThreadSafeArr3::Free(DWORD nThreadId)
{
    FreeThreadBuffers(csLock, mapBuffers, nThreadId);
}
