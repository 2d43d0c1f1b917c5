// The remote branches of XFile. A file is remote once Open has taken a path
// of the remote scheme apart; from then on every operation becomes a call of
// the remote file client on a pooled connection. The position lives on the
// client and travels with every read and write; the server keeps only the
// numbered handle. The process-wide pool is opened by XRFInit and closed by
// the XRFClean that pairs the first XRFInit.
#include "KVDbase/files/XFile.h"

#include "KVDbase/files/XPath.h"
#include "KVDbase/platform/XAtomic.h"
#include "KVDbase/platform/XCriticalSection.h"
#include "KVDbase/remote/XRFConnectionPool.h"
#include "KVDbase/remote/XRFFile.h"
#include "KVDbase/remote/XRFWire.h"
#include "remote/XRFPath.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

const char* const kRemoteScheme = XRF_PATH_SCHEME;
// Reads are asked for in slices of this size, writes offered in them.
const unsigned int kSlice = 0x40000;
// Rename's copy between servers, or between local and remote, goes in
// blocks of one write packet.
const unsigned int kCopyBlock = 131072;

// The process's pool, the lock that guards the pointer (not the pool's
// contents) and the count of XRFInit calls not yet paired by XRFClean.
XRFConnectionPool* g_pRFPool = nullptr;
XCriticalSection g_csRFPool;
volatile int32_t g_nRFInitCount = 0;

// The name of a remote file in exceptions of the static operations: scheme,
// host, one backslash and the server path, in a 300-byte buffer.
XString RFName(const XString& strHost, const XString& strServerPath)
{
    char szName[300];
    std::snprintf(szName, sizeof szName, "%s%s%s%s", kRemoteScheme, static_cast<const char*>(strHost), "\\",
                  static_cast<const char*>(strServerPath));
    return XString(szName);
}

} // namespace

// ---- Pool ---------------------------------------------------------------------

void XFile::XRFInit()
{
    if (XfnInterlockedIncrement(&g_nRFInitCount) != 1)
        return;
    XCriticalSectionLock lock(g_csRFPool);
    g_pRFPool = new XRFConnectionPool;
}

void XFile::XRFClean()
{
    if (XfnInterlockedDecrement(&g_nRFInitCount) != 0)
        return;
    XCriticalSectionLock lock(g_csRFPool);
    delete g_pRFPool;
    g_pRFPool = nullptr;
}

XRFConnectionPool* XFile::GetRFConnectionPool()
{
    XCriticalSectionLock lock(g_csRFPool);
    return g_pRFPool;
}

// ---- Paths --------------------------------------------------------------------

XString XFile::GetRFName() const
{
    return XString(kRemoteScheme) + strRFHost + "\\" + strRFPath;
}

int XFile::GetXRFConnectionInfo(XRFConnectionOpenParam*)
{
    // A remote file answers 0 without copying its parameters, and a local
    // file has none to copy.
    return 0;
}

// ---- Open and the file operations ------------------------------------------------

int XFile::RemoteOpen(const char* pszPath, const XRFConnectionOpenParam& parsed, const XString& strServerPath,
                      DWORD nAccess, DWORD nShare, SECURITY_ATTRIBUTES* pSecurity, DWORD nDisposition,
                      XFileException* pError)
{
    strPath = pszPath;
    strRFHost = parsed.strHost;
    nRFPort = parsed.nPort;
    strRFPath = strServerPath;
    strRFUser = parsed.strUser;
    strRFPassword = parsed.strPassword;
    bRemote = 1;
    if (pRFParam == nullptr)
        pRFParam = new XRFConnectionOpenParam;
    pRFParam->nPort = nRFPort;
    pRFParam->strUser = strRFUser;
    pRFParam->strPassword = strRFPassword;
    pRFParam->strHost = strRFHost;
    // A reused object may carry the key of another login.
    strRFKey.Empty();

    LARGE_INTEGER size;
    size.QuadPart = nRFLength;
    DWORD nError = 0;
    DWORD hRemote = XRFCreateFile(*pRFParam, strRFPath, nAccess, nShare, pSecurity, nDisposition, 0x80, nullptr, size,
                                  nError, strRFKey);
    nRFLength = size.QuadPart;
    // A failure is reported only to a caller that passed an exception; any
    // other caller gets a true result with a closed handle.
    if (hRemote == XRF_INVALID_HANDLE && pError != nullptr) {
        pError->SetErrCode(nError);
        pError->SetFileName(GetRFName());
        return 0;
    }
    hFile = static_cast<int>(hRemote);
    bOwnsHandle = 1;
    return 1;
}

void XFile::CheckRemote() const
{
    if (pRFParam == nullptr)
        XFileException::ThrowError(XRF_ERROR_NO_CONNECTION, GetRFName());
}

