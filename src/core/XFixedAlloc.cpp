#include "core/XFixedAlloc.h"

XFixedAlloc::XFixedAlloc(unsigned int nAllocSize, unsigned int nBlockSize)
    : nAllocSize(nAllocSize < sizeof(XNode) ? sizeof(XNode) : nAllocSize),
      nBlockSize(nBlockSize == 0 ? 1 : nBlockSize)
{
}

XFixedAlloc::~XFixedAlloc()
{
    FreeAll();
}

void XFixedAlloc::FreeAll()
{
    XCriticalSectionLock lock(protect);
    XMemBlock::FreeDataChain(pBlocks);
    pBlocks = nullptr;
    pNodeFree = nullptr;
}

void* XFixedAlloc::Alloc()
{
    XCriticalSectionLock lock(protect);
    if (pNodeFree == nullptr) {
        XMemBlock* pNewBlock = XMemBlock::Create(pBlocks, nBlockSize, nAllocSize);
        // Push from the last element down, so the block's first comes out first.
        char* pBase = static_cast<char*>(pNewBlock->data());
        for (unsigned int i = nBlockSize; i-- > 0;) {
            XNode* pNode = reinterpret_cast<XNode*>(pBase + static_cast<size_t>(i) * nAllocSize);
            pNode->pNext = pNodeFree;
            pNodeFree = pNode;
        }
    }
    XNode* pNode = pNodeFree;
    pNodeFree = pNode->pNext;
    return pNode;
}

void XFixedAlloc::Free(void* p)
{
    if (p == nullptr)
        return;
    XCriticalSectionLock lock(protect);
    XNode* pNode = static_cast<XNode*>(p);
    pNode->pNext = pNodeFree;
    pNodeFree = pNode;
}
