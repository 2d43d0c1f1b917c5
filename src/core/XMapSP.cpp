#include "core/XMapSP.h"

#include <cstring>
#include <new>

XMapSP::XMapSP(int nBlockSize)
    : pHashTable(nullptr), nHashTableSize(17), nCount(0), pFreeList(nullptr), pBlocks(nullptr),
      nBlockSize(nBlockSize < 1 ? 1 : nBlockSize)
{
}

XMapSP::~XMapSP()
{
    RemoveAll();
}

UINT XMapSP::HashKey(const char* key)
{
    return ::HashKey(key);
}

void XMapSP::RemoveAll()
{
    if (pHashTable != nullptr) {
        for (UINT i = 0; i < nHashTableSize; ++i)
            for (XAssoc* p = pHashTable[i]; p != nullptr; p = p->pNext)
                p->key.~XString();
        delete[] pHashTable;
        pHashTable = nullptr;
    }
    nCount = 0;
    pFreeList = nullptr;
    XMemBlock::FreeDataChain(pBlocks);
    pBlocks = nullptr;
}

XMapSP::XAssoc* XMapSP::NewAssoc()
{
    if (pFreeList == nullptr) {
        XMemBlock* pNewBlock = XMemBlock::Create(pBlocks, static_cast<unsigned int>(nBlockSize), sizeof(XAssoc));
        // Pushed from the end, so the lowest address is taken first.
        XAssoc* pAssoc = static_cast<XAssoc*>(pNewBlock->data()) + nBlockSize - 1;
        for (int i = nBlockSize - 1; i >= 0; --i, --pAssoc) {
            pAssoc->pNext = pFreeList;
            pFreeList = pAssoc;
        }
    }
    XAssoc* pAssoc = pFreeList;
    pFreeList = pFreeList->pNext;
    ++nCount;
    new (&pAssoc->key) XString();
    pAssoc->value = nullptr;
    return pAssoc;
}

void XMapSP::FreeAssoc(XAssoc* pAssoc)
{
    pAssoc->key.~XString();
    pAssoc->pNext = pFreeList;
    pFreeList = pAssoc;
    --nCount;
    // Emptied: give everything back at once.
    if (nCount == 0)
        RemoveAll();
}

XMapSP::XAssoc* XMapSP::GetAssocAt(const char* key, UINT& nHash) const
{
    nHash = HashKey(key) % nHashTableSize;
    if (pHashTable == nullptr)
        return nullptr;
    for (XAssoc* p = pHashTable[nHash]; p != nullptr; p = p->pNext)
        if (std::strcmp(p->key, key) == 0)
            return p;
    return nullptr;
}

void*& XMapSP::operator[](const char* key)
{
    UINT nHash;
    XAssoc* pAssoc = GetAssocAt(key, nHash);
    if (pAssoc == nullptr) {
        if (pHashTable == nullptr)
            pHashTable = new XAssoc* [nHashTableSize]();
        pAssoc = NewAssoc();
        pAssoc->nHashValue = nHash;
        pAssoc->key = key;
        pAssoc->pNext = pHashTable[nHash];
        pHashTable[nHash] = pAssoc;
    }
    return pAssoc->value;
}

BOOL XMapSP::Lookup(const char* key, void*& rValue) const
{
    UINT nHash;
    XAssoc* pAssoc = GetAssocAt(key, nHash);
    if (pAssoc == nullptr)
        return 0;
    rValue = pAssoc->value;
    return 1;
}

BOOL XMapSP::LookupKey(const char* key, const char*& rKey) const
{
    UINT nHash;
    XAssoc* pAssoc = GetAssocAt(key, nHash);
    if (pAssoc == nullptr)
        return 0;
    rKey = pAssoc->key;
    return 1;
}

BOOL XMapSP::RemoveKey(const char* key)
{
    if (pHashTable == nullptr)
        return 0;
    XAssoc** ppPrev = &pHashTable[HashKey(key) % nHashTableSize];
    for (XAssoc* p = *ppPrev; p != nullptr; p = p->pNext) {
        if (std::strcmp(p->key, key) == 0) {
            *ppPrev = p->pNext;
            FreeAssoc(p);
            return 1;
        }
        ppPrev = &p->pNext;
    }
    return 0;
}

void XMapSP::GetNextAssoc(POSITION& rNextPosition, XString& rKey, void*& rValue) const
{
    XAssoc* pAssocRet = reinterpret_cast<XAssoc*>(rNextPosition);
    if (pAssocRet == reinterpret_cast<XAssoc*>(-1)) {
        // The start marker: the first node of the first non-empty bucket.
        pAssocRet = nullptr;
        for (UINT i = 0; i < nHashTableSize && pAssocRet == nullptr; ++i)
            pAssocRet = pHashTable[i];
    }
    XAssoc* pAssocNext = pAssocRet->pNext;
    if (pAssocNext == nullptr)
        for (UINT i = pAssocRet->nHashValue + 1; i < nHashTableSize && pAssocNext == nullptr; ++i)
            pAssocNext = pHashTable[i];
    rNextPosition = reinterpret_cast<POSITION>(pAssocNext);
    rKey = pAssocRet->key;
    rValue = pAssocRet->value;
}
