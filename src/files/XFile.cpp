#include "KVDbase/files/XFile.h"

#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XPath.h"
#include "KVDbase/remote/XRFConnection.h"
#include "platform/XSysError.h"
#include "remote/XRFPath.h"
#include "platform/XSysFile.h"

#include <cstring>

XIMPLEMENT_DYNAMIC(XFile, XObject)

namespace {

const int kMaxPath = 260;

[[noreturn]] void ThrowLastError(const XString& strName)
{
    XFileException::ThrowError(static_cast<DWORD>(XfnSysLastError()), strName);
}

// The open flags as desired access, share mode and creation disposition.
DWORD AccessOf(unsigned int nFlags)
{
    switch (nFlags & 3) {
    case XFile::flagRead:
        return XSYS_GENERIC_READ;
    case XFile::flagWrite:
        return XSYS_GENERIC_WRITE;
    case XFile::flagReadWrite:
        return XSYS_GENERIC_READ | XSYS_GENERIC_WRITE;
    default:
        return 0;
    }
}

DWORD ShareOf(unsigned int nFlags)
{
    switch (nFlags & 0x70) {
    case XFile::flagShareDenyWrite:
        return XSYS_FILE_SHARE_READ;
    case XFile::flagShareDenyRead:
        return XSYS_FILE_SHARE_WRITE;
    case XFile::flagShareDenyNone:
        return XSYS_FILE_SHARE_READ | XSYS_FILE_SHARE_WRITE;
    default:
        return 0;
    }
}

DWORD DispositionOf(unsigned int nFlags)
{
    if (!(nFlags & XFile::flagCreate))
        return XSYS_OPEN_EXISTING;
    return (nFlags & XFile::flagNoTruncate) ? XSYS_OPEN_ALWAYS : XSYS_CREATE_ALWAYS;
}

void CopyPath(char* pszOut, const char* pszIn)
{
    std::strncpy(pszOut, pszIn, kMaxPath - 1);
    pszOut[kMaxPath - 1] = '\0';
}

} // namespace

void XFile::FillTimes(XFileStatus& status, const _FILETIME& ftCreation, const _FILETIME& ftAccess,
                      const _FILETIME& ftWrite)
{
    status.timeCreated = XTime(ftCreation, -1);
    status.timeAccessed = XTime(ftAccess, -1);
    status.timeModified = XTime(ftWrite, -1);
    if (status.timeCreated.GetTime() == 0)
        status.timeCreated = status.timeModified;
    if (status.timeAccessed.GetTime() == 0)
        status.timeAccessed = status.timeModified;
}

void XFile::InitRemoteMembers()
{
    reserved1 = -1;
    nRFPort = 0;
    bRemote = 0;
    pRFParam = nullptr;
    nRFPosition = 0;
    nRFLength = 0;
}

XFile::XFile() : hFile(-1), bOwnsHandle(0)
{
    InitRemoteMembers();
}

XFile::XFile(int hFileAdopted) : hFile(hFileAdopted), bOwnsHandle(0)
{
    InitRemoteMembers();
}

XFile::XFile(const char* pszPath, unsigned int nFlags) : hFile(-1), bOwnsHandle(0)
{
    InitRemoteMembers();
    XFileException error;
    if (!Open(pszPath, nFlags, &error)) {
        // No destructor runs for an object whose constructor throws.
        delete pRFParam;
        pRFParam = nullptr;
        XFileException::ThrowError(error.GetErrCode(), error.GetFileName());
    }
}

XFile::~XFile()
{
    if (hFile != -1 && bOwnsHandle)
        XFile::Close();
    delete pRFParam;
    pRFParam = nullptr;
}

int XFile::Open(const char* pszPath, unsigned int nFlags, XFileException* pError)
{
    nFlags &= ~static_cast<unsigned int>(flagBinary);
    bOwnsHandle = 0;
    hFile = -1;
    strPath.Empty();

    const DWORD nAccess = AccessOf(nFlags);
    const DWORD nShare = ShareOf(nFlags);
    const DWORD nDisposition = DispositionOf(nFlags);
    SECURITY_ATTRIBUTES sa = {12, nullptr, (nFlags & flagNoInherit) ? 0 : 1};

    XRFConnectionOpenParam parsed;
    XString strServerPath;
    if (XfnRFParsePath(pszPath, parsed, strServerPath))
        return RemoteOpen(pszPath, parsed, strServerPath, nAccess, nShare, &sa, nDisposition, pError);
    bRemote = 0;

    // The stored path is the full one; the file is opened by the caller's text.
    char szFull[kMaxPath];
    XfnFullPath(szFull, pszPath);
    strPath = szFull;

    int fd = XfnSysOpen(pszPath, nAccess, nShare, nDisposition, sa.bInheritHandle != 0);
    if (fd == -1) {
        if (pError != nullptr) {
            pError->SetErrCode(static_cast<DWORD>(XfnSysLastError()));
            pError->SetFileName(GetRFName());
        }
        return 0;
    }
    hFile = fd;
    bOwnsHandle = 1;
    return 1;
}

