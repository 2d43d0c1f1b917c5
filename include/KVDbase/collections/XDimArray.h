// XDimArray.h: untyped blocks of one to three dimensions (tagXArr1 to 3) with
// precomputed byte offsets per axis, and per-thread reusable blocks
// (XThreadSafeArr1 to 3). A block owns its bytes unless it wraps a caller's
// memory; failures are 0 results, never throws. A thread-safe array guards
// its table with one lock; each block it hands out belongs to one thread.
#pragma once

#include "KVDbase/collections/XMap.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"
#include "KVDbase/platform/XCriticalSection.h"

// One dimension: element i lies at pData + pOffset1[i].
struct KVD_API tagXArr1 {
    BYTE* pData;     // first element; owned when nAlloc is above 0
    int nDim1;       // number of elements
    int nElemSize;   // bytes per element
    int* pOffset1;   // entry i is i * nElemSize
    int nAlloc;      // bytes allocated; 0 for a wrapped buffer of the caller's

    tagXArr1();
    tagXArr1(int nDim1, int nElemSize);
    tagXArr1(void* pData, int nDim1, int nElemSize);
    ~tagXArr1();
    tagXArr1(const tagXArr1&) = delete;
    tagXArr1& operator=(const tagXArr1&) = delete;

    // Shapes the block, keeping a big enough buffer (the capacity never
    // shrinks here); new bytes are not cleared. 0 when the shape is negative
    // or needs 2 GB or more (nothing changes), or when the memory cannot be
    // had (the block is left empty).
    int Alloc(int nDim1, int nElemSize);
    // As Alloc, but always with a buffer of exactly the size asked for.
    int AllocExact(int nDim1, int nElemSize);
    // Wraps the caller's memory, which the block never frees.
    void Set(void* pData, int nDim1, int nElemSize);
    // Reads the same memory with another shape; 0, with nothing changed,
    // when the block is empty or the shape does not fit.
    int Reform(int nDim1);
    void BuildOffsets();
    void Free();
};

// Two dimensions, nDim1 the fast axis: element (i, j) lies at
// pData + pOffset2[j] + pOffset1[i].
struct KVD_API tagXArr2 {
    BYTE* pData;
    int nDim1;
    int nDim2;
    int nElemSize;
    int* pOffset2;   // entry j is j * nDim1 * nElemSize
    int* pOffset1;   // entry i is i * nElemSize
    int nAlloc;

    tagXArr2();
    tagXArr2(int nDim1, int nDim2, int nElemSize);
    tagXArr2(void* pData, int nDim1, int nDim2, int nElemSize);
    ~tagXArr2();
    tagXArr2(const tagXArr2&) = delete;
    tagXArr2& operator=(const tagXArr2&) = delete;

    int Alloc(int nDim1, int nDim2, int nElemSize);
    int AllocExact(int nDim1, int nDim2, int nElemSize);
    void Set(void* pData, int nDim1, int nDim2, int nElemSize);
    int Reform(int nDim1, int nDim2);
    void BuildOffsets();
    void Free();
};

// Three dimensions, nDim1 the fastest: element (i, j, k) lies at
// pData + pOffset3[k] + pOffset2[j] + pOffset1[i].
struct KVD_API tagXArr3 {
    BYTE* pData;
    int nDim1;
    int nDim2;
    int nDim3;
    int nElemSize;
    int* pOffset3;   // entry k is k * nDim1 * nDim2 * nElemSize
    int* pOffset2;   // entry j is j * nDim1 * nElemSize
    int* pOffset1;   // entry i is i * nElemSize
    int nAlloc;

    tagXArr3();
    tagXArr3(int nDim1, int nDim2, int nDim3, int nElemSize);
    tagXArr3(void* pData, int nDim1, int nDim2, int nDim3, int nElemSize);
    ~tagXArr3();
    tagXArr3(const tagXArr3&) = delete;
    tagXArr3& operator=(const tagXArr3&) = delete;

    int Alloc(int nDim1, int nDim2, int nDim3, int nElemSize);
    int AllocExact(int nDim1, int nDim2, int nDim3, int nElemSize);
    void Set(void* pData, int nDim1, int nDim2, int nDim3, int nElemSize);
    int Reform(int nDim1, int nDim2, int nDim3);
    void BuildOffsets();
    void Free();
};

// One block per calling thread, kept between calls so that repeated reads
// of the same or a smaller shape allocate nothing. The table is locked; the
// blocks are not: FreeAll must not run while another thread still uses its
// block.
class KVD_API XThreadSafeArr1 {
public:
    XThreadSafeArr1();
    virtual ~XThreadSafeArr1();
    XThreadSafeArr1(const XThreadSafeArr1&) = delete;
    XThreadSafeArr1& operator=(const XThreadSafeArr1&) = delete;

    // The calling thread's block shaped as asked, created on first use;
    // null when it cannot be allocated.
    tagXArr1* GetBuffer(int nDim1, int nElemSize);
    // The calling thread's block as it stands, or null; creates nothing.
    tagXArr1* GetBuffer();
    void FreeCurrentThreadsBuffer();
    void FreeAll();

protected:
    // Deletes the block of thread nThreadId, or every block for 0.
    void Free(DWORD nThreadId);

    XCriticalSection csLock;
    XMap<DWORD, DWORD, tagXArr1*, tagXArr1*> mapBuffers;
};

class KVD_API XThreadSafeArr2 {
public:
    XThreadSafeArr2();
    virtual ~XThreadSafeArr2();
    XThreadSafeArr2(const XThreadSafeArr2&) = delete;
    XThreadSafeArr2& operator=(const XThreadSafeArr2&) = delete;

    tagXArr2* GetBuffer(int nDim1, int nDim2, int nElemSize);
    tagXArr2* GetBuffer();
    void FreeCurrentThreadsBuffer();
    void FreeAll();

protected:
    void Free(DWORD nThreadId);

    XCriticalSection csLock;
    XMap<DWORD, DWORD, tagXArr2*, tagXArr2*> mapBuffers;
};

class KVD_API XThreadSafeArr3 {
public:
    XThreadSafeArr3();
    virtual ~XThreadSafeArr3();
    XThreadSafeArr3(const XThreadSafeArr3&) = delete;
    XThreadSafeArr3& operator=(const XThreadSafeArr3&) = delete;

    tagXArr3* GetBuffer(int nDim1, int nDim2, int nDim3, int nElemSize);
    tagXArr3* GetBuffer();
    void FreeCurrentThreadsBuffer();
    void FreeAll();

protected:
    void Free(DWORD nThreadId);

    XCriticalSection csLock;
    XMap<DWORD, DWORD, tagXArr3*, tagXArr3*> mapBuffers;
};
