// XMap.h: chained hash maps with pooled entries, the template
// XMap<KEY, ARG_KEY, VALUE, ARG_VALUE> and one class per key and value type.
// The bucket table keeps the size it was given (17 unless InitHashTable says
// otherwise) and never grows. Maps never own what pointer values point to.
// One thread at a time. A failed allocation throws XMemoryException.
#pragma once

#include "KVDbase/collections/XElements.h"
#include "KVDbase/core/XArchive.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/core/XMemBlock.h"
#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

// What a search works out once from its key before walking a chain: the hash
// and, for text keys, the length, so that each stored key is compared on
// what is cheap first.
template <class KEY, class ARG_KEY>
struct XMapProbe {
    ARG_KEY key;
    UINT nHash;
    explicit XMapProbe(ARG_KEY k) : key(k), nHash(XfnHashKey<ARG_KEY>(k)) {}
    template <class ASSOC>
    bool Matches(const ASSOC& stored) const
    {
        return XfnCompareElements<KEY, typename std::remove_reference<ARG_KEY>::type>(&stored.key, &key) != 0;
    }
};

// One entry of a map. Entries keyed by text also keep the key's length and,
// when it is short, a copy of its text beside the value: a search then reads
// the entry alone, not the key's own buffer elsewhere in memory.
template <class KEY, class VALUE>
struct XMapAssoc {
    XMapAssoc* pNext;
    UINT nHashValue;  // the bucket index, not the full hash
    KEY key;
    VALUE value;
    void KeySet(size_t) {}
};
enum { XMAP_KEY_COPY = 24 };
// The length of a text key as a terminated text; other keys have none.
inline size_t XfnMapKeyLength(const char* psz)
{
    return std::strlen(psz);
}
inline size_t XfnMapKeyLength(const XString& str)
{
    return std::strlen(str);
}
template <class ARG_KEY>
inline size_t XfnMapKeyLength(const ARG_KEY&)
{
    return 0;
}
template <class VALUE>
struct XMapAssoc<XString, VALUE> {
    XMapAssoc* pNext;
    UINT nHashValue;
    UINT nKeyLength;  // the key's length as a terminated text
    XString key;
    VALUE value;
    char szKeyCopy[XMAP_KEY_COPY];  // the key's text and terminator, when they fit
    // Called with the length of the text just stored as the key.
    void KeySet(size_t nLength)
    {
        nKeyLength = static_cast<UINT>(nLength);
        if (nLength < XMAP_KEY_COPY)
            std::memcpy(szKeyCopy, static_cast<const char*>(key), nLength + 1);
    }
};
template <>
struct XMapProbe<XString, const char*> {
    const char* key;
    int nLength;
    UINT nHash;
    explicit XMapProbe(const char* k)
        : key(k), nLength(static_cast<int>(std::strlen(k))), nHash(XfnHashText(k, static_cast<size_t>(nLength)))
    {
    }
    // Equal as terminated texts, as Compare sees them; a short key is
    // compared on the entry's copy.
    template <class ASSOC>
    bool Matches(const ASSOC& stored) const
    {
        if (stored.nKeyLength != static_cast<UINT>(nLength))
            return false;
        const char* psz = nLength < XMAP_KEY_COPY ? stored.szKeyCopy : static_cast<const char*>(stored.key);
        return SameBytes(psz, key, static_cast<size_t>(nLength));
    }
    // Keys are short: eight bytes at a time, the last eight overlapping.
    static bool SameBytes(const char* a, const char* b, size_t n)
    {
        if (n < 8)
            return std::memcmp(a, b, n) == 0;
        uint64_t wa, wb;
        for (size_t i = 0; i + 8 < n; i += 8) {
            std::memcpy(&wa, a + i, 8);
            std::memcpy(&wb, b + i, 8);
            if (wa != wb)
                return false;
        }
        std::memcpy(&wa, a + n - 8, 8);
        std::memcpy(&wb, b + n - 8, 8);
        return wa == wb;
    }
};

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
class XMap : public XObject {
public:
    typedef XMapAssoc<KEY, VALUE> XAssoc;

