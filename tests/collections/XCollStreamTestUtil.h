// Stream test helpers: store into and load from memory; the expected bytes of counts and class blocks.
#pragma once

#include "KVDbase/core/XArchive.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XFile.h"
#include "KVDbase/files/XMemFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace collstream {

typedef std::vector<unsigned char> Bytes;

const unsigned int nSwapModes[] = {0u, static_cast<unsigned int>(XArchive::bNoByteSwap)};

template <typename Fn>
Bytes Store(Fn fn, unsigned int nMode = XArchive::store)
{
    XMemFile file;
    {
        XArchive ar(&file, nMode);
        fn(ar);
        ar.Close();
    }
    Bytes bytes(static_cast<size_t>(file.GetLength()));
    file.SeekToBegin();
    if (!bytes.empty())
        file.Read(bytes.data(), static_cast<unsigned int>(bytes.size()));
    return bytes;
}

template <typename Fn>
void Load(Bytes bytes, Fn fn, unsigned int nMode = XArchive::load)
{
    bytes.push_back(0);  // never hand out a null block
    XMemFile file(bytes.data(), static_cast<unsigned int>(bytes.size() - 1), 0);
    XArchive ar(&file, nMode);
    fn(ar);
}

// Stores x through its pointer operator and reads it back; the object read must store the same bytes.
template <class X>
std::unique_ptr<X> RoundTrip(const X& x, unsigned int nSwap)
{
    const Bytes b = Store([&](XArchive& ar) { ar << &x; }, XArchive::store | nSwap);
    X* pBack = nullptr;
    Load(b, [&](XArchive& ar) { ar >> pBack; }, XArchive::load | nSwap);
    std::unique_ptr<X> back(pBack);
    if (back != nullptr) {
        EXPECT_EQ(Store([&](XArchive& ar) { ar << back.get(); }, XArchive::store | nSwap), b);
    }
    return back;
}

inline Bytes Concat(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& b : parts)
        all.insert(all.end(), b.begin(), b.end());
    return all;
}

// n in the archive's order: big-endian, or little-endian when bNoSwap.
inline Bytes Ordered(unsigned int n, int cb, bool bNoSwap)
{
    Bytes b;
    for (int i = cb - 1; i >= 0; --i)
        b.push_back(static_cast<unsigned char>(n >> (8 * i)));
    return bNoSwap ? Bytes(b.rbegin(), b.rend()) : b;
}

inline Bytes U32(unsigned int n, bool bNoSwap = false)
{
    return Ordered(n, 4, bNoSwap);
}

// The block naming a class derived directly from XObject, both still new.
inline Bytes NewHierarchy(const std::string& strName, bool bNoSwap = false)
{
    Bytes all = Concat({U32(0xFA2D481Cu, bNoSwap), U32(2, bNoSwap)});
    for (const std::string& s : {strName, std::string("XObject")})
        all = Concat({all, U32(1, bNoSwap), Ordered(static_cast<unsigned int>(s.size()), 2, bNoSwap),
                      Bytes(s.begin(), s.end())});
    return all;
}

// The block of a class already stored.
inline Bytes KnownHierarchy(bool bNoSwap = false)
{
    return Concat({U32(0xFA2D481Cu, bNoSwap), U32(0, bNoSwap)});
}

} // namespace collstream
