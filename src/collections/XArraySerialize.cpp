// The stream forms of the arrays and their pointer operators.
#include "KVDbase/collections/XArray.h"

#include <cstddef>

namespace {

// The archive counts bytes in unsigned ints; element memory may hold more,
// so it travels in pieces of at most 1 GB.
const size_t cbPiece = size_t(1) << 30;

void WriteRaw(XArchive& ar, const void* pData, size_t cbData)
{
    const BYTE* pBytes = static_cast<const BYTE*>(pData);
    while (cbData > 0) {
        unsigned int nPiece = static_cast<unsigned int>(cbData < cbPiece ? cbData : cbPiece);
        ar.Write(pBytes, nPiece);
        pBytes += nPiece;
        cbData -= nPiece;
    }
}

// A stream that ends early leaves the rest of the elements zero.
void ReadRaw(XArchive& ar, void* pData, size_t cbData)
{
    BYTE* pBytes = static_cast<BYTE*>(pData);
    while (cbData > 0) {
        unsigned int nPiece = static_cast<unsigned int>(cbData < cbPiece ? cbData : cbPiece);
        unsigned int nRead = ar.Read(pBytes, nPiece);
        if (nRead < nPiece)
            return;
        pBytes += nPiece;
        cbData -= nPiece;
    }
}

// The count always takes 4 bytes in the archive's order. A stored count
// beyond the signed range becomes a negative size, which SetSize refuses
// with the memory exception; any other count is allocated as asked.
int ReadCount(XArchive& ar)
{
    DWORD nCount;
    ar >> nCount;
    return static_cast<int>(nCount);
}

template <class ARRAY>
void SerializeRaw(XArchive& ar, ARRAY& array)
{
    const size_t cbElement = sizeof(*array.GetData());
    if (ar.IsStoring()) {
        ar << array.GetSize();
        WriteRaw(ar, array.GetData(), static_cast<size_t>(array.GetSize()) * cbElement);
    } else {
        array.SetSize(ReadCount(ar), -1);
        ReadRaw(ar, array.GetData(), static_cast<size_t>(array.GetSize()) * cbElement);
    }
}

} // namespace

void XByteArray::Serialize(XArchive& ar)
{
    XObject::Serialize(ar);
    SerializeRaw(ar, *this);
}

void XWordArray::Serialize(XArchive& ar)
{
    XObject::Serialize(ar);
    SerializeRaw(ar, *this);
}

void XDWordArray::Serialize(XArchive& ar)
{
    XObject::Serialize(ar);
    SerializeRaw(ar, *this);
}

void XUIntArray::Serialize(XArchive& ar)
{
    XObject::Serialize(ar);
    SerializeRaw(ar, *this);
}

void XObArray::Serialize(XArchive& ar)
{
    XObject::Serialize(ar);
    if (ar.IsStoring()) {
        ar << nSize;
        for (int i = 0; i < nSize; ++i)
            ar << static_cast<const XObject*>(pData[i]);
    } else {
        SetSize(ReadCount(ar), -1);
        for (int i = 0; i < nSize; ++i)
            ar >> pData[i];
    }
}

void XStringArray::Serialize(XArchive& ar)
{
    XObject::Serialize(ar);
    if (ar.IsStoring()) {
        ar << nSize;
        for (int i = 0; i < nSize; ++i)
            ar << pData[i];
    } else {
        SetSize(ReadCount(ar), -1);
        for (int i = 0; i < nSize; ++i)
            ar >> pData[i];
    }
}

XIMPLEMENT_ARCHIVE_OPERATORS(XByteArray)
XIMPLEMENT_ARCHIVE_OPERATORS(XWordArray)
XIMPLEMENT_ARCHIVE_OPERATORS(XDWordArray)
XIMPLEMENT_ARCHIVE_OPERATORS(XUIntArray)
XIMPLEMENT_ARCHIVE_OPERATORS(XObArray)
XIMPLEMENT_ARCHIVE_OPERATORS(XStringArray)