    explicit XMap(int nBlockSize = 10)
        : pHashTable(nullptr), nHashTableSize(17), nCount(0), pFreeList(nullptr), pBlocks(nullptr),
          nBlockSize(nBlockSize < 1 ? 1 : nBlockSize)
    {
    }
    ~XMap() override { RemoveAll(); }

    int GetCount() const { return nCount; }
    BOOL IsEmpty() const { return nCount == 0; }

    // Maps keyed by text: 1 and the stored key's text if key is present.
    BOOL LookupKey(ARG_KEY key, const char*& rKey) const
    {
        UINT nBucket;
        XAssoc* pAssoc = GetAssocAt(key, nBucket);
        if (pAssoc == nullptr)
            return 0;
        rKey = pAssoc->key;
        return 1;
    }

    // 1 and the value when key is present, else 0; never inserts.
    BOOL Lookup(ARG_KEY key, VALUE& rValue) const;
    // The value of key, inserted as zero (or empty) when absent.
    VALUE& operator[](ARG_KEY key);
    void SetAt(ARG_KEY key, ARG_VALUE newValue) { (*this)[key] = newValue; }
    // 1 when key was present and is now removed, else 0.
    BOOL RemoveKey(ARG_KEY key);
    // Removes everything and frees the table and every entry block; the
    // table size stays.
    void RemoveAll();

    // The walk: GetStartPosition, then GetNextAssoc until the position is
    // null. Buckets come in ascending order, each chain newest first.
    POSITION GetStartPosition() const
    {
        return nCount == 0 ? nullptr : reinterpret_cast<POSITION>(static_cast<intptr_t>(-1));
    }
    void GetNextAssoc(POSITION& rNextPosition, KEY& rKey, VALUE& rValue) const;

    UINT GetHashTableSize() const { return nHashTableSize; }
    // Sets the number of buckets, allocating them now if bAllocNow. Meant
    // for an empty map; entries already present are spread over the new
    // buckets. A size of 0 counts as 1.
    void InitHashTable(UINT nHashSize, BOOL bAllocNow = TRUE);
    UINT HashKey(ARG_KEY key) const { return XfnHashKey<ARG_KEY>(key); }

protected:
    XAssoc** pHashTable;
    UINT nHashTableSize;
    int nCount;
    XAssoc* pFreeList;
    XMemBlock* pBlocks;
    int nBlockSize;

