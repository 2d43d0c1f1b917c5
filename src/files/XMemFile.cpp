#include "KVDbase/files/XMemFile.h"

#include "KVDbase/core/XFrameworkException.h"

#include <cstdlib>
#include <cstring>

XIMPLEMENT_DYNAMIC(XMemFile, XFile)

namespace {

// The code of a seek before the start of a memory file.
const DWORD kNegativeSeek = 0x80004003u;

} // namespace

XMemFile::XMemFile(unsigned int nGrowStepIn)
    : nGrowStep(nGrowStepIn), nOffset(0), nCapacity(0), nContentSize(0), pBlock(nullptr), bOwnsBlock(1)
{
}

XMemFile::XMemFile(unsigned char* pBuffer, unsigned int nCapacityIn, unsigned int nGrowStepIn)
{
    Attach(pBuffer, nCapacityIn, nGrowStepIn);
}

XMemFile::~XMemFile()
{
    if (pBlock != nullptr)
        Close();
    nGrowStep = 0;
    nOffset = 0;
    nCapacity = 0;
    nContentSize = 0;
}

void XMemFile::Attach(unsigned char* pBuffer, unsigned int nCapacityIn, unsigned int nGrowStepIn)
{
    nGrowStep = nGrowStepIn;
    nOffset = 0;
    nCapacity = nCapacityIn;
    pBlock = pBuffer;
    bOwnsBlock = 0;
    nContentSize = nGrowStepIn == 0 ? nCapacityIn : 0;
}

unsigned char* XMemFile::Detach()
{
    unsigned char* p = pBlock;
    nOffset = 0;
    nCapacity = 0;
    nContentSize = 0;
    pBlock = nullptr;
    return p;
}

unsigned char* XMemFile::Alloc(DWORD nSize)
{
    return static_cast<unsigned char*>(std::malloc(nSize));
}

unsigned char* XMemFile::Realloc(unsigned char* pOld, DWORD nSize)
{
    return static_cast<unsigned char*>(std::realloc(pOld, nSize));
}

unsigned char* XMemFile::Memcpy(unsigned char* pTo, const unsigned char* pFrom, unsigned int nCount)
{
    return static_cast<unsigned char*>(std::memcpy(pTo, pFrom, nCount));
}

void XMemFile::Free(unsigned char* p)
{
    std::free(p);
}

void XMemFile::GrowFile(DWORD nNewLength)
{
    if (nNewLength <= nCapacity)
        return;
    if (nGrowStep == 0)
        XMemoryException::Throw();
    uint64_t nNew = nCapacity;
    while (nNew < nNewLength)
        nNew += nGrowStep;
    // A block cannot pass the 32-bit size of a memory file.
    if (nNew > 0xFFFFFFFFu)
        XMemoryException::Throw();
    unsigned char* pNew = pBlock != nullptr ? Realloc(pBlock, static_cast<DWORD>(nNew)) : Alloc(static_cast<DWORD>(nNew));
    if (pNew == nullptr)
        XMemoryException::Throw();
    pBlock = pNew;
    nCapacity = static_cast<unsigned int>(nNew);
}

// The end of a transfer of nCount bytes at nOffset; an end past the 32-bit
// range cannot be held.
static DWORD EndOf(unsigned int nOffset, unsigned int nCount)
{
    uint64_t nEnd = static_cast<uint64_t>(nOffset) + nCount;
    if (nEnd > 0xFFFFFFFFu)
        XMemoryException::Throw();
    return static_cast<DWORD>(nEnd);
}

unsigned int XMemFile::Read(void* pBuffer, unsigned int nCount)
{
    if (nCount == 0 || nOffset > nContentSize)
        return 0;
    if (nCount > nContentSize - nOffset)
        nCount = nContentSize - nOffset;
    if (nCount == 0)
        return 0;
    Memcpy(static_cast<unsigned char*>(pBuffer), pBlock + nOffset, nCount);
    nOffset += nCount;
    return nCount;
}

