#include "KVDbase/core/XMemBlock.h"

#include <cstddef>
#include <new>

XMemBlock* XMemBlock::Create(XMemBlock*& pHead, unsigned int nMax, unsigned int cbElement)
{
    size_t cb = sizeof(XMemBlock) + static_cast<size_t>(nMax) * cbElement;
    XMemBlock* p = static_cast<XMemBlock*>(::operator new(cb));
    p->pNext = pHead;
    pHead = p;
    return p;
}

void XMemBlock::FreeDataChain()
{
    FreeDataChain(this);
}

void XMemBlock::FreeDataChain(XMemBlock* pHead)
{
    while (pHead != nullptr) {
        XMemBlock* pNext = pHead->pNext;
        ::operator delete(pHead);
        pHead = pNext;
    }
}
