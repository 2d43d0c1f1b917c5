// XStdioFile: an XFile read and written through a C runtime stream, for
// buffered access and line-based text. Failures throw XFileErrorException
// with a cause, the system error and the path (the path constructor throws
// XFileException); unlike XFile, Close can throw. An adopted stream is never
// closed by the object. One object, one thread.
#pragma once

#include "KVDbase/files/XFile.h"

#include <cstdio>

class KVD_API XStdioFile : public XFile {
    XDECLARE_DYNAMIC(XStdioFile)
public:
    XStdioFile();
    // Adopts an open stream; the destructor leaves it open.
    explicit XStdioFile(FILE* pOpenStream);
    XStdioFile(const char* pszPath, unsigned int nFlags);
    ~XStdioFile() override;

    int64_t GetPosition() const override;
    // Opens the file and a stream on it: text mode unless flagBinary is set.
    int Open(const char* pszPath, unsigned int nFlags, XFileException* pError = nullptr) override;
    XFile* Duplicate() const override;
    int64_t Seek(int64_t nOffset, unsigned int nFrom) override;
    unsigned int Read(void* pBuffer, unsigned int nCount) override;
    void Write(const void* pBuffer, unsigned int nCount) override;
    void LockRange(DWORD nPos, DWORD nCount) override;
    void UnlockRange(DWORD nPos, DWORD nCount) override;
    void Abort() override;
    void Flush() override;
    void Close() override;

    virtual void WriteString(const char* pszText);
    // One line without its line feed; 1 when text was read, 0 at end of file.
    virtual int ReadString(XString& strText);
    // At most nSize - 1 characters, the line feed kept; null at end of file.
    virtual char* ReadString(char* pszBuffer, unsigned int nSize);

    // The stream mode that Open builds from the flags ("rt", "r+t", "wb"...).
    static void GetModeString(unsigned int nFlags, char* pszMode);

    FILE* pStream;
};