int64_t XFile::RemoteSeek(int64_t nOffset, unsigned int nFrom)
{
    CheckRemote();
    // From the end, a positive offset moves back towards the start.
    if (nFrom == begin)
        nRFPosition = nOffset;
    else if (nFrom == current)
        nRFPosition += nOffset;
    else if (nFrom == end)
        nRFPosition = nRFLength - nOffset;
    return nRFPosition;
}

unsigned int XFile::RemoteRead(void* pBuffer, unsigned int nCount)
{
    CheckRemote();
    BYTE* p = static_cast<BYTE*>(pBuffer);
    unsigned int nTotal = 0;
    while (nCount > 0) {
        DWORD nRead = 0;
        DWORD nError = 0;
        if (!XRFReadFile(*pRFParam, static_cast<DWORD>(hFile), p, nCount < kSlice ? nCount : kSlice, &nRead, nullptr,
                         nRFPosition, nError, strRFKey))
            XFileException::ThrowError(nError, GetRFName());
        if (nRead == 0)
            break;
        nTotal += nRead;
        nRFPosition += nRead;
        p += nRead;
        nCount -= nRead;
    }
    return nTotal;
}

DWORD XFile::RemoteWrite(const void* pBuffer, unsigned int nCount)
{
    CheckRemote();
    const BYTE* p = static_cast<const BYTE*>(pBuffer);
    DWORD nTotal = 0;
    // Each call takes at most one write packet and says how much it took;
    // the loop goes on until everything is taken.
    while (nCount > 0) {
        DWORD nSlice = nCount < kSlice ? nCount : kSlice;
        DWORD nWritten = 0;
        DWORD nError = 0;
        LARGE_INTEGER length;
        length.QuadPart = nRFLength;
        if (!XRFWriteFile(*pRFParam, static_cast<DWORD>(hFile), p, nSlice, &nWritten, nullptr, nRFPosition, length,
                          nError, strRFKey))
            XFileException::ThrowError(nError, GetRFName());
        if (nWritten > nSlice)
            nWritten = nSlice;
        nRFLength = length.QuadPart;
        nTotal += nWritten;
        nRFPosition += nWritten;
        p += nWritten;
        nCount -= nWritten;
    }
    return nTotal;
}

int64_t XFile::RemoteGetLength() const
{
    CheckRemote();
    DWORD nHigh = 0;
    DWORD nError = 0;
    // The answer is taken as it comes; the cached length stays as it is.
    DWORD nLow = XRFGetFileSize(*pRFParam, static_cast<DWORD>(hFile), &nHigh, nError, strRFKey);
    return static_cast<int64_t>(static_cast<uint64_t>(nHigh) << 32 | nLow);
}

void XFile::RemoteSetEndOfFile()
{
    CheckRemote();
    DWORD nError = 0;
    if (!XRFSetEndOfFile(*pRFParam, static_cast<DWORD>(hFile), nError, strRFKey))
        XFileException::ThrowError(nError, GetRFName());
}

void XFile::RemoteFlush()
{
    CheckRemote();
    DWORD nError = 0;
    if (!XRFFlushFileBuffers(*pRFParam, static_cast<DWORD>(hFile), nError, strRFKey))
        XFileException::ThrowError(nError, GetRFName());
}

void XFile::RemoteCloseHandle()
{
    // Closing never reports; without parameters there is no server to tell.
    if (pRFParam == nullptr)
        return;
    DWORD nError = 0;
    XRFCloseHandle(*pRFParam, static_cast<DWORD>(hFile), nError, strRFKey);
}

XFile* XFile::RemoteDuplicate() const
{
    // A new handle on the same path, for reading, at position 0.
    XFile* pCopy = new XFile(-1);
    XFileException error;
    if (!pCopy->Open(strPath, flagRead | flagShareDenyNone, &error)) {
        delete pCopy;
        XFileException::ThrowError(error.GetErrCode(), error.GetFileName());
    }
    return pCopy;
}

int XFile::RemoteGetStatus(XFileStatus& status) const
{
    CheckRemote();
    _FILETIME ftCreation, ftAccess, ftWrite;
    DWORD nError = 0;
    if (!XRFGetFileTime(*pRFParam, static_cast<DWORD>(hFile), &ftCreation, &ftAccess, &ftWrite, nError, strRFKey))
        return 0;
    status.nSize = nRFLength;
    DWORD nAttributes = 0;
    if (!strPath.IsEmpty()) {
        nAttributes = XRFGetFileAttributes(*pRFParam, strRFPath, nError, strRFKey);
        if (nAttributes == XRF_INVALID_HANDLE)
            nAttributes = 0;
    }
    status.nAttribute = static_cast<BYTE>(nAttributes & 0xFF);
    FillTimes(status, ftCreation, ftAccess, ftWrite);
    return 1;
}

