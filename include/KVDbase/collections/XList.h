// XList.h: doubly linked lists with pooled nodes, the template
// XList<TYPE, ARG_TYPE>, one class per element type, and the stack XStack
// built on the pointer list. Lists never own what pointer elements point to.
// One thread at a time; positions are not checked. A failed allocation
// throws XMemoryException.
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
#include <new>
#include <type_traits>

template <class TYPE, class ARG_TYPE>
class XList : public XObject {
public:
    struct XNode {
        XNode* pNext;
        XNode* pPrev;
        TYPE data;
    };

    // Nodes are taken from blocks of nBlockSize at a time.
    explicit XList(int nBlockSize = 10)
        : pNodeHead(nullptr), pNodeTail(nullptr), nCount(0), pNodeFree(nullptr), pBlocks(nullptr),
          nBlockSize(nBlockSize < 1 ? 1 : nBlockSize)
    {
    }
    ~XList() override { RemoveAll(); }

    int GetCount() const { return nCount; }
    BOOL IsEmpty() const { return nCount == 0; }

    // Head and tail of a list that is not empty.
    TYPE& GetHead() { return pNodeHead->data; }
    const TYPE& GetHead() const { return pNodeHead->data; }
    TYPE& GetTail() { return pNodeTail->data; }
    const TYPE& GetTail() const { return pNodeTail->data; }
    TYPE RemoveHead();
    TYPE RemoveTail();

    POSITION AddHead(ARG_TYPE newElement);
    POSITION AddTail(ARG_TYPE newElement);
    // Removes every element and frees every node block.
    void RemoveAll();

    POSITION GetHeadPosition() const { return reinterpret_cast<POSITION>(pNodeHead); }
    POSITION GetTailPosition() const { return reinterpret_cast<POSITION>(pNodeTail); }
    // The element at rPosition; rPosition moves on to the next (or previous)
    // node, null past the end.
    TYPE& GetNext(POSITION& rPosition);
    const TYPE& GetNext(POSITION& rPosition) const;
    TYPE& GetPrev(POSITION& rPosition);
    const TYPE& GetPrev(POSITION& rPosition) const;

    TYPE& GetAt(POSITION position) { return NodeAt(position)->data; }
    const TYPE& GetAt(POSITION position) const { return NodeAt(position)->data; }
    void SetAt(POSITION position, ARG_TYPE newElement) { NodeAt(position)->data = newElement; }
    void RemoveAt(POSITION position);
    // A null position inserts at the head (InsertBefore) or the tail
    // (InsertAfter).
    POSITION InsertBefore(POSITION position, ARG_TYPE newElement);
    POSITION InsertAfter(POSITION position, ARG_TYPE newElement);

    // The first element equal to searchValue after startAfter (from the head
    // when it is null), or null.
    POSITION Find(ARG_TYPE searchValue, POSITION startAfter = nullptr) const;
    // The position of the nIndex-th element from the head, or null.
    POSITION FindIndex(int nIndex) const;

protected:
    XNode* pNodeHead;
    XNode* pNodeTail;
    int nCount;
    XNode* pNodeFree;
    XMemBlock* pBlocks;
    int nBlockSize;

    XNode* NewNode(XNode* pPrev, XNode* pNext);
    void FreeNode(XNode* pNode);
    static XNode* NodeAt(POSITION position) { return reinterpret_cast<XNode*>(position); }
};

template <class TYPE, class ARG_TYPE>
typename XList<TYPE, ARG_TYPE>::XNode* XList<TYPE, ARG_TYPE>::NewNode(XNode* pPrev, XNode* pNext)
{
    if (pNodeFree == nullptr) {
        XMemBlock* pNewBlock;
        try {
            pNewBlock = XMemBlock::Create(pBlocks, static_cast<unsigned int>(nBlockSize), sizeof(XNode));
        } catch (const std::bad_alloc&) {
            XMemoryException::Throw();
        }
        // Pushed from the end, so that the block's first node comes out first.
        XNode* pNode = static_cast<XNode*>(pNewBlock->data()) + nBlockSize - 1;
        for (int i = nBlockSize - 1; i >= 0; --i, --pNode) {
            pNode->pNext = pNodeFree;
            pNodeFree = pNode;
        }
    }
    XNode* pNode = pNodeFree;
    pNodeFree = pNodeFree->pNext;
    pNode->pPrev = pPrev;
    pNode->pNext = pNext;
    ++nCount;
    XfnConstructElements(&pNode->data, 1);
    return pNode;
}

template <class TYPE, class ARG_TYPE>
void XList<TYPE, ARG_TYPE>::FreeNode(XNode* pNode)
{
    XfnDestructElements(&pNode->data, 1);
    pNode->pNext = pNodeFree;
    pNodeFree = pNode;
    --nCount;
    // An emptied list gives all of its memory back at once.
    if (nCount == 0)
        RemoveAll();
}