void XMemFile::Write(const void* pBuffer, unsigned int nCount)
{
    if (nCount == 0)
        return;
    DWORD nEnd = EndOf(nOffset, nCount);
    if (nEnd > nCapacity)
        GrowFile(nEnd);
    Memcpy(pBlock + nOffset, static_cast<const unsigned char*>(pBuffer), nCount);
    nOffset = nEnd;
    if (nOffset > nContentSize)
        nContentSize = nOffset;
}

int64_t XMemFile::Seek(int64_t nOff, unsigned int nFrom)
{
    int64_t nNew;
    if (nFrom == begin)
        nNew = nOff;
    else if (nFrom == current)
        nNew = static_cast<int64_t>(nOffset) + nOff;
    else if (nFrom == end)
        nNew = static_cast<int64_t>(nContentSize) + nOff;
    else
        return -1;
    if (nNew < 0)
        XFileException::ThrowError(kNegativeSeek, strPath);
    nOffset = static_cast<unsigned int>(nNew);
    return nOffset;
}

void XMemFile::SetLength(DWORD nNewLength)
{
    if (nNewLength > nCapacity)
        GrowFile(nNewLength);
    if (nOffset > nNewLength)
        nOffset = nNewLength;
    nContentSize = nNewLength;
}

int64_t XMemFile::GetLength() const
{
    return nContentSize;
}

int64_t XMemFile::GetPosition() const
{
    return nOffset;
}

void XMemFile::Flush()
{
}

void XMemFile::Close()
{
    nGrowStep = 0;
    nOffset = 0;
    nCapacity = 0;
    nContentSize = 0;
    if (pBlock != nullptr && bOwnsBlock)
        Free(pBlock);
    pBlock = nullptr;
}

void XMemFile::Abort()
{
    Close();
}

XFile* XMemFile::Duplicate() const
{
    XNotSupportedException::Throw();
}

void XMemFile::LockRange(DWORD, DWORD)
{
    XNotSupportedException::Throw();
}

void XMemFile::UnlockRange(DWORD, DWORD)
{
    XNotSupportedException::Throw();
}

unsigned int XMemFile::SetWindow(DWORD nStart, DWORD nEnd, void** ppBufStart, void** ppBufMax) const
{
    // Without a block there is nothing to point into: the window is empty.
    if (pBlock == nullptr) {
        *ppBufStart = *ppBufMax = nullptr;
        return 0;
    }
    *ppBufStart = pBlock + nStart;
    *ppBufMax = pBlock + nEnd;
    return nEnd - nStart;
}

unsigned int XMemFile::GetBufferPtr(unsigned int nCommand, unsigned int nCount, void** ppBufStart, void** ppBufMax)
{
    if (nCommand == bufferCheck)
        return 1;
    if (nCommand == bufferCommit) {
        nOffset = EndOf(nOffset, nCount);
        if (nOffset > nContentSize)
            nContentSize = nOffset;
        return 0;
    }
    if (nCommand == bufferWrite) {
        DWORD nEnd = EndOf(nOffset, nCount);
        if (nEnd > nCapacity)
            GrowFile(nEnd);
        return SetWindow(nOffset, nEnd < nCapacity ? nEnd : nCapacity, ppBufStart, ppBufMax);
    }
    // A read window, consumed at once; a count of -1 reaches as far as the
    // block, and the content cuts it.
    uint64_t nEnd = nCount == 0xFFFFFFFFu ? nCapacity : static_cast<uint64_t>(nOffset) + nCount;
    if (nEnd > nContentSize)
        nEnd = nContentSize;
    if (nEnd < nOffset)
        nEnd = nOffset;
    unsigned int nSize = SetWindow(nOffset, static_cast<DWORD>(nEnd), ppBufStart, ppBufMax);
    nOffset = static_cast<unsigned int>(nEnd);
    return nSize;
}
