// XMemBlock: a chained block from which pooled containers carve their nodes.
// A block is a one-pointer header (the next block) followed by the elements;
// the owner remembers the element size and count and frees only whole chains.
// Not thread-safe: each chain belongs to one owner, who locks if it must.
#pragma once

#include "KVDbase/platform/Export.h"

class KVD_API XMemBlock {
public:
    XMemBlock* pNext;

    // Allocates a header plus nMax * cbElement bytes and links the new block
    // in at the head of the chain. A failed allocation throws and leaves the
    // chain as it was.
    static XMemBlock* Create(XMemBlock*& pHead, unsigned int nMax, unsigned int cbElement);

    // The first element: the address just behind the header.
    void* data() { return this + 1; }

    // Frees this block and every block after it.
    void FreeDataChain();

    // Frees the chain that starts at pHead; a null head is harmless.
    static void FreeDataChain(XMemBlock* pHead);
};

static_assert(sizeof(XMemBlock) == sizeof(void*), "XMemBlock is one pointer");
