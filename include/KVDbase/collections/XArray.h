// XArray.h: growable arrays, the template XArray<TYPE, ARG_TYPE> and one class
// per element type built on it. An array owns its element memory but never
// what pointer elements point to. One thread at a time; indexes are not
// checked. A failed allocation throws XMemoryException and leaves the array
// as it was.
#pragma once

#include "KVDbase/collections/XElements.h"
#include "KVDbase/core/XArchive.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <type_traits>

KVD_API uint64_t XfnGetAvailablePhysicalMemory();

template <class TYPE, class ARG_TYPE>
class XArray : public XObject {
public:
    XArray() : pData(nullptr), nSize(0), nMaxSize(0), nGrowBy(0) {}
    ~XArray() override { ReleaseAll(); }

    int GetSize() const { return nSize; }
    int GetUpperBound() const { return nSize - 1; }
    // Sets the count of elements; new ones are zero (or built empty). A
    // nGrowBy other than -1 is kept as the step of later growth, 0 meaning
    // one eighth of the size, at least 4 and at most 1024 elements.
    void SetSize(int nNewSize, int nGrowByArg = -1);
    // Gives back the capacity beyond the size.
    void FreeExtra();
    void RemoveAll() { SetSize(0, -1); }

    const TYPE& GetAt(int nIndex) const { return pData[nIndex]; }
    void SetAt(int nIndex, ARG_TYPE newElement) { pData[nIndex] = newElement; }
    TYPE& ElementAt(int nIndex) { return pData[nIndex]; }
    const TYPE* GetData() const { return pData; }
    TYPE* GetData() { return pData; }
    const TYPE& operator[](int nIndex) const { return pData[nIndex]; }
    TYPE& operator[](int nIndex) { return pData[nIndex]; }

    // Stores at nIndex, growing the array to nIndex + 1 first if needed.
    void SetAtGrow(int nIndex, ARG_TYPE newElement);
    // Appends one element and returns its index.
    int Add(ARG_TYPE newElement);
    // Appends all of src and returns the index of its first element here.
    int Append(const XArray& src);
    // Makes this array an element-by-element copy of src.
    void Copy(const XArray& src);

    // Inserts nCount copies of newElement before nIndex, or past the end
    // (filling the gap with zero elements) when nIndex is beyond it.
    void InsertAt(int nIndex, ARG_TYPE newElement, int nCount = 1);
    // Inserts all elements of pNewArray before nStartIndex.
    void InsertAt(int nStartIndex, const XArray* pNewArray);
    // Removes nCount elements from nIndex on; the capacity stays.
    void RemoveAt(int nIndex, int nCount = 1);

protected:
    TYPE* pData;
    int nSize;
    int nMaxSize;
    int nGrowBy;

private:
    static constexpr bool bRelocatable = XRelocatable<TYPE>::bValue;
    // A new block whose tail is big enough is taken zeroed from the
    // allocator, which for large blocks means untouched pages: a huge size
    // then costs address space, not memory, until it is used.
    static constexpr size_t cbZeroedTail = 1u << 20;

    // a + b, or XMemoryException when no array could hold that many.
    static int SizeSum(int a, int b)
    {
        int nSum;
        if (__builtin_add_overflow(a, b, &nSum))
            XMemoryException::Throw();
        return nSum;
    }
    void InsertCopies(int nIndex, const TYPE& newElement, int nCount);
    // Moves the nSize elements in use into a block of nNewMax elements.
    // Returns true when the memory behind them is known to be zero.
    bool Reallocate(int nNewMax);
    void ReleaseAll();
};

template <class TYPE, class ARG_TYPE>
void XArray<TYPE, ARG_TYPE>::ReleaseAll()
{
    if (pData != nullptr) {
        XfnDestructElements(pData, nSize);
        std::free(pData);
        pData = nullptr;
    }
    nSize = nMaxSize = 0;
}

template <class TYPE, class ARG_TYPE>
bool XArray<TYPE, ARG_TYPE>::Reallocate(int nNewMax)
{
    const size_t cbUsed = static_cast<size_t>(nSize) * sizeof(TYPE);
    const size_t cbNew = static_cast<size_t>(nNewMax) * sizeof(TYPE);
    TYPE* pNewData;
    bool bZeroTail = false;
    if (bRelocatable && cbNew - cbUsed >= cbZeroedTail && cbNew - cbUsed >= cbUsed) {
        pNewData = static_cast<TYPE*>(std::calloc(static_cast<size_t>(nNewMax), sizeof(TYPE)));
        if (pNewData == nullptr)
            XMemoryException::Throw();
        if (cbUsed != 0)
            std::memcpy(static_cast<void*>(pNewData), static_cast<const void*>(pData), cbUsed);
        std::free(pData);
        bZeroTail = true;
    } else if (bRelocatable) {
        pNewData = static_cast<TYPE*>(std::realloc(static_cast<void*>(pData), cbNew));
        if (pNewData == nullptr)
            XMemoryException::Throw();
    } else {
        pNewData = static_cast<TYPE*>(std::malloc(cbNew));
        if (pNewData == nullptr)
            XMemoryException::Throw();
        for (int i = 0; i < nSize; ++i) {
            ::new (static_cast<void*>(pNewData + i)) TYPE(static_cast<TYPE&&>(pData[i]));
            pData[i].~TYPE();
        }
        std::free(pData);
    }
    pData = pNewData;
    nMaxSize = nNewMax;
    return bZeroTail;
}

