#include "KVDbase/files/XMMFile.h"

#include "KVDbase/files/XFile.h"
#include "KVDbase/files/XPath.h"
#include "platform/XSysFile.h"
#include "platform/XSysMap.h"

#include <cstring>

namespace {

const DWORD kPageReadOnly = 2;
const DWORD kPageReadWrite = 4;
const DWORD kMapRead = 4;
const DWORD kMapAllAccess = 0xF001F;

const char kOpenFailed[] = "Error encountered during file open.";
const char kZeroLength[] = "Cannot open zero byte file.";
const char kMappingFailed[] = "Failed to create file mapping object.";
const char kViewFailed[] = "Failed to map view of file.";
const char kCreateFailed[] = "Failed to create file.";
const char kPointerFailed[] = "The file pointer cannot be set to specified location.";
const char kEndFailed[] = "Failed to set end of file.";
const char kSeekOutside[] = "Seek request lies outside file boundary.";

} // namespace

XMMFile::XMMFile()
    : hFile(-1), hMapping(-1), pView(nullptr), nFileSize(0), nMappedSize(0), nPosition(0), nWindowBase(0),
      nWindowSize(kSysAllocationGranularity), nGranularity(kSysAllocationGranularity), nProtect(0), nMapAccess(0)
{
}

XMMFile::~XMMFile()
{
    Close();
}

DWORD XMMFile::WindowSizeAt(uint64_t nBase) const
{
    if (nBase >= nFileSize)
        return 0;
    uint64_t nLeft = nFileSize - nBase;
    return nLeft < nGranularity ? static_cast<DWORD>(nLeft) : nGranularity;
}

void XMMFile::MapWindow()
{
    pView = static_cast<unsigned char*>(
        XfnSysMapView(hMapping, nWindowBase, nWindowSize, nMapAccess != kMapRead));
}

bool XMMFile::Open(const char* pszPath, unsigned int nFlags)
{
    Close();
    const bool bReadOnly = (nFlags & (XFile::flagWrite | XFile::flagReadWrite)) == 0;
    const DWORD nAccess = bReadOnly ? XSYS_GENERIC_READ : XSYS_GENERIC_READ | XSYS_GENERIC_WRITE;
    hFile = XfnSysOpen(pszPath, nAccess, XSYS_FILE_SHARE_READ, XSYS_OPEN_ALWAYS, false);
    if (hFile == -1) {
        strLastError = kOpenFailed;
        return false;
    }
    int64_t nSize = XfnSysGetFileSize(hFile);
    nFileSize = nSize > 0 ? static_cast<uint64_t>(nSize) : 0;
    nMappedSize = nFileSize;
    if (nFileSize == 0) {
        XfnSysClose(hFile);
        hFile = -1;
        strLastError = kZeroLength;
        return false;
    }
    nProtect = bReadOnly ? kPageReadOnly : kPageReadWrite;
    hMapping = XfnSysCreateMapping(hFile);
    if (hMapping == -1) {
        // The file stays open until Close.
        strLastError = kMappingFailed;
        return false;
    }
    // A window left small by a smaller file opened before starts full again.
    nWindowSize = nGranularity;
    if (nFileSize <= nWindowSize)
        nWindowSize = static_cast<DWORD>(nFileSize);
    nMapAccess = bReadOnly ? kMapRead : kMapAllAccess;
    nWindowBase = 0;
    MapWindow();
    if (pView == nullptr) {
        XfnSysCloseMapping(hMapping);
        hMapping = -1;
        strLastError = kViewFailed;
        return false;
    }
    nPosition = 0;
    return true;
}

bool XMMFile::Create(const char* pszPath, uint64_t nSize)
{
    int fd = XfnSysOpen(pszPath, XSYS_GENERIC_READ | XSYS_GENERIC_WRITE, XSYS_FILE_SHARE_READ, XSYS_OPEN_ALWAYS,
                        false);
    if (fd == -1) {
        strLastError = kCreateFailed;
        return false;
    }
    if (XfnSysSeek(fd, static_cast<int64_t>(nSize), 0) == -1) {
        XfnSysClose(fd);
        strLastError = kPointerFailed;
        return false;
    }
    XfnSysSetEndOfFile(fd);
    XfnSysClose(fd);
    return Open(pszPath, XFile::flagReadWrite);
}

bool XMMFile::Create(uint64_t nSize)
{
    XString strName = XfnGetTempFileName("XMMFileTemp");
    bool bDone = Create(strName, nSize);
    strTempFile = strName;
    return bDone;
}

void XMMFile::Close()
{
    if (pView != nullptr) {
        XfnSysFlushView(pView, 0);
        XfnSysUnmapView(pView);
        pView = nullptr;
    }
    if (hMapping != -1) {
        XfnSysCloseMapping(hMapping);
        hMapping = -1;
    }
    if (hFile != -1) {
        XfnSysClose(hFile);
        hFile = -1;
    }
    if (!strTempFile.IsEmpty()) {
        // Opening tests that the file is still there.
        XFile file;
        if (file.Open(strTempFile, XFile::flagRead)) {
            file.Close();
            try {
                XFile::Remove(strTempFile);
            } catch (const XFileException&) {
                // Close reports nothing; a file that cannot go stays behind.
            }
        }
        strTempFile.Empty();
    }
}

