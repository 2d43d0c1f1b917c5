// Helpers of the stream tests: store into and load from memory, build the
// expected bytes of class records and hierarchy blocks.
#pragma once

#include "KVDbase/core/XArchive.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XMemFile.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace collstream {

typedef std::vector<unsigned char> Bytes;

const unsigned int nSwapModes[] = {0u, static_cast<unsigned int>(XArchive::bNoByteSwap)};

// Stores with fn into a memory file and returns the stream's bytes.
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

// Loads from bytes with fn, through a memory file that borrows them.
template <typename Fn>
void Load(Bytes bytes, Fn fn, unsigned int nMode = XArchive::load)
{
    bytes.push_back(0);  // never hand out a null block
    XMemFile file(bytes.data(), static_cast<unsigned int>(bytes.size() - 1), 0);
    XArchive ar(&file, nMode);
    fn(ar);
}

inline Bytes Concat(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& b : parts)
        all.insert(all.end(), b.begin(), b.end());
    return all;
}

// A 32-bit value in the archive's order: big-endian unless bNoSwap.
inline Bytes U32(unsigned int n, bool bNoSwap = false)
{
    Bytes b = {static_cast<unsigned char>(n >> 24), static_cast<unsigned char>(n >> 16),
               static_cast<unsigned char>(n >> 8), static_cast<unsigned char>(n)};
    if (bNoSwap)
        return Bytes(b.rbegin(), b.rend());
    return b;
}

inline Bytes ClassRecord(const std::string& strName, bool bNoSwap = false)
{
    Bytes length = {static_cast<unsigned char>(strName.size() >> 8), static_cast<unsigned char>(strName.size())};
    if (bNoSwap)
        length = Bytes(length.rbegin(), length.rend());
    return Concat({U32(1, bNoSwap), length, Bytes(strName.begin(), strName.end())});
}

// The block naming a class derived directly from XObject, both still new.
inline Bytes NewHierarchy(const std::string& strName, bool bNoSwap = false)
{
    return Concat({U32(0xFA2D481Cu, bNoSwap), U32(2, bNoSwap), ClassRecord(strName, bNoSwap),
                   ClassRecord("XObject", bNoSwap)});
}

// The block of a class already stored.
inline Bytes KnownHierarchy(bool bNoSwap = false)
{
    return Concat({U32(0xFA2D481Cu, bNoSwap), U32(0, bNoSwap)});
}

} // namespace collstream