XFile* XFile::Duplicate() const
{
    if (bRemote)
        return RemoteDuplicate();
    XFile* pCopy = new XFile(-1);
    int fd = XfnSysDup(hFile);
    if (fd == -1) {
        int nError = XfnSysLastError();
        delete pCopy;
        XFileException::ThrowError(static_cast<DWORD>(nError), strPath);
    }
    pCopy->hFile = fd;
    pCopy->bOwnsHandle = bOwnsHandle;
    return pCopy;
}

int64_t XFile::Seek(int64_t nOffset, unsigned int nFrom)
{
    if (bRemote)
        return RemoteSeek(nOffset, nFrom);
    int64_t nPos = XfnSysSeek(hFile, nOffset, nFrom);
    if (nPos == -1)
        ThrowLastError(strPath);
    return nPos;
}

int64_t XFile::GetPosition() const
{
    if (bRemote) {
        CheckRemote();
        return nRFPosition;
    }
    int64_t nPos = XfnSysSeek(hFile, 0, current);
    if (nPos == -1)
        ThrowLastError(strPath);
    return nPos;
}

int64_t XFile::GetLength() const
{
    if (bRemote)
        return RemoteGetLength();
    return XfnSysGetFileSize(hFile);
}

void XFile::SetLength(int64_t nLength)
{
    Seek(nLength, begin);
    if (bRemote) {
        RemoteSetEndOfFile();
        return;
    }
    if (!XfnSysSetEndOfFile(hFile))
        ThrowLastError(strPath);
}

unsigned int XFile::Read(void* pBuffer, unsigned int nCount)
{
    if (nCount == 0)
        return 0;
    if (bRemote)
        return RemoteRead(pBuffer, nCount);
    int64_t nRead = XfnSysRead(hFile, pBuffer, nCount);
    if (nRead < 0)
        ThrowLastError(strPath);
    return static_cast<unsigned int>(nRead);
}

void XFile::Write(const void* pBuffer, unsigned int nCount)
{
    if (nCount == 0)
        return;
    DWORD nWritten;
    if (bRemote) {
        nWritten = RemoteWrite(pBuffer, nCount);
    } else {
        int64_t n = XfnSysWrite(hFile, pBuffer, nCount);
        if (n < 0)
            ThrowLastError(strPath);
        nWritten = static_cast<DWORD>(n);
    }
    if (nWritten != nCount)
        XFileErrorException::Throw(XFileErrorException::diskFull, -1, strPath);
}

void XFile::LockRange(DWORD nPos, DWORD nCount)
{
    if (bRemote)
        return;
    if (!XfnSysLockRange(hFile, nPos, nCount, true))
        ThrowLastError(strPath);
}

void XFile::UnlockRange(DWORD nPos, DWORD nCount)
{
    if (bRemote)
        return;
    if (!XfnSysLockRange(hFile, nPos, nCount, false))
        ThrowLastError(strPath);
}

void XFile::Flush()
{
    if (hFile == -1)
        return;
    if (bRemote) {
        RemoteFlush();
        return;
    }
    if (!XfnSysFlush(hFile))
        ThrowLastError(strPath);
}

void XFile::Close()
{
    strRFKey.Empty();
    if (hFile != -1) {
        // Whatever closing reports is of no use to the caller now.
        if (bRemote)
            RemoteCloseHandle();
        else
            XfnSysClose(hFile);
    }
    delete pRFParam;
    pRFParam = nullptr;
    hFile = -1;
    bOwnsHandle = 0;
    strPath.Empty();
    nRFPosition = 0;
    nRFLength = 0;
}

void XFile::Abort()
{
    if (hFile != -1) {
        if (bRemote)
            RemoteCloseHandle();
        else
            XfnSysClose(hFile);
        hFile = -1;
    }
    strPath.Empty();
}

unsigned int XFile::GetBufferPtr(unsigned int, unsigned int, void**, void**)
{
    return 0;
}

XString XFile::GetFileName() const
{
    if (bRemote)
        return strPath;
    XFileStatus status;
    GetStatus(status);
    return XfnGetFileName(XString(status.szFullPath));
}

XString XFile::GetFileTitle() const
{
    if (bRemote)
        return XfnGetFileTitle(strPath);
    XFileStatus status;
    GetStatus(status);
    return XfnGetFileTitle(XString(status.szFullPath));
}

XString XFile::GetFilePath() const
{
    if (bRemote)
        return strPath;
    XFileStatus status;
    GetStatus(status);
    return XString(status.szFullPath);
}

void XFile::SetFilePath(const char* pszPath)
{
    strPath = pszPath;
}