template <class TYPE, class ARG_TYPE>
void XList<TYPE, ARG_TYPE>::RemoveAll()
{
    if constexpr (!std::is_trivially_destructible<TYPE>::value) {
        for (XNode* pNode = pNodeHead; pNode != nullptr; pNode = pNode->pNext)
            XfnDestructElements(&pNode->data, 1);
    }
    nCount = 0;
    pNodeHead = pNodeTail = pNodeFree = nullptr;
    XMemBlock::FreeDataChain(pBlocks);
    pBlocks = nullptr;
}

template <class TYPE, class ARG_TYPE>
POSITION XList<TYPE, ARG_TYPE>::AddHead(ARG_TYPE newElement)
{
    XNode* pNewNode = NewNode(nullptr, pNodeHead);
    pNewNode->data = newElement;
    if (pNodeHead != nullptr)
        pNodeHead->pPrev = pNewNode;
    else
        pNodeTail = pNewNode;
    pNodeHead = pNewNode;
    return reinterpret_cast<POSITION>(pNewNode);
}

template <class TYPE, class ARG_TYPE>
POSITION XList<TYPE, ARG_TYPE>::AddTail(ARG_TYPE newElement)
{
    XNode* pNewNode = NewNode(pNodeTail, nullptr);
    pNewNode->data = newElement;
    if (pNodeTail != nullptr)
        pNodeTail->pNext = pNewNode;
    else
        pNodeHead = pNewNode;
    pNodeTail = pNewNode;
    return reinterpret_cast<POSITION>(pNewNode);
}

template <class TYPE, class ARG_TYPE>
TYPE XList<TYPE, ARG_TYPE>::RemoveHead()
{
    XNode* pOldNode = pNodeHead;
    TYPE returnValue = pOldNode->data;
    pNodeHead = pOldNode->pNext;
    if (pNodeHead != nullptr)
        pNodeHead->pPrev = nullptr;
    else
        pNodeTail = nullptr;
    FreeNode(pOldNode);
    return returnValue;
}

template <class TYPE, class ARG_TYPE>
TYPE XList<TYPE, ARG_TYPE>::RemoveTail()
{
    XNode* pOldNode = pNodeTail;
    TYPE returnValue = pOldNode->data;
    pNodeTail = pOldNode->pPrev;
    if (pNodeTail != nullptr)
        pNodeTail->pNext = nullptr;
    else
        pNodeHead = nullptr;
    FreeNode(pOldNode);
    return returnValue;
}

template <class TYPE, class ARG_TYPE>
TYPE& XList<TYPE, ARG_TYPE>::GetNext(POSITION& rPosition)
{
    XNode* pNode = NodeAt(rPosition);
    rPosition = reinterpret_cast<POSITION>(pNode->pNext);
    return pNode->data;
}

template <class TYPE, class ARG_TYPE>
const TYPE& XList<TYPE, ARG_TYPE>::GetNext(POSITION& rPosition) const
{
    XNode* pNode = NodeAt(rPosition);
    rPosition = reinterpret_cast<POSITION>(pNode->pNext);
    return pNode->data;
}

template <class TYPE, class ARG_TYPE>
TYPE& XList<TYPE, ARG_TYPE>::GetPrev(POSITION& rPosition)
{
    XNode* pNode = NodeAt(rPosition);
    rPosition = reinterpret_cast<POSITION>(pNode->pPrev);
    return pNode->data;
}

template <class TYPE, class ARG_TYPE>
const TYPE& XList<TYPE, ARG_TYPE>::GetPrev(POSITION& rPosition) const
{
    XNode* pNode = NodeAt(rPosition);
    rPosition = reinterpret_cast<POSITION>(pNode->pPrev);
    return pNode->data;
}

template <class TYPE, class ARG_TYPE>
void XList<TYPE, ARG_TYPE>::RemoveAt(POSITION position)
{
    XNode* pOldNode = NodeAt(position);
    if (pOldNode == pNodeHead)
        pNodeHead = pOldNode->pNext;
    else
        pOldNode->pPrev->pNext = pOldNode->pNext;
    if (pOldNode == pNodeTail)
        pNodeTail = pOldNode->pPrev;
    else
        pOldNode->pNext->pPrev = pOldNode->pPrev;
    FreeNode(pOldNode);
}

template <class TYPE, class ARG_TYPE>
POSITION XList<TYPE, ARG_TYPE>::InsertBefore(POSITION position, ARG_TYPE newElement)
{
    if (position == nullptr)
        return AddHead(newElement);
    XNode* pOldNode = NodeAt(position);
    XNode* pNewNode = NewNode(pOldNode->pPrev, pOldNode);
    pNewNode->data = newElement;
    if (pOldNode->pPrev != nullptr)
        pOldNode->pPrev->pNext = pNewNode;
    else
        pNodeHead = pNewNode;
    pOldNode->pPrev = pNewNode;
    return reinterpret_cast<POSITION>(pNewNode);
}