    XAssoc* NewAssoc();
    void FreeAssoc(XAssoc* pAssoc);
    // The entry of key or null; nBucket is set in either case.
    XAssoc* GetAssocAt(ARG_KEY key, UINT& nBucket) const;

private:
    static XAssoc** AllocTable(UINT nSize);
};

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
typename XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::XAssoc** XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::AllocTable(UINT nSize)
{
    XAssoc** pTable = static_cast<XAssoc**>(std::calloc(nSize, sizeof(XAssoc*)));
    if (pTable == nullptr)
        XMemoryException::Throw();
    return pTable;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
void XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::InitHashTable(UINT nHashSize, BOOL bAllocNow)
{
    if (nHashSize == 0)
        nHashSize = 1;
    XAssoc** pNewTable = (bAllocNow || nCount > 0) ? AllocTable(nHashSize) : nullptr;
    if (nCount > 0) {
        for (UINT i = 0; i < nHashTableSize; ++i) {
            XAssoc* pAssoc = pHashTable[i];
            while (pAssoc != nullptr) {
                XAssoc* pNext = pAssoc->pNext;
                UINT nBucket = HashKey(pAssoc->key) % nHashSize;
                pAssoc->nHashValue = nBucket;
                pAssoc->pNext = pNewTable[nBucket];
                pNewTable[nBucket] = pAssoc;
                pAssoc = pNext;
            }
        }
    }
    std::free(pHashTable);
    pHashTable = pNewTable;
    nHashTableSize = nHashSize;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
void XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::RemoveAll()
{
    if (pHashTable != nullptr) {
        for (UINT i = 0; i < nHashTableSize; ++i) {
            for (XAssoc* pAssoc = pHashTable[i]; pAssoc != nullptr; pAssoc = pAssoc->pNext) {
                XfnDestructElements(&pAssoc->key, 1);
                XfnDestructElements(&pAssoc->value, 1);
            }
        }
        std::free(pHashTable);
        pHashTable = nullptr;
    }
    nCount = 0;
    pFreeList = nullptr;
    XMemBlock::FreeDataChain(pBlocks);
    pBlocks = nullptr;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
typename XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::XAssoc* XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::NewAssoc()
{
    if (pFreeList == nullptr) {
        XMemBlock* pNewBlock;
        try {
            pNewBlock = XMemBlock::Create(pBlocks, static_cast<unsigned int>(nBlockSize), sizeof(XAssoc));
        } catch (const std::bad_alloc&) {
            XMemoryException::Throw();
        }
        // Pushed from the end, so that the block's first entry comes out first.
        XAssoc* pAssoc = static_cast<XAssoc*>(pNewBlock->data()) + nBlockSize - 1;
        for (int i = nBlockSize - 1; i >= 0; --i, --pAssoc) {
            pAssoc->pNext = pFreeList;
            pFreeList = pAssoc;
        }
    }
    XAssoc* pAssoc = pFreeList;
    pFreeList = pFreeList->pNext;
    ++nCount;
    XfnConstructElements(&pAssoc->key, 1);
    XfnConstructElements(&pAssoc->value, 1);
    return pAssoc;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
void XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::FreeAssoc(XAssoc* pAssoc)
{
    XfnDestructElements(&pAssoc->key, 1);
    XfnDestructElements(&pAssoc->value, 1);
    pAssoc->pNext = pFreeList;
    pFreeList = pAssoc;
    --nCount;
    // An emptied map gives all of its memory back at once.
    if (nCount == 0)
        RemoveAll();
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
typename XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::XAssoc*
XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::GetAssocAt(ARG_KEY key, UINT& nBucket) const
{
    XMapProbe<KEY, ARG_KEY> probe(key);
    nBucket = probe.nHash % nHashTableSize;
    if (pHashTable == nullptr)
        return nullptr;
    for (XAssoc* pAssoc = pHashTable[nBucket]; pAssoc != nullptr; pAssoc = pAssoc->pNext)
        if (probe.Matches(*pAssoc))
            return pAssoc;
    return nullptr;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
BOOL XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::Lookup(ARG_KEY key, VALUE& rValue) const
{
    UINT nBucket;
    XAssoc* pAssoc = GetAssocAt(key, nBucket);
    if (pAssoc == nullptr)
        return 0;
    rValue = pAssoc->value;
    return 1;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
VALUE& XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::operator[](ARG_KEY key)
{
    UINT nBucket;
    XAssoc* pAssoc = GetAssocAt(key, nBucket);
    if (pAssoc == nullptr) {
        if (pHashTable == nullptr)
            InitHashTable(nHashTableSize, 1);
        pAssoc = NewAssoc();
        pAssoc->nHashValue = nBucket;
        pAssoc->key = key;
        pAssoc->KeySet(XfnMapKeyLength(key));
        pAssoc->pNext = pHashTable[nBucket];
        pHashTable[nBucket] = pAssoc;
    }
    return pAssoc->value;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
BOOL XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::RemoveKey(ARG_KEY key)
{
    if (pHashTable == nullptr)
        return 0;
    XMapProbe<KEY, ARG_KEY> probe(key);
    XAssoc** ppPrev = &pHashTable[probe.nHash % nHashTableSize];
    for (XAssoc* pAssoc = *ppPrev; pAssoc != nullptr; pAssoc = pAssoc->pNext) {
        if (probe.Matches(*pAssoc)) {
            *ppPrev = pAssoc->pNext;
            FreeAssoc(pAssoc);
            return 1;
        }
        ppPrev = &pAssoc->pNext;
    }
    return 0;
}

template <class KEY, class ARG_KEY, class VALUE, class ARG_VALUE>
void XMap<KEY, ARG_KEY, VALUE, ARG_VALUE>::GetNextAssoc(POSITION& rNextPosition, KEY& rKey, VALUE& rValue) const
{
    XAssoc* pAssocRet = reinterpret_cast<XAssoc*>(rNextPosition);
    if (pAssocRet == reinterpret_cast<XAssoc*>(static_cast<intptr_t>(-1))) {
        // The start marker: the head of the first bucket in use.
        pAssocRet = nullptr;
        for (UINT i = 0; i < nHashTableSize && pAssocRet == nullptr; ++i)
            pAssocRet = pHashTable[i];
    }
    XAssoc* pAssocNext = pAssocRet->pNext;
    for (UINT i = pAssocRet->nHashValue + 1; pAssocNext == nullptr && i < nHashTableSize; ++i)
        pAssocNext = pHashTable[i];
    rNextPosition = reinterpret_cast<POSITION>(pAssocNext);
    rKey = pAssocRet->key;
    rValue = pAssocRet->value;
}

// The typed maps. Those keyed by text take their keys as char const* and
// compare them case-sensitively; LookupKey gives the stored key's text. The
// three that can be created by name store themselves in an archive: the
// count, then key and value of each entry in walk order. Loading adds to
// what the map holds, replacing the values of keys already present.

class KVD_API XMapIntToPtr : public XMap<int, int, void*, void*> {
    XDECLARE_DYNAMIC(XMapIntToPtr)
public:
    explicit XMapIntToPtr(int nBlockSize = 10) : XMap(nBlockSize) {}
};

class KVD_API XMapPtrToInt : public XMap<void*, void*, int, int> {
    XDECLARE_DYNAMIC(XMapPtrToInt)
public:
    explicit XMapPtrToInt(int nBlockSize = 10) : XMap(nBlockSize) {}
};

class KVD_API XMapPtrToPtr : public XMap<void*, void*, void*, void*> {
    XDECLARE_DYNAMIC(XMapPtrToPtr)
public:
    explicit XMapPtrToPtr(int nBlockSize = 10) : XMap(nBlockSize) {}
    // The value of key, or null when key is absent.
    void* GetValueAt(void* key) const
    {
        UINT nBucket;
        XAssoc* pAssoc = GetAssocAt(key, nBucket);
        return pAssoc == nullptr ? nullptr : pAssoc->value;
    }
};

class KVD_API XMapPtrToWord : public XMap<void*, void*, WORD, WORD> {
    XDECLARE_DYNAMIC(XMapPtrToWord)
public:
    explicit XMapPtrToWord(int nBlockSize = 10) : XMap(nBlockSize) {}
};

class KVD_API XMapWordToPtr : public XMap<WORD, WORD, void*, void*> {
    XDECLARE_DYNAMIC(XMapWordToPtr)
public:
    explicit XMapWordToPtr(int nBlockSize = 10) : XMap(nBlockSize) {}
};

class KVD_API XMapWordToOb : public XMap<WORD, WORD, XObject*, XObject*> {
    XDECLARE_DYNCREATE(XMapWordToOb)
public:
    explicit XMapWordToOb(int nBlockSize = 10) : XMap(nBlockSize) {}
    void Serialize(XArchive& ar) override;
};
XDECLARE_ARCHIVE_OPERATORS(XMapWordToOb)

class KVD_API XMapStringToPtr : public XMap<XString, const char*, void*, void*> {
    XDECLARE_DYNAMIC(XMapStringToPtr)
public:
    explicit XMapStringToPtr(int nBlockSize = 10) : XMap(nBlockSize) {}
};

class KVD_API XMapStringToOb : public XMap<XString, const char*, XObject*, XObject*> {
    XDECLARE_DYNCREATE(XMapStringToOb)
public:
    explicit XMapStringToOb(int nBlockSize = 10) : XMap(nBlockSize) {}
    void Serialize(XArchive& ar) override;
};
XDECLARE_ARCHIVE_OPERATORS(XMapStringToOb)

class KVD_API XMapStringToString : public XMap<XString, const char*, XString, const char*> {
    XDECLARE_DYNCREATE(XMapStringToString)
public:
    explicit XMapStringToString(int nBlockSize = 10) : XMap(nBlockSize) {}
    void Serialize(XArchive& ar) override;
};
XDECLARE_ARCHIVE_OPERATORS(XMapStringToString)
