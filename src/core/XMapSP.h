// XMapSP: the small map from class name to record behind XObject::RTCMap.
// A chained hash table of 17 buckets that never grows, with nodes carved
// from XMemBlock chains of ten. No lock: written only during static
// initialisation, read-only afterwards.
#pragma once

#include "KVDbase/core/XMemBlock.h"
#include "KVDbase/core/XString.h"

class XMapSP {
public:
    explicit XMapSP(int nBlockSize = 10);
    ~XMapSP();
    XMapSP(const XMapSP&) = delete;
    XMapSP& operator=(const XMapSP&) = delete;

    int GetCount() const { return nCount; }

    // The value slot of key, created with a null value if absent.
    void*& operator[](const char* key);
    // 1 and the value if key is present, else 0; changes nothing.
    BOOL Lookup(const char* key, void*& rValue) const;
    // 1 and the stored key's text if key is present, else 0.
    BOOL LookupKey(const char* key, const char*& rKey) const;
    BOOL RemoveKey(const char* key);
    void RemoveAll();

    // The walk in bucket order: GetStartPosition, then GetNextAssoc until the
    // position is null.
    POSITION GetStartPosition() const { return nCount == 0 ? nullptr : reinterpret_cast<POSITION>(-1); }
    void GetNextAssoc(POSITION& rNextPosition, XString& rKey, void*& rValue) const;

    static UINT HashKey(const char* key);

private:
    struct XAssoc {
        XAssoc* pNext;
        UINT nHashValue;
        XString key;
        void* value;
    };

    XAssoc* NewAssoc();
    void FreeAssoc(XAssoc* pAssoc);
    XAssoc* GetAssocAt(const char* key, UINT& nHash) const;

    XAssoc** pHashTable;
    UINT nHashTableSize;
    int nCount;
    XAssoc* pFreeList;
    XMemBlock* pBlocks;
    int nBlockSize;
};
