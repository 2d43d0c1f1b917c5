// XMemFile: an XFile whose bytes live in one block of memory, grown in steps
// of nGrowStep or borrowed from the caller, with direct access to the block
// through GetBufferPtr so that an archive can work in place. A borrowed block
// that grows is passed to realloc. Growth past a fixed block throws
// XMemoryException, a negative seek XFileException; one object, one thread.
#pragma once

#include "KVDbase/files/XFile.h"

class KVD_API XMemFile : public XFile {
    XDECLARE_DYNAMIC(XMemFile)
public:
    // GetBufferPtr commands.
    enum BufferCommand : unsigned int { bufferRead = 0, bufferWrite = 1, bufferCommit = 2, bufferCheck = 3 };

    // An empty, owned block that grows in steps of nGrowStep (0: never).
    explicit XMemFile(unsigned int nGrowStep = 1024);
    // Borrows the caller's block. With nGrowStep 0 it counts as full of
    // content and cannot grow; otherwise as empty.
    XMemFile(unsigned char* pBuffer, unsigned int nCapacity, unsigned int nGrowStep = 0);
    ~XMemFile() override;

    // As the borrowing constructor, on a live object; the former block is
    // neither closed nor freed.
    void Attach(unsigned char* pBuffer, unsigned int nCapacity, unsigned int nGrowStep = 0);
    // Hands the block to the caller and leaves the object empty.
    unsigned char* Detach();

    int64_t GetPosition() const override;
    // Not supported: throws XNotSupportedException.
    XFile* Duplicate() const override;
    // A position past the content is allowed; a negative one throws.
    int64_t Seek(int64_t nOffset, unsigned int nFrom) override;
    int64_t GetLength() const override;
    unsigned int Read(void* pBuffer, unsigned int nCount) override;
    void Write(const void* pBuffer, unsigned int nCount) override;
    void LockRange(DWORD nPos, DWORD nCount) override;
    void UnlockRange(DWORD nPos, DWORD nCount) override;
    void Abort() override;
    void Flush() override;
    // Frees an owned block; a closed memory file cannot grow again.
    void Close() override;
    // 3: 1, a buffer is offered. 1: a write window of nCount bytes at the
    // position (the block grows first). 2: commits nCount written bytes.
    // 0: a read window of up to nCount bytes (-1: all), consumed at once.
    // The answer for 0 and 1 is the window's size.
    unsigned int GetBufferPtr(unsigned int nCommand, unsigned int nCount, void** ppBufStart,
                              void** ppBufMax) override;

    unsigned int GetCapacity() const { return nCapacity; }
    unsigned int GetGrowStep() const { return nGrowStep; }

protected:
    // The block's memory; a derived class may place it elsewhere.
    virtual unsigned char* Alloc(DWORD nSize);
    virtual unsigned char* Realloc(unsigned char* pBlock, DWORD nSize);
    virtual unsigned char* Memcpy(unsigned char* pTo, const unsigned char* pFrom, unsigned int nCount);
    virtual void Free(unsigned char* pBlock);
    // Grows the block in whole steps to at least nNewLength.
    virtual void GrowFile(DWORD nNewLength);

private:
    unsigned int SetWindow(DWORD nStart, DWORD nEnd, void** ppBufStart, void** ppBufMax) const;

public:
    // The length of a memory file. It hides XFile::SetLength, which does not
    // apply to memory: reached through an XFile pointer, it throws.
    virtual void SetLength(DWORD nNewLength);

protected:
    unsigned int nGrowStep;
    unsigned int nOffset;
    unsigned int nCapacity;
    unsigned int nContentSize;
    unsigned char* pBlock;
    int bOwnsBlock;
};
