// Helpers of the archive and collection stream tests: store into and load
// from memory, and the expected bytes of counts, class records and hierarchy
// blocks.
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

// Stores x through its pointer operator and reads it back through its own twice: from memory, with the
// memory file's own block as the archive's buffer, and from a file on disk through a 128-byte buffer. Both
// streams must be the same bytes, and so must both objects stored again; the one from the file is returned.
template <class X>
std::unique_ptr<X> RoundTrip(const X& x, unsigned int nSwap)
{
    const Bytes b = Store([&](XArchive& ar) { ar << &x; }, XArchive::store | nSwap);
    X* pFromMemory = nullptr;
    Load(b, [&](XArchive& ar) { ar >> pFromMemory; }, XArchive::load | nSwap);
    std::unique_ptr<X> fromMemory(pFromMemory);

    const std::string strPath = "/tmp/kvd_collstream_" + std::to_string(static_cast<long>(getpid()));
    {
        XFile file(strPath.c_str(), XFile::flagCreate | XFile::flagWrite);
        XArchive ar(&file, XArchive::store | nSwap, 128);
        ar << &x;
        ar.Close();
    }
    X* pFromFile = nullptr;
    {
        XFile file(strPath.c_str(), XFile::flagRead);
        Bytes onDisk(static_cast<size_t>(file.GetLength()) + 1);
        onDisk.resize(file.Read(onDisk.data(), static_cast<unsigned int>(onDisk.size())));
        EXPECT_EQ(onDisk, b) << "the stream through a file differs from the one in memory";
        file.SeekToBegin();
        XArchive ar(&file, XArchive::load | nSwap, 128);
        ar >> pFromFile;
    }
    XFile::Remove(strPath.c_str());
    std::unique_ptr<X> fromFile(pFromFile);
    EXPECT_EQ(fromMemory == nullptr, fromFile == nullptr);
    if (fromMemory != nullptr && fromFile != nullptr) {
        EXPECT_EQ(Store([&](XArchive& ar) { ar << fromMemory.get(); }, XArchive::store | nSwap),
                  Store([&](XArchive& ar) { ar << fromFile.get(); }, XArchive::store | nSwap))
            << "memory and file loads differ";
    }
    return fromFile;
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
