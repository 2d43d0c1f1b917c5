// XFixedAlloc: a locked pool of equal-sized elements carved from XMemBlock
// chains. Elements return to the free list and are reused; memory goes back
// to the system only through FreeAll or the destructor. Safe to share
// between threads: every list operation holds the pool's critical section.
#pragma once

#include "KVDbase/core/XMemBlock.h"
#include "KVDbase/platform/XCriticalSection.h"

class XFixedAlloc {
public:
    XFixedAlloc(unsigned int nAllocSize, unsigned int nBlockSize = 64);
    ~XFixedAlloc();
    XFixedAlloc(const XFixedAlloc&) = delete;
    XFixedAlloc& operator=(const XFixedAlloc&) = delete;

    unsigned int GetAllocSize() const { return nAllocSize; }

    void* Alloc();
    void Free(void* p);
    // Releases every block; all elements handed out become invalid.
    void FreeAll();

private:
    struct XNode {
        XNode* pNext;
    };

    unsigned int nAllocSize;
    unsigned int nBlockSize;
    XMemBlock* pBlocks = nullptr;
    XNode* pNodeFree = nullptr;
    XCriticalSection protect;
};