bool XMMFile::Flush()
{
    return pView != nullptr && XfnSysFlushView(pView, 0);
}

bool XMMFile::Seek(int64_t nOffset, unsigned int nFrom)
{
    int64_t nNew = nOffset;
    if (nFrom == 1)
        nNew += static_cast<int64_t>(nPosition);
    else if (nFrom == 2)
        nNew += static_cast<int64_t>(nFileSize);
    if (nNew < 0 || static_cast<uint64_t>(nNew) >= nFileSize) {
        strLastError = kSeekOutside;
        return false;
    }
    const uint64_t nTarget = static_cast<uint64_t>(nNew);
    if (nTarget >= nWindowBase && nTarget < nWindowBase + nWindowSize) {
        nPosition = nTarget;
        return true;
    }
    nWindowBase = nTarget / nGranularity * nGranularity;
    nWindowSize = WindowSizeAt(nWindowBase);
    if (nWindowSize != 0 && pView != nullptr) {
        XfnSysUnmapView(pView);
        MapWindow();
    }
    nPosition = nTarget;
    return true;
}

unsigned int XMMFile::Read(unsigned char* pBuffer, unsigned int nCount)
{
    if (nCount == 0 || nPosition >= nFileSize)
        return 0;
    uint64_t nEnd = nPosition + nCount;
    if (nEnd > nFileSize) {
        nEnd = nFileSize;
        nCount = static_cast<unsigned int>(nEnd - nPosition);
    }
    nWindowSize = WindowSizeAt(nWindowBase);
    const uint64_t nWindowEnd = nWindowBase + nWindowSize;
    if (pView != nullptr && nPosition >= nWindowBase && nEnd <= nWindowEnd) {
        std::memcpy(pBuffer, pView + (nPosition - nWindowBase), nCount);
        nPosition = nEnd;
        // Reaching the window's end brings in the next window now.
        if (nEnd == nWindowEnd)
            Seek(static_cast<int64_t>(nPosition), 0);
        return nCount;
    }
    unsigned int nDone = 0;
    while (nPosition < nEnd) {
        uint64_t nPartEnd = nWindowBase + nWindowSize;
        if (nPartEnd > nEnd)
            nPartEnd = nEnd;
        // A window that could not be mapped ends the transfer.
        if (pView == nullptr || nPosition < nWindowBase || nPartEnd <= nPosition)
            return nDone;
        unsigned int nPart = static_cast<unsigned int>(nPartEnd - nPosition);
        std::memcpy(pBuffer + nDone, pView + (nPosition - nWindowBase), nPart);
        nDone += nPart;
        nPosition = nPartEnd;
        Seek(static_cast<int64_t>(nPosition), 0);
    }
    return nCount;
}

void XMMFile::Write(unsigned char* pBuffer, unsigned int nCount, bool bFlush)
{
    if (nCount == 0)
        return;
    uint64_t nEnd = nPosition + nCount;
    if (pView != nullptr && nPosition >= nWindowBase && nEnd <= nWindowBase + nWindowSize) {
        std::memcpy(pView + (nPosition - nWindowBase), pBuffer, nCount);
        nPosition = nEnd;
        return;
    }
    if (nEnd > nFileSize) {
        uint64_t nLength = nEnd;
        if (!SetLength(nLength))
            return;
    }
    unsigned int nDone = 0;
    uint64_t nWindowEnd = nWindowBase + nWindowSize;
    while (nPosition < nEnd) {
        uint64_t nPartEnd = nWindowEnd < nEnd ? nWindowEnd : nEnd;
        if (nPartEnd > nPosition && nPosition >= nWindowBase) {
            if (pView == nullptr)
                return;
            unsigned int nPart = static_cast<unsigned int>(nPartEnd - nPosition);
            unsigned char* pTarget = pView + (nPosition - nWindowBase);
            std::memcpy(pTarget, pBuffer + nDone, nPart);
            if (bFlush)
                XfnSysFlushView(pTarget, nPart);
            nDone += nPart;
            nPosition = nPartEnd;
        }
        // A position that cannot be reached leaves the rest unwritten.
        if (!Seek(static_cast<int64_t>(nPosition), 0) && nPosition < nEnd)
            return;
        nWindowEnd = nWindowBase + nWindowSize;
    }
}

bool XMMFile::SetLength(uint64_t& nLength)
{
    if (pView != nullptr) {
        XfnSysUnmapView(pView);
        pView = nullptr;
    }
    if (hMapping != -1) {
        XfnSysCloseMapping(hMapping);
        hMapping = -1;
    }
    // The file is mapped again whether or not it could change size: a
    // failed growth leaves the object reading and writing what it had.
    const uint64_t nPadded = nLength + nGranularity;
    bool bDone = false;
    if (XfnSysSeek(hFile, static_cast<int64_t>(nPadded), 0) == -1) {
        strLastError = kPointerFailed;
    } else if (!XfnSysSetEndOfFile(hFile)) {
        strLastError = kEndFailed;
    } else {
        nFileSize = nLength;
        nMappedSize = nPadded;
        bDone = true;
    }
    hMapping = XfnSysCreateMapping(hFile);
    // The window is mapped whole, so that reads in it stay inside the view.
    nWindowSize = WindowSizeAt(nWindowBase);
    if (hMapping != -1 && nWindowSize != 0)
        MapWindow();
    return bDone;
}