int XFile::GetStatus(XFileStatus& status) const
{
    status = XFileStatus();
    CopyPath(status.szFullPath, strPath);
    if (hFile == -1)
        return 1;
    if (bRemote)
        return RemoteGetStatus(status);

    XSysFileInfo info;
    if (!XfnSysGetFileInfo(hFile, info))
        return 0;
    // Only the low 32 bits of the size, as a size word without its high half.
    if ((info.nSize & 0xFFFFFFFF) == 0xFFFFFFFF)
        return 0;
    status.nSize = info.nSize & 0xFFFFFFFF;
    DWORD nAttributes = 0;
    if (!strPath.IsEmpty() && !XfnSysGetAttributes(strPath, nAttributes))
        nAttributes = 0;
    status.nAttribute = static_cast<BYTE>(nAttributes & 0xFF);
    FillTimes(status, info.ftCreation, info.ftLastAccess, info.ftLastWrite);
    return 1;
}

int XFile::GetStatus(const char* pszPath, XFileStatus& status)
{
    if (!XfnFullPath(status.szFullPath, pszPath)) {
        status.szFullPath[0] = '\0';
        return 0;
    }
    XRFConnectionOpenParam param;
    XString strServerPath;
    if (XfnRFParsePath(pszPath, param, strServerPath))
        return RemoteGetStatus(param, strServerPath, status);
    WIN32_FIND_DATAA data;
    if (!XfnSysFindFirst(pszPath, data))
        return 0;
    status.nAttribute = static_cast<BYTE>(data.dwFileAttributes & 0x7F);
    status.nSize = static_cast<int64_t>((static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow);
    FillTimes(status, data.ftCreationTime, data.ftLastAccessTime, data.ftLastWriteTime);
    return 1;
}

void XFile::Remove(const char* pszName)
{
    XRFConnectionOpenParam param;
    XString strServerPath;
    if (XfnRFParsePath(pszName, param, strServerPath)) {
        RemoteRemove(param, strServerPath);
        return;
    }
    if (!XfnSysRemove(pszName))
        ThrowLastError(XString(pszName));
}

void XFile::Rename(const char* pszOldName, const char* pszNewName)
{
    XRFConnectionOpenParam param;
    XString strServerPath;
    if (XfnRFParsePath(pszOldName, param, strServerPath) || XfnRFParsePath(pszNewName, param, strServerPath)) {
        RemoteRename(pszOldName, pszNewName);
        return;
    }
    if (!XfnSysRename(pszOldName, pszNewName))
        ThrowLastError(XString(pszNewName));
}

void XFile::SetStatus(const char* pszName, const XFileStatus& status)
{
    XRFConnectionOpenParam param;
    XString strServerPath;
    if (XfnRFParsePath(pszName, param, strServerPath)) {
        RemoteSetStatus(param, strServerPath, status);
        return;
    }
    const XString strName(pszName);
    DWORD nPresent;
    if (!XfnSysGetAttributes(pszName, nPresent))
        ThrowLastError(strName);
    // The byte is compared with the whole word, so any bit above the low
    // byte counts as a change.
    const bool bChanged = static_cast<DWORD>(status.nAttribute) != nPresent;
    const bool bReadOnly = (nPresent & FILE_ATTRIBUTE_READONLY) != 0;
    // A read-only file must become writable before its times can be set.
    if (bChanged && bReadOnly && !XfnSysSetAttributes(pszName, status.nAttribute))
        ThrowLastError(strName);

    if (status.timeModified.GetTime() != 0) {
        _FILETIME ftWrite, ftAccess, ftCreation;
        XfnTimeToFileTime(status.timeModified, &ftWrite);
        const _FILETIME* pAccess = nullptr;
        const _FILETIME* pCreation = nullptr;
        if (status.timeAccessed.GetTime() != 0) {
            XfnTimeToFileTime(status.timeAccessed, &ftAccess);
            pAccess = &ftAccess;
        }
        if (status.timeCreated.GetTime() != 0) {
            XfnTimeToFileTime(status.timeCreated, &ftCreation);
            pCreation = &ftCreation;
        }
        int fd = XfnSysOpen(pszName, XSYS_GENERIC_READ | XSYS_GENERIC_WRITE, XSYS_FILE_SHARE_READ,
                            XSYS_OPEN_EXISTING, true);
        if (fd == -1)
            ThrowLastError(strName);
        if (!XfnSysSetFileTimes(fd, pCreation, pAccess, &ftWrite)) {
            int nError = XfnSysLastError();
            XfnSysClose(fd);
            XFileException::ThrowError(static_cast<DWORD>(nError), strName);
        }
        if (!XfnSysClose(fd))
            ThrowLastError(strName);
    }

    if (bChanged && !bReadOnly && !XfnSysSetAttributes(pszName, status.nAttribute))
        ThrowLastError(strName);
}
