// Byte helpers of the drawing tests: memory streams through XArchive, and writers that build the expected bytes
// independently of the code under test (records little-endian, archive values big-endian, the archive's default).
#pragma once

#include "KVDbase/core/XArchive.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/files/XMemFile.h"
#include "drawing/XVertRecord.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

typedef std::vector<unsigned char> Bytes;

// Stores with fn into a memory file and returns the stream's bytes.
template <typename Fn> Bytes StoreBytes(Fn fn)
{
    XMemFile file;
    {
        XArchive ar(&file, XArchive::store);
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
template <typename Fn> void LoadBytes(Bytes bytes, Fn fn)
{
    bytes.push_back(0); // never hand out a null block
    XMemFile file(bytes.data(), static_cast<unsigned int>(bytes.size() - 1), 0);
    XArchive ar(&file, XArchive::load);
    fn(ar);
}

// Appends values in one byte order.
class ByteWriter {
public:
    explicit ByteWriter(bool bBigEndian) : bBig(bBigEndian) {}
    ByteWriter& U8(unsigned v) { return Int(v, 1); }
    ByteWriter& U16(unsigned v) { return Int(v, 2); }
    ByteWriter& U32(uint32_t v) { return Int(v, 4); }
    ByteWriter& I32(int32_t v) { return Int(static_cast<uint32_t>(v), 4); }
    ByteWriter& F64(double d)
    {
        uint64_t v;
        std::memcpy(&v, &d, 8);
        return Int(v, 8);
    }
    ByteWriter& Raw(const void* p, size_t n)
    {
        const unsigned char* b = static_cast<const unsigned char*>(p);
        bytes.insert(bytes.end(), b, b + n);
        return *this;
    }
    ByteWriter& Raw(const Bytes& b) { return Raw(b.data(), b.size()); }
    ByteWriter& Zeros(size_t n) { return Raw(Bytes(n, 0)); }
    Bytes bytes;

private:
    ByteWriter& Int(uint64_t v, int n)
    {
        for (int i = 0; i < n; ++i) {
            const int nShift = bBig ? 8 * (n - 1 - i) : 8 * i;
            bytes.push_back(static_cast<unsigned char>(v >> nShift));
        }
        return *this;
    }
    bool bBig;
};

inline ByteWriter Le() { return ByteWriter(false); }
inline ByteWriter Be() { return ByteWriter(true); }

// The kinds of a buffer's records, in order.
inline std::vector<int> Kinds(const XVertBuffer& vb)
{
    std::vector<int> v;
    for (int i = 0; i < vb.GetRecordCount(); ++i)
        v.push_back(XVertRecord::Kind(vb.GetRecord(i)));
    return v;
}

// Record bytes as a vector.
inline Bytes RecordBytes(const void* pRecord, size_t nSize)
{
    const unsigned char* p = static_cast<const unsigned char*>(pRecord);
    return Bytes(p, p + nSize);
}
