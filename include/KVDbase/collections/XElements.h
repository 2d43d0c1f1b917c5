// XElements.h: the element helpers through which the collection templates
// build, destroy, copy, compare and hash their elements. Plain types are
// zero-filled; XString goes through the string helpers of the core. All are
// stateless and safe on any thread; none allocates or throws by itself.
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Win32Types.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

// Elements that may be moved by copying their bytes: the old place is then
// forgotten without a destructor. XString qualifies, being one pointer to a
// buffer that never points back at it.
template <class TYPE>
struct XRelocatable {
    static constexpr bool bValue = std::is_trivially_copyable<TYPE>::value;
};
template <>
struct XRelocatable<XString> {
    static constexpr bool bValue = true;
};

// Builds nCount elements in raw memory: all bytes zero, then the default
// constructor where the type has one of its own.
template <class TYPE>
inline void XfnConstructElements(TYPE* pElements, int nCount)
{
    if (nCount <= 0)
        return;
    std::memset(static_cast<void*>(pElements), 0, static_cast<size_t>(nCount) * sizeof(TYPE));
    if constexpr (!std::is_trivially_default_constructible<TYPE>::value) {
        for (int i = 0; i < nCount; ++i)
            ::new (static_cast<void*>(pElements + i)) TYPE;
    }
}
template <>
inline void XfnConstructElements<XString>(XString* pElements, int nCount)
{
    XfnConstructStrings(pElements, nCount);
}

// Ends the lifetime of nCount elements; nothing for plain types.
template <class TYPE>
inline void XfnDestructElements(TYPE* pElements, int nCount)
{
    if constexpr (!std::is_trivially_destructible<TYPE>::value) {
        for (int i = 0; i < nCount; ++i)
            pElements[i].~TYPE();
    }
}
template <>
inline void XfnDestructElements<XString>(XString* pElements, int nCount)
{
    XfnDestructStrings(pElements, nCount);
}

// Assigns nCount elements, in ascending order, between built elements.
template <class TYPE>
inline void XfnCopyElements(TYPE* pDest, const TYPE* pSrc, int nCount)
{
    for (int i = 0; i < nCount; ++i)
        pDest[i] = pSrc[i];
}

// 1 when the stored element equals the argument.
template <class TYPE, class ARG_TYPE>
inline BOOL XfnCompareElements(const TYPE* pElement1, const ARG_TYPE* pElement2)
{
    return *pElement1 == *pElement2 ? 1 : 0;
}

// The hash of a map key. Integers hash as their unsigned 32-bit pattern
// shifted right by 4; pointers shift their full width and keep the low 32
// bits, since heap addresses are aligned and their low bits carry nothing.
// Text keys use the string hash of the core.
template <class ARG_KEY>
inline UINT XfnHashKey(ARG_KEY key)
{
    if constexpr (std::is_pointer<ARG_KEY>::value) {
        return static_cast<UINT>(reinterpret_cast<uintptr_t>(key) >> 4);
    } else {
        static_assert(std::is_integral<ARG_KEY>::value || std::is_enum<ARG_KEY>::value,
                      "a map key needs a hash of its own");
        return static_cast<UINT>(static_cast<DWORD>(key) >> 4);
    }
}
template <>
inline UINT XfnHashKey<const char*>(const char* key)
{
    return HashKey(key);
}
template <>
inline UINT XfnHashKey<const XString&>(const XString& key)
{
    return HashKey(key);
}