template <class TYPE, class ARG_TYPE>
void XArray<TYPE, ARG_TYPE>::SetSize(int nNewSize, int nGrowByArg)
{
    if (nGrowByArg != -1)
        nGrowBy = nGrowByArg;
    // No array holds a negative count: such a size (an overflowed sum, or a
    // stored count above the signed range) cannot be allocated.
    if (nNewSize < 0)
        XMemoryException::Throw();
    // Elements that must be constructed touch all their memory at once.
    // More than the machine has free fails here, as an allocation, rather
    // than bringing the system to its knees (a damaged stored count does
    // exactly that).
    if constexpr (!std::is_trivially_default_constructible<TYPE>::value) {
        const uint64_t cbConstruct = static_cast<uint64_t>(nNewSize > nSize ? nNewSize - nSize : 0) * sizeof(TYPE);
        if (cbConstruct > (64u << 20) && cbConstruct > XfnGetAvailablePhysicalMemory())
            XMemoryException::Throw();
    }

    if (nNewSize == 0) {
        ReleaseAll();
        return;
    }
    if (pData == nullptr) {
        TYPE* pNewData = static_cast<TYPE*>(std::calloc(static_cast<size_t>(nNewSize), sizeof(TYPE)));
        if (pNewData == nullptr)
            XMemoryException::Throw();
        if constexpr (!std::is_trivially_default_constructible<TYPE>::value)
            XfnConstructElements(pNewData, nNewSize);
        pData = pNewData;
        nSize = nMaxSize = nNewSize;
        return;
    }
    if (nNewSize <= nMaxSize) {
        if (nNewSize > nSize)
            XfnConstructElements(pData + nSize, nNewSize - nSize);
        else if (nNewSize < nSize)
            XfnDestructElements(pData + nNewSize, nSize - nNewSize);
        nSize = nNewSize;
        return;
    }

    int nGrow = nGrowBy;
    if (nGrow == 0)
        nGrow = std::min(1024, std::max(4, nSize / 8));
    long long nNewMax = static_cast<long long>(nMaxSize) + nGrow;
    if (nNewMax < nNewSize)
        nNewMax = nNewSize;
    if (nNewMax > INT_MAX)
        nNewMax = INT_MAX;
    bool bZeroTail = Reallocate(static_cast<int>(nNewMax));
    if (!bZeroTail || !std::is_trivially_default_constructible<TYPE>::value)
        XfnConstructElements(pData + nSize, nNewSize - nSize);
    nSize = nNewSize;
}

template <class TYPE, class ARG_TYPE>
void XArray<TYPE, ARG_TYPE>::FreeExtra()
{
    if (nSize == nMaxSize)
        return;
    if (nSize == 0) {
        ReleaseAll();
        return;
    }
    Reallocate(nSize);
}

template <class TYPE, class ARG_TYPE>
void XArray<TYPE, ARG_TYPE>::SetAtGrow(int nIndex, ARG_TYPE newElement)
{
    if (nIndex >= nSize) {
        if constexpr (std::is_reference<ARG_TYPE>::value) {
            // The argument may be an element of this array, which growing
            // would move away: keep a copy across the growth.
            if (nIndex >= nMaxSize) {
                TYPE keep(newElement);
                SetSize(SizeSum(nIndex, 1), -1);
                pData[nIndex] = keep;
                return;
            }
        }
        SetSize(SizeSum(nIndex, 1), -1);
    }
    pData[nIndex] = newElement;
}

template <class TYPE, class ARG_TYPE>
inline int XArray<TYPE, ARG_TYPE>::Add(ARG_TYPE newElement)
{
    int nIndex = nSize;
    if (nIndex < nMaxSize) {
        XfnConstructElements(pData + nIndex, 1);
        ++nSize;
        pData[nIndex] = newElement;
    } else {
        SetAtGrow(nIndex, newElement);
    }
    return nIndex;
}

template <class TYPE, class ARG_TYPE>
int XArray<TYPE, ARG_TYPE>::Append(const XArray& src)
{
    int nOldSize = nSize;
    int nSrcSize = src.nSize;
    SetSize(SizeSum(nOldSize, nSrcSize), -1);
    // Read src.pData only now: appending an array to itself reallocates it.
    XfnCopyElements(pData + nOldSize, src.pData, nSrcSize);
    return nOldSize;
}