// ---- Static operations -------------------------------------------------------------

int XFile::RemoteGetStatus(XRFConnectionOpenParam& param, const XString& strServerPath, XFileStatus& status)
{
    WIN32_FIND_DATAA data;
    DWORD nError = 0;
    XString key;
    DWORD hFind = XRFFindFirstFile(param, strServerPath, &data, nError, key);
    if (hFind == XRF_INVALID_HANDLE)
        return 0;
    XRFFindClose(param, hFind, nError, key);
    status.nAttribute = static_cast<BYTE>(data.dwFileAttributes & 0x7F);
    status.nSize = static_cast<int64_t>((static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow);
    FillTimes(status, data.ftCreationTime, data.ftLastAccessTime, data.ftLastWriteTime);
    return 1;
}

void XFile::RemoteRemove(XRFConnectionOpenParam& param, const XString& strServerPath)
{
    DWORD nError = 0;
    XString key;
    if (!XRFDeleteFile(param, strServerPath, nError, key))
        XFileException::ThrowError(nError, RFName(param.strHost, strServerPath));
}

void XFile::RemoteRename(const char* pszOldName, const char* pszNewName)
{
    XRFConnectionOpenParam oldParam, newParam;
    XString strOldPath, strNewPath;
    const bool bOldRemote = XfnRFParsePath(pszOldName, oldParam, strOldPath);
    const bool bNewRemote = XfnRFParsePath(pszNewName, newParam, strNewPath);

    // One server and one login (the password aside): the server moves it.
    if (bOldRemote && bNewRemote && oldParam.strHost == newParam.strHost && oldParam.strUser == newParam.strUser &&
        oldParam.nPort == newParam.nPort) {
        XRFConnectionOpenParam param = newParam;
        param.strHost = oldParam.strHost;
        param.nPort = oldParam.nPort;
        DWORD nError = 0;
        if (!XRFMoveFile(param, strOldPath, strNewPath, nError, XString()))
            XFileException::ThrowError(nError, RFName(newParam.strHost, strNewPath));
        return;
    }

    // Otherwise copy and delete. The source is removed while both files
    // are still open: they close as they leave this scope.
    XFile source, target;
    XFileException error;
    if (!source.Open(pszOldName, flagRead | flagShareDenyNone, &error))
        XFileException::ThrowError(error.GetErrCode(), error.GetFileName());
    if (!target.Open(pszNewName, flagWrite | flagShareDenyWrite | flagCreate, &error))
        XFileException::ThrowError(error.GetErrCode(), error.GetFileName());
    std::vector<BYTE> vecBuffer(kCopyBlock);
    unsigned int nRead;
    while ((nRead = source.Read(vecBuffer.data(), kCopyBlock)) > 0)
        target.Write(vecBuffer.data(), nRead);
    XFile::Remove(pszOldName);
}

void XFile::RemoteSetStatus(XRFConnectionOpenParam& param, const XString& strServerPath, const XFileStatus& status)
{
    const XString strName = RFName(param.strHost, strServerPath);
    DWORD nError = 0;
    XString key;
    DWORD nPresent = XRFGetFileAttributes(param, strServerPath, nError, key);
    if (nPresent == XRF_INVALID_HANDLE)
        XFileException::ThrowError(nError, strName);
    const bool bChanged = static_cast<DWORD>(status.nAttribute) != nPresent;
    const bool bReadOnly = (nPresent & FILE_ATTRIBUTE_READONLY) != 0;
    // A read-only file must become writable before its times can be set.
    if (bChanged && bReadOnly && !XRFSetFileAttributes(param, strServerPath, status.nAttribute, nError, key))
        XFileException::ThrowError(nError, strName);

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
        LARGE_INTEGER size;
        size.QuadPart = 0;
        DWORD hRemote = XRFCreateFile(param, strServerPath, 0xC0000000u, 1, nullptr, 3, 0x80, nullptr, size, nError,
                                      key);
        if (hRemote == XRF_INVALID_HANDLE)
            XFileException::ThrowError(nError, strName);
        // The server needs all three times: with one of them missing nothing
        // is sent, the error word stays 0, and the handle is left open.
        if (!XRFSetFileTime(param, hRemote, pCreation, pAccess, &ftWrite, nError, key))
            XFileException::ThrowError(nError, strName);
        if (!XRFCloseHandle(param, hRemote, nError, key))
            XFileException::ThrowError(nError, strName);
    }

    // The result of this last change is tested the other way round: a
    // failure passes, and a success throws with the error word, then 0.
    if (bChanged && !bReadOnly && XRFSetFileAttributes(param, strServerPath, status.nAttribute, nError, key))
        XFileException::ThrowError(nError, strName);
}