template <class TYPE, class ARG_TYPE>
POSITION XList<TYPE, ARG_TYPE>::InsertAfter(POSITION position, ARG_TYPE newElement)
{
    if (position == nullptr)
        return AddTail(newElement);
    XNode* pOldNode = NodeAt(position);
    XNode* pNewNode = NewNode(pOldNode, pOldNode->pNext);
    pNewNode->data = newElement;
    if (pOldNode->pNext != nullptr)
        pOldNode->pNext->pPrev = pNewNode;
    else
        pNodeTail = pNewNode;
    pOldNode->pNext = pNewNode;
    return reinterpret_cast<POSITION>(pNewNode);
}

template <class TYPE, class ARG_TYPE>
POSITION XList<TYPE, ARG_TYPE>::Find(ARG_TYPE searchValue, POSITION startAfter) const
{
    XNode* pNode = startAfter == nullptr ? pNodeHead : NodeAt(startAfter)->pNext;
    for (; pNode != nullptr; pNode = pNode->pNext)
        if (XfnCompareElements<TYPE, typename std::remove_reference<ARG_TYPE>::type>(&pNode->data, &searchValue))
            return reinterpret_cast<POSITION>(pNode);
    return nullptr;
}

template <class TYPE, class ARG_TYPE>
POSITION XList<TYPE, ARG_TYPE>::FindIndex(int nIndex) const
{
    if (nIndex < 0 || nIndex >= nCount)
        return nullptr;
    XNode* pNode = pNodeHead;
    while (nIndex-- > 0)
        pNode = pNode->pNext;
    return reinterpret_cast<POSITION>(pNode);
}

// The typed lists. All but XPtrList can be created by name and store
// themselves in an archive: the count, then the elements from head to tail,
// each in the archive's byte order. Loading appends to what the list holds.

#define XKVD_TYPED_LIST(className, TYPE, ARG_TYPE)                        \
    class KVD_API className : public XList<TYPE, ARG_TYPE> {              \
        XDECLARE_DYNCREATE(className)                                     \
    public:                                                               \
        explicit className(int nBlockSize = 10) : XList(nBlockSize) {}    \
        void Serialize(XArchive& ar) override;                            \
    };                                                                    \
    XDECLARE_ARCHIVE_OPERATORS(className)

XKVD_TYPED_LIST(XCharList, char, char)
XKVD_TYPED_LIST(XUCharList, unsigned char, unsigned char)
XKVD_TYPED_LIST(XShortList, short, short)
XKVD_TYPED_LIST(XUShortList, unsigned short, unsigned short)
XKVD_TYPED_LIST(XIntList, int, int)
XKVD_TYPED_LIST(XUIntList, unsigned int, unsigned int)
XKVD_TYPED_LIST(XInt64List, int64_t, int64_t)
XKVD_TYPED_LIST(XFloatList, float, float)
XKVD_TYPED_LIST(XDoubleList, double, double)
// Holds pointers it does not own: no operation deletes an element.
XKVD_TYPED_LIST(XObList, XObject*, XObject*)
XKVD_TYPED_LIST(XStringList, XString, const XString&)

#undef XKVD_TYPED_LIST

class KVD_API XPtrList : public XList<void*, void*> {
    XDECLARE_DYNAMIC(XPtrList)
public:
    explicit XPtrList(int nBlockSize = 10) : XList(nBlockSize) {}
};

// A last-in, first-out stack of values over a pool of heap cells, each
// element of the underlying pointer list pointing at one cell. Cells at the
// head hold the values in use, the newest first; cells behind them are free
// for reuse. Cells come nCellBlock at a time and are deleted by the
// destructor. TYPE is a pointer or another value with a null default.
template <class TYPE>
class XStack : public XPtrList {
public:
    explicit XStack(int nCellBlock = 10) : XPtrList(10), nUsed(0), nCellBlock(nCellBlock < 1 ? 1 : nCellBlock) {}
    ~XStack() override
    {
        POSITION pos = GetHeadPosition();
        while (pos != nullptr)
            delete static_cast<TYPE*>(GetNext(pos));
    }

    void Push(TYPE value)
    {
        if (nUsed == GetCount()) {
            for (int i = 0; i < nCellBlock; ++i) {
                TYPE* pCell = new TYPE();
                try {
                    AddTail(pCell);
                } catch (...) {
                    delete pCell;
                    throw;
                }
            }
        }
        TYPE* pCell = static_cast<TYPE*>(GetTail());
        *pCell = value;
        RemoveTail();
        AddHead(pCell);
        ++nUsed;
    }

    // The newest value, or a null value when the stack holds none.
    TYPE Pop()
    {
        if (nUsed < 1)
            return TYPE();
        TYPE* pCell = static_cast<TYPE*>(GetHead());
        TYPE value = *pCell;
        RemoveHead();
        AddTail(pCell);
        --nUsed;
        return value;
    }

    // Whether the stack holds values; the cells stay in the list either way.
    BOOL IsEmpty() const { return nUsed == 0; }

protected:
    int nUsed;
    int nCellBlock;
};