template <class TYPE, class ARG_TYPE>
void XArray<TYPE, ARG_TYPE>::Copy(const XArray& src)
{
    if (this == &src)
        return;
    SetSize(src.nSize, -1);
    XfnCopyElements(pData, src.pData, src.nSize);
}

template <class TYPE, class ARG_TYPE>
void XArray<TYPE, ARG_TYPE>::InsertAt(int nIndex, ARG_TYPE newElement, int nCount)
{
    if constexpr (std::is_reference<ARG_TYPE>::value) {
        // As in SetAtGrow: the argument may live in this array.
        TYPE keep(newElement);
        InsertCopies(nIndex, keep, nCount);
    } else {
        InsertCopies(nIndex, newElement, nCount);
    }
}

template <class TYPE, class ARG_TYPE>
void XArray<TYPE, ARG_TYPE>::InsertCopies(int nIndex, const TYPE& newElement, int nCount)
{
    if (nCount <= 0)
        return;
    if (nIndex < nSize) {
        int nOldSize = nSize;
        SetSize(SizeSum(nSize, nCount), -1);
        if constexpr (bRelocatable) {
            // The elements just built at the end are overwritten by the move.
            XfnDestructElements(pData + nOldSize, nCount);
            std::memmove(static_cast<void*>(pData + nIndex + nCount), static_cast<const void*>(pData + nIndex),
                         static_cast<size_t>(nOldSize - nIndex) * sizeof(TYPE));
            XfnConstructElements(pData + nIndex, nCount);
        } else {
            std::move_backward(pData + nIndex, pData + nOldSize, pData + nOldSize + nCount);
        }
    } else {
        SetSize(SizeSum(nIndex, nCount), -1);
    }
    for (int i = nIndex; i < nIndex + nCount; ++i)
        pData[i] = newElement;
}

template <class TYPE, class ARG_TYPE>
void XArray<TYPE, ARG_TYPE>::InsertAt(int nStartIndex, const XArray* pNewArray)
{
    if (pNewArray == nullptr || pNewArray->nSize == 0)
        return;
    if (pNewArray == this) {
        XArray copy;
        copy.Copy(*this);
        InsertAt(nStartIndex, &copy);
        return;
    }
    InsertCopies(nStartIndex, pNewArray->pData[0], pNewArray->nSize);
    for (int i = 1; i < pNewArray->nSize; ++i)
        pData[nStartIndex + i] = pNewArray->pData[i];
}

template <class TYPE, class ARG_TYPE>
void XArray<TYPE, ARG_TYPE>::RemoveAt(int nIndex, int nCount)
{
    // A range running past the end removes up to the end.
    if (nCount > nSize - nIndex)
        nCount = nSize - nIndex;
    if (nCount <= 0)
        return;
    int nMoveCount = nSize - (nIndex + nCount);
    if constexpr (bRelocatable) {
        XfnDestructElements(pData + nIndex, nCount);
        if (nMoveCount > 0)
            std::memmove(static_cast<void*>(pData + nIndex), static_cast<const void*>(pData + nIndex + nCount),
                         static_cast<size_t>(nMoveCount) * sizeof(TYPE));
    } else {
        std::move(pData + nIndex + nCount, pData + nSize, pData + nIndex);
        XfnDestructElements(pData + nSize - nCount, nCount);
    }
    nSize -= nCount;
}

// The typed arrays. Those that can be created by name store themselves in
// an archive: the count, then the elements. The four integer arrays write
// their element memory as one raw block in the machine's own byte order,
// whatever the archive's; XObArray writes object references and
// XStringArray strings. Loading replaces the content. XPtrArray holds raw
// pointers and never reaches a stream.

#define XKVD_STREAMED_ARRAY(className, TYPE, ARG_TYPE)              \
    class KVD_API className : public XArray<TYPE, ARG_TYPE> {       \
        XDECLARE_DYNCREATE(className)                               \
    public:                                                         \
        void Serialize(XArchive& ar) override;                      \
    };                                                              \
    XDECLARE_ARCHIVE_OPERATORS(className)

XKVD_STREAMED_ARRAY(XByteArray, BYTE, BYTE)
XKVD_STREAMED_ARRAY(XWordArray, WORD, WORD)
XKVD_STREAMED_ARRAY(XDWordArray, DWORD, DWORD)
XKVD_STREAMED_ARRAY(XUIntArray, UINT, UINT)
// Holds pointers it does not own: no operation deletes an element, and after
// a load the application owns the objects read.
XKVD_STREAMED_ARRAY(XObArray, XObject*, XObject*)
XKVD_STREAMED_ARRAY(XStringArray, XString, const XString&)

#undef XKVD_STREAMED_ARRAY

class KVD_API XPtrArray : public XArray<void*, void*> {
    XDECLARE_DYNAMIC(XPtrArray)
};
