// XMMFile: stream-like Read, Write and Seek over a file through a mapped
// window of one allocation granule (64 KiB) that slides along the file, so
// that files of any size take little address space. Failures answer false
// and keep a text for GetLastError; nothing throws. A copy shares the
// handles of its source: only one of the two may be closed. One thread.
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

class KVD_API XMMFile {
public:
    XMMFile();
    XMMFile(const XMMFile& src) = default;
    XMMFile& operator=(const XMMFile& src) = default;
    virtual ~XMMFile();

    // Opens, creating a missing file (which then fails, as it is empty).
    // Read-only unless nFlags has XFile::flagWrite or XFile::flagReadWrite.
    bool Open(const char* pszPath, unsigned int nFlags);
    // Cuts or extends the file to nSize bytes and opens it for writing.
    bool Create(const char* pszPath, uint64_t nSize);
    // The same on a temporary file ("XMMFileTemp..."), removed at Close.
    bool Create(uint64_t nSize);
    void Close();
    bool Flush();
    // The bytes copied, cut at the end of the file.
    unsigned int Read(unsigned char* pBuffer, unsigned int nCount);
    // Grows the file when the transfer passes its end; with bFlush, each
    // part that crosses a window is written through at once.
    void Write(unsigned char* pBuffer, unsigned int nCount, bool bFlush);
    // Positions must lie inside the file: the end itself is refused.
    bool Seek(int64_t nOffset, unsigned int nFrom);
    // The file on disk is made one granule longer than nLength, so that a
    // window near the end can be mapped; GetLength answers nLength.
    bool SetLength(uint64_t& nLength);
    uint64_t GetLength() { return nFileSize; }
    uint64_t GetPosition() { return nPosition; }
    void GetLastError(XString& strText) { strText = strLastError; }

protected:
    // The size of a full window at nBase, cut at the end of the file.
    DWORD WindowSizeAt(uint64_t nBase) const;
    void MapWindow();

    int hFile;            // descriptor, -1 when none (0 is a valid descriptor here)
    int hMapping;         // mapping, -1 when none
    unsigned char* pView; // the mapped window, null when none
    uint64_t nFileSize;
    uint64_t nMappedSize; // length given at the last open or SetLength
    uint64_t nPosition;
    uint64_t nWindowBase; // a multiple of nGranularity
    DWORD nWindowSize;
    DWORD nGranularity;
    DWORD nProtect;       // 2 read-only, 4 read-write
    DWORD nMapAccess;     // 4 read, 0xF001F all
    XString strLastError;
    XString strTempFile;
};
