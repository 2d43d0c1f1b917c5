#include "XRFPFiles.h"

#include "XRFPErrors.h"
#include "XRFPPath.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

const int64_t kEpochDifference = 116444736000000000LL;  // 1601 to 1970 in 100 ns

// Access bits of a create request that ask for reading or writing.
const DWORD kReadAccess = 0x80000000u | 0x10000000u | 0x1u;
const DWORD kWriteAccess = 0x40000000u | 0x10000000u | 0x2u | 0x4u;

// What a handle costs the user's memory budget: a search keeps the C
// library's directory buffer (32 KiB) besides the handle itself.
const size_t kFileHandleCost = 1024;
const size_t kFindHandleCost = 40 * 1024;
// A read's first piece, read before the head goes; the rest is streamed in
// pieces of up to kReadPiece where it cannot go from the file itself.
const size_t kFirstPiece = 4096;
const size_t kReadPiece = 256 * 1024;
// A name held while a directory's entries are sorted costs its length and
// this much besides.
const size_t kNameCost = 48;

_FILETIME FileTimeOf(const timespec& ts)
{
    return XfnRFPFileTime(ts.tv_sec, ts.tv_nsec);
}

DWORD Attributes(const tagXRFPStat& info, const std::string& strName)
{
    DWORD nAttributes = 0;
    if (info.IsDirectory())
        nAttributes |= FILE_ATTRIBUTE_DIRECTORY;
    if (!(info.nMode & S_IWUSR))
        nAttributes |= FILE_ATTRIBUTE_READONLY;
    if (!strName.empty() && strName[0] == '.')
        nAttributes |= FILE_ATTRIBUTE_HIDDEN;
    return nAttributes ? nAttributes : static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL);
}

uint64_t SizeOf(const tagXRFPStat& info)
{
    return info.IsDirectory() ? 0 : static_cast<uint64_t>(info.nSize);
}

void FillFindData(const tagXRFPStat& info, const std::string& strName, WIN32_FIND_DATAA& data)
{
    std::memset(&data, 0, sizeof data);
    data.dwFileAttributes = Attributes(info, strName);
    data.ftCreationTime = FileTimeOf(info.tCreation);
    data.ftLastAccessTime = FileTimeOf(info.tAccess);
    data.ftLastWriteTime = FileTimeOf(info.tWrite);
    data.nFileSizeHigh = static_cast<DWORD>(SizeOf(info) >> 32);
    data.nFileSizeLow = static_cast<DWORD>(SizeOf(info));
    std::memcpy(data.cFileName, strName.data(), std::min(strName.size(), sizeof data.cFileName - 1));
}

void PutU32(BYTE* p, DWORD n)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<BYTE>(n >> (8 * i));
}

void PutFileTime(BYTE* p, const _FILETIME& ft)
{
    PutU32(p, ft.dwLowDateTime);
    PutU32(p + 4, ft.dwHighDateTime);
}

void FillItem(const tagXRFPStat& info, const std::string& strName, const std::string& strRelative,
              XRFPFileInfoItem& item)
{
    item.fill(0);
    PutU32(item.data(), Attributes(info, strName));
    PutU32(item.data() + 8, static_cast<DWORD>(SizeOf(info)));
    PutU32(item.data() + 12, static_cast<DWORD>(SizeOf(info) >> 32));
    PutFileTime(item.data() + 16, FileTimeOf(info.tCreation));
    PutFileTime(item.data() + 24, FileTimeOf(info.tAccess));
    PutFileTime(item.data() + 32, FileTimeOf(info.tWrite));
    std::memcpy(item.data() + XRFP_ITEM_NAME_AT, strRelative.data(), strRelative.size());
}

bool Escaped(int nErrno)
{
    return nErrno == EXDEV || nErrno == ELOOP;
}

// The error word of a failed resolution of a directory on the way.
DWORD DirectoryError(int nErrno)
{
    if (Escaped(nErrno))
        return XRFP_ERROR_ACCESS_DENIED;
    if (nErrno == ENOENT || nErrno == ENOTDIR)
        return XRFP_ERROR_PATH_NOT_FOUND;
    return static_cast<DWORD>(nErrno);
}

std::string HostPath(const std::vector<std::string>& vecParts, size_t nEnd)
{
    return XfnRFPJoinPath(vecParts, 0, nEnd, '/');
}

// The directory that holds the last part, opened for the *at calls.
DWORD OpenParent(int fdRoot, const std::vector<std::string>& vecParts, XRFPFd& fd)
{
    int nError = XfnRFPOpenBeneath(fdRoot, HostPath(vecParts, vecParts.size() - 1), O_PATH | O_DIRECTORY, fd);
    return nError ? DirectoryError(nError) : 0;
}

// The error word of a failed open of a whole path: a missing directory on
// the way is "Path not found", a missing last part ENOENT.
DWORD PathError(int fdRoot, int nErrno, const std::vector<std::string>& vecParts)
{
    if (Escaped(nErrno))
        return XRFP_ERROR_ACCESS_DENIED;
    if ((nErrno == ENOENT || nErrno == ENOTDIR) && !vecParts.empty()) {
        XRFPFd fd;
        if (DWORD nError = OpenParent(fdRoot, vecParts, fd))
            return nError;
    }
    return static_cast<DWORD>(nErrno);
}

// The status of an entry found in a directory. A link is reported as what
// it leads to, and only when that lies beneath the root; otherwise it is
// left out, since it cannot be used.
int EntryInfo(int fdRoot, int fdDir, const std::string& strDir, const std::string& strName, tagXRFPStat& info,
              bool& bLink)
{
    if (int nError = XfnRFPStatAt(fdDir, strName.c_str(), info))
        return nError;
    bLink = info.IsLink();
    if (!bLink)
        return 0;
    XRFPFd fd;
    if (int nError = XfnRFPOpenBeneath(fdRoot, strDir.empty() ? strName : strDir + "/" + strName, O_PATH, fd))
        return nError;
    return XfnRFPStatFd(fd.Get(), info);
}

// The longest path and the deepest nesting below a directory, in the
// client's form ("\\a\\b" counts 4), for a move that must not build what
// no path can name.
struct tagMeasure {
    size_t nLength = 0;
    size_t nDepth = 0;
    size_t nVisited = 0;
    size_t nMaxVisited = 0;
};

DWORD Measure(int fdDir, size_t nLength, size_t nDepth, tagMeasure& m)
{
    if (nDepth > XRFP_MAX_DEPTH || nLength > XRFP_MAX_PATH)
        return ENAMETOOLONG;
    XRFPFd fd;
    XRFPDirCursor cursor;
    if (int nError = XfnRFPOpenBeneath(fdDir, ".", O_RDONLY | O_DIRECTORY, fd))
        return static_cast<DWORD>(nError);
    if (int nError = cursor.Open(std::move(fd)))
        return static_cast<DWORD>(nError);
    std::string strName;
    while (cursor.Next(strName)) {
        if (++m.nVisited > m.nMaxVisited)
            return E2BIG;
        size_t nChildLength = nLength + 1 + strName.size();
        m.nLength = std::max(m.nLength, nChildLength);
        m.nDepth = std::max(m.nDepth, nDepth + 1);
        tagXRFPStat info;
        if (XfnRFPStatAt(cursor.Fd(), strName.c_str(), info) == 0 && info.IsDirectory()) {
            XRFPFd fdChild;
            if (XfnRFPOpenBeneath(cursor.Fd(), strName, O_PATH | O_DIRECTORY | O_NOFOLLOW, fdChild) == 0)
                if (DWORD nError = Measure(fdChild.Get(), nChildLength, nDepth + 1, m))
                    return nError;
        }
    }
    return 0;
}

} // namespace

_FILETIME XfnRFPFileTime(int64_t nSeconds, long nNanoseconds)
{
    uint64_t n = static_cast<uint64_t>(nSeconds * 10000000LL + nNanoseconds / 100 + kEpochDifference);
    return _FILETIME{static_cast<DWORD>(n), static_cast<DWORD>(n >> 32)};
}

int64_t XfnRFPUnixTime100ns(const _FILETIME& ft)
{
    uint64_t n = static_cast<uint64_t>(ft.dwHighDateTime) << 32 | ft.dwLowDateTime;
    return static_cast<int64_t>(n) - kEpochDifference;
}

DWORD XRFPFiles::TakeSlot(XRFPCharge& slot)
{
    if (limits.pDescriptors && !slot.Take(limits.pDescriptors, 1))
        return EMFILE;
    return 0;
}

DWORD XRFPFiles::CreateFile(const tagXRFCreateFileRequest& req, DWORD& hFile, int64_t& nSize)
{
    bool bRead = (req.nDesiredAccess & kReadAccess) != 0;
    bool bWrite = (req.nDesiredAccess & kWriteAccess) != 0;
    DWORD nDisposition = req.nDisposition;
    if (nDisposition < 1 || nDisposition > 5 || (nDisposition == 5 && !bWrite))
        return XRFP_ERROR_INVALID_PARAMETER;
    bool bTruncate = nDisposition == 2 || nDisposition == 5;
    bool bMayCreate = nDisposition == 1 || nDisposition == 2 || nDisposition == 4;
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(req.strPath, vecParts))
        return XRFP_ERROR_ACCESS_DENIED;
    if (vecParts.empty())
        return EISDIR;
    if (bMayCreate && vecParts.size() > XRFP_MAX_DEPTH)
        return ENAMETOOLONG;

    auto pHandle = std::make_shared<tagXRFPHandle>();
    if (DWORD nError = TakeSlot(pHandle->slot))
        return nError;
    if (!pHandle->memory.Take(login.Memory(), kFileHandleCost))
        return ENOMEM;
    // A truncating open may lack write access: the descriptor still gets it,
    // since the truncation waits for the share check, and the handle's own
    // flags keep it from writing.
    int nAccess = bRead && bWrite ? O_RDWR : bWrite ? O_WRONLY : bTruncate ? O_RDWR : O_RDONLY;
    // Not blocking on open keeps a named pipe from stalling the connection;
    // anything but a regular file is refused before use.
    int nFlags = nAccess | O_NONBLOCK | O_NOCTTY;
    std::string strHost = HostPath(vecParts, vecParts.size());
    XRFPFd fd;
    int nError = nDisposition == 1 ? XfnRFPCreateBeneath(login.RootFd(), strHost, nFlags, fd)
                                   : XfnRFPOpenBeneath(login.RootFd(), strHost, nFlags, fd);
    if (nError == ENOENT && bMayCreate && nDisposition != 1) {
        nError = XfnRFPCreateBeneath(login.RootFd(), strHost, nFlags, fd);
        if (nError == EEXIST)  // made by someone else meanwhile
            nError = XfnRFPOpenBeneath(login.RootFd(), strHost, nFlags, fd);
    }
    if (nError)
        return PathError(login.RootFd(), nError, vecParts);
    tagXRFPStat info;
    if (int nStat = XfnRFPStatFd(fd.Get(), info))
        return static_cast<DWORD>(nStat);
    if (info.IsDirectory())
        return EISDIR;
    if (!info.IsRegular())
        return XRFP_ERROR_ACCESS_DENIED;
    if (int nBlocking = XfnRFPMakeBlocking(fd.Get()))
        return static_cast<DWORD>(nBlocking);
    pHandle->fd = std::move(fd);
    pHandle->bRead = bRead;
    pHandle->bWrite = bWrite;
    pHandle->nShare = req.nShareMode;
    pHandle->nDevice = info.nDevice;
    pHandle->nInode = info.nInode;
    if (!XfnRFPEnterShare(*pHandle))
        return EBUSY;
    if (bTruncate && info.nSize != 0) {
        if (int nTruncate = XfnRFPTruncate(pHandle->fd.Get(), 0))
            return static_cast<DWORD>(nTruncate);
        info.nSize = 0;
    }
    if (!login.Add(pHandle, limits.nMaxHandles, hFile))
        return EMFILE;
    nSize = info.nSize;
    return 0;
}

bool XRFPFiles::ReadFile(DWORD hFile, int64_t nPosition, DWORD nCount, XRFPReplySink& sink)
{
    XRFPHandlePtr pHandle = login.Get(hFile, false);
    if (!pHandle)
        return sink.ReadHead(0, XRFP_ERROR_INVALID_HANDLE);
    if (!pHandle->bRead)
        return sink.ReadHead(0, EBADF);
    if (nPosition < 0)
        return sink.ReadHead(0, EINVAL);
    if (nCount > limits.nMaxRead)
        return sink.ReadHead(0, XRFP_ERROR_INVALID_PARAMETER);
    // The first piece is read here, so that a failing read is reported in
    // the head; the rest goes from the file to the socket where the sink can
    // send files, and otherwise through the piece buffer.
    bool bFromFile = sink.TakesFiles();
    size_t nPiece = std::min<size_t>(nCount, bFromFile ? kFirstPiece : kReadPiece);
    if (!ReservePiece(nPiece))
        return sink.ReadHead(0, ENOMEM);
    int fd = pHandle->fd.Get();
    size_t nGot = 0;
    if (int nError = XfnRFPReadAt(fd, vecPiece.data(), nPiece, nPosition, nGot))
        return sink.ReadHead(0, static_cast<DWORD>(nError));
    // The head must carry the count before the data: the first piece and
    // the file's length fix it, and a larger read is streamed piece by
    // piece after the head, never held whole.
    size_t nTotal = nGot;
    int64_t nLength = 0;
    if (nGot == nPiece && nPiece < nCount && XfnRFPFileSize(fd, nLength) == 0 && nLength > nPosition)
        nTotal = std::max(nGot, std::min<size_t>(nCount, static_cast<uint64_t>(nLength - nPosition)));
    if (!sink.ReadHead(static_cast<DWORD>(nTotal), 0) || !sink.ReadData(vecPiece.data(), nGot))
        return false;
    size_t nSent = nGot;
    if (bFromFile && nSent < nTotal) {
        size_t nFromFile = 0;
        if (!sink.ReadDataFromFile(fd, nPosition + static_cast<int64_t>(nSent), nTotal - nSent, nFromFile))
            return false;
        nSent += nFromFile;
    }
    // Where the file could not be sent, larger pieces if the budget allows.
    if (nSent < nTotal)
        ReservePiece(std::min(kReadPiece, nTotal - nSent));
    while (nSent < nTotal) {
        size_t nWant = std::min(vecPiece.size(), nTotal - nSent);
        if (XfnRFPReadAt(fd, vecPiece.data(), nWant, nPosition + static_cast<int64_t>(nSent), nGot) != 0)
            return false;
        // A file cut short meanwhile: the promised count is kept with zeros.
        std::fill(vecPiece.begin() + static_cast<std::ptrdiff_t>(nGot),
                  vecPiece.begin() + static_cast<std::ptrdiff_t>(nWant), BYTE(0));
        if (!sink.ReadData(vecPiece.data(), nWant))
            return false;
        nSent += nWant;
    }
    std::lock_guard<std::mutex> guard(pHandle->lock);
    pHandle->nPosition = nPosition + static_cast<int64_t>(nTotal);
    return true;
}

bool XRFPFiles::ReservePiece(size_t nSize)
{
    if (vecPiece.size() >= nSize)
        return true;
    if (!pieceCharge.Take(login.Memory(), nSize - vecPiece.size()))
        return false;
    vecPiece.resize(nSize);
    return true;
}

DWORD XRFPFiles::WriteFile(DWORD hFile, int64_t nPosition, const BYTE* pData, DWORD nSize, DWORD& nWritten,
                           int64_t& nLength)
{
    nWritten = 0;
    nLength = 0;
    XRFPHandlePtr pHandle = login.Get(hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    if (!pHandle->bWrite)
        return EBADF;
    if (nPosition < 0)
        return EINVAL;
    size_t nDone = 0;
    DWORD nError = static_cast<DWORD>(XfnRFPWriteAt(pHandle->fd.Get(), pData, nSize, nPosition, nDone));
    nWritten = static_cast<DWORD>(nDone);
    XfnRFPFileSize(pHandle->fd.Get(), nLength);
    std::lock_guard<std::mutex> guard(pHandle->lock);
    pHandle->nPosition = nPosition + nWritten;
    return nError;
}

DWORD XRFPFiles::CloseHandle(DWORD hFile)
{
    return login.Remove(hFile, false) ? 0 : XRFP_ERROR_INVALID_HANDLE;
}

DWORD XRFPFiles::SetEndOfFile(DWORD hFile)
{
    XRFPHandlePtr pHandle = login.Get(hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    if (!pHandle->bWrite)
        return EBADF;
    std::lock_guard<std::mutex> guard(pHandle->lock);
    return static_cast<DWORD>(XfnRFPTruncate(pHandle->fd.Get(), pHandle->nPosition));
}

DWORD XRFPFiles::SetFilePointer(const tagXRFSetFilePointerRequest& req, int64_t& nPosition)
{
    XRFPHandlePtr pHandle = login.Get(req.hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    int64_t nDistance = static_cast<int64_t>(static_cast<uint64_t>(static_cast<DWORD>(req.nDistanceHigh)) << 32 |
                                             static_cast<DWORD>(req.nDistanceLow));
    std::lock_guard<std::mutex> guard(pHandle->lock);
    int64_t nBase = 0;
    switch (req.nMoveMethod) {
    case 0:
        break;
    case 1:
        nBase = pHandle->nPosition;
        break;
    case 2:
        if (int nError = XfnRFPFileSize(pHandle->fd.Get(), nBase))
            return static_cast<DWORD>(nError);
        break;
    default:
        return XRFP_ERROR_INVALID_PARAMETER;
    }
    if (__builtin_add_overflow(nBase, nDistance, &nPosition) || nPosition < 0) {
        nPosition = pHandle->nPosition;
        return EINVAL;
    }
    pHandle->nPosition = nPosition;
    return 0;
}

DWORD XRFPFiles::FlushFileBuffers(DWORD hFile)
{
    XRFPHandlePtr pHandle = login.Get(hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    return static_cast<DWORD>(XfnRFPSync(pHandle->fd.Get()));
}

DWORD XRFPFiles::GetFileTime(DWORD hFile, _FILETIME& ftCreation, _FILETIME& ftAccess, _FILETIME& ftWrite)
{
    XRFPHandlePtr pHandle = login.Get(hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    tagXRFPStat info;
    if (int nError = XfnRFPStatFd(pHandle->fd.Get(), info))
        return static_cast<DWORD>(nError);
    ftCreation = FileTimeOf(info.tCreation);
    ftAccess = FileTimeOf(info.tAccess);
    ftWrite = FileTimeOf(info.tWrite);
    return 0;
}

DWORD XRFPFiles::SetFileTime(const tagXRFSetFileTimeRequest& req)
{
    XRFPHandlePtr pHandle = login.Get(req.hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    timespec times[2];
    const _FILETIME* pTimes[2] = {&req.ftLastAccess, &req.ftLastWrite};
    for (int i = 0; i < 2; ++i) {
        if (pTimes[i]->dwLowDateTime == 0 && pTimes[i]->dwHighDateTime == 0) {
            times[i] = timespec{0, UTIME_OMIT};
            continue;
        }
        int64_t n = XfnRFPUnixTime100ns(*pTimes[i]);
        int64_t nSeconds = n / 10000000, nRest = n % 10000000;
        if (nRest < 0) {
            nRest += 10000000;
            --nSeconds;
        }
        times[i] = timespec{nSeconds, static_cast<long>(nRest * 100)};
    }
    return static_cast<DWORD>(XfnRFPSetTimes(pHandle->fd.Get(), times));
}

DWORD XRFPFiles::GetFileSize(DWORD hFile, int64_t& nSize)
{
    XRFPHandlePtr pHandle = login.Get(hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    return static_cast<DWORD>(XfnRFPFileSize(pHandle->fd.Get(), nSize));
}

DWORD XRFPFiles::GetFileAttributes(const std::string& strPath, DWORD& nAttributes)
{
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(strPath, vecParts))
        return XRFP_ERROR_ACCESS_DENIED;
    XRFPFd fd;
    if (int nError = XfnRFPOpenBeneath(login.RootFd(), HostPath(vecParts, vecParts.size()), O_PATH, fd))
        return PathError(login.RootFd(), nError, vecParts);
    tagXRFPStat info;
    if (int nError = XfnRFPStatFd(fd.Get(), info))
        return static_cast<DWORD>(nError);
    nAttributes = Attributes(info, vecParts.empty() ? std::string() : vecParts.back());
    return 0;
}

DWORD XRFPFiles::SetFileAttributes(const std::string& strPath, DWORD nAttributes)
{
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(strPath, vecParts) || vecParts.empty())
        return XRFP_ERROR_ACCESS_DENIED;
    XRFPFd fd;
    int nFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY;
    if (int nError = XfnRFPOpenBeneath(login.RootFd(), HostPath(vecParts, vecParts.size()), nFlags, fd))
        return PathError(login.RootFd(), nError, vecParts);
    tagXRFPStat info;
    if (int nError = XfnRFPStatFd(fd.Get(), info))
        return static_cast<DWORD>(nError);
    if (!info.IsRegular() && !info.IsDirectory())
        return XRFP_ERROR_ACCESS_DENIED;
    mode_t nMode = info.nMode & 07777;
    nMode = (nAttributes & FILE_ATTRIBUTE_READONLY) ? nMode & ~static_cast<mode_t>(0222) : nMode | S_IWUSR;
    return static_cast<DWORD>(XfnRFPSetMode(fd.Get(), nMode));
}

DWORD XRFPFiles::DeleteFile(const std::string& strPath)
{
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(strPath, vecParts) || vecParts.empty())
        return XRFP_ERROR_ACCESS_DENIED;
    XRFPFd fdParent;
    if (DWORD nError = OpenParent(login.RootFd(), vecParts, fdParent))
        return nError;
    return static_cast<DWORD>(XfnRFPUnlink(fdParent.Get(), vecParts.back().c_str(), false));
}

DWORD XRFPFiles::DeepestBelow(int fdDir, const char* pszName, size_t& nLength, size_t& nDepth)
{
    XRFPFd fd;
    if (int nError = XfnRFPOpenBeneath(fdDir, pszName, O_PATH | O_DIRECTORY | O_NOFOLLOW, fd))
        return static_cast<DWORD>(nError);
    tagMeasure m;
    m.nMaxVisited = limits.nMaxListItems;
    DWORD nError = Measure(fd.Get(), 0, 0, m);
    nLength = m.nLength;
    nDepth = m.nDepth;
    return nError;
}

DWORD XRFPFiles::MoveFile(const std::string& strOldPath, const std::string& strNewPath)
{
    std::vector<std::string> vecOld, vecNew;
    if (!XfnRFPSplitPath(strOldPath, vecOld) || !XfnRFPSplitPath(strNewPath, vecNew) || vecOld.empty() ||
        vecNew.empty())
        return XRFP_ERROR_ACCESS_DENIED;
    XRFPFd fdOld, fdNew;
    if (DWORD nError = OpenParent(login.RootFd(), vecOld, fdOld))
        return nError;
    if (DWORD nError = OpenParent(login.RootFd(), vecNew, fdNew))
        return nError;
    tagXRFPStat info;
    if (int nError = XfnRFPStatAt(fdOld.Get(), vecOld.back().c_str(), info))
        return static_cast<DWORD>(nError);
    // What is moved must stay nameable in its new place, with all below it.
    size_t nLength = 0, nDepth = 0;
    if (info.IsDirectory())
        if (DWORD nError = DeepestBelow(fdOld.Get(), vecOld.back().c_str(), nLength, nDepth))
            return nError;
    if (vecNew.size() + nDepth > XRFP_MAX_DEPTH ||
        XfnRFPJoinPath(vecNew, 0, vecNew.size(), '\\').size() + nLength > XRFP_MAX_PATH)
        return ENAMETOOLONG;
    return static_cast<DWORD>(XfnRFPRename(fdOld.Get(), vecOld.back().c_str(), fdNew.Get(), vecNew.back().c_str()));
}

DWORD XRFPFiles::CreateDirectory(const std::string& strPath)
{
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(strPath, vecParts))
        return XRFP_ERROR_ACCESS_DENIED;
    if (vecParts.empty())
        return EEXIST;
    if (vecParts.size() > XRFP_MAX_DEPTH)
        return ENAMETOOLONG;
    XRFPFd fdParent;
    if (DWORD nError = OpenParent(login.RootFd(), vecParts, fdParent))
        return nError;
    return static_cast<DWORD>(XfnRFPMakeDirectory(fdParent.Get(), vecParts.back().c_str()));
}

DWORD XRFPFiles::RemoveDirectory(const std::string& strPath, DWORD nFlag)
{
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(strPath, vecParts) || vecParts.empty())
        return XRFP_ERROR_ACCESS_DENIED;
    XRFPFd fdParent;
    if (DWORD nError = OpenParent(login.RootFd(), vecParts, fdParent))
        return nError;
    const char* pszName = vecParts.back().c_str();
    if (!nFlag)
        return static_cast<DWORD>(XfnRFPUnlink(fdParent.Get(), pszName, true));
    tagXRFPStat info;
    if (int nError = XfnRFPStatAt(fdParent.Get(), pszName, info))
        return static_cast<DWORD>(nError);
    if (!info.IsDirectory())
        return ENOTDIR;
    return static_cast<DWORD>(XfnRFPRemoveTree(fdParent.Get(), pszName, 4 * XRFP_MAX_DEPTH));
}

DWORD XRFPFiles::NextMatch(tagXRFPHandle& handle, WIN32_FIND_DATAA& data)
{
    if (!handle.pCursor)
        return ENODATA;
    std::string strName;
    while (handle.pCursor->Next(strName)) {
        if (++handle.nVisited > limits.nMaxListItems)
            return E2BIG;
        tagXRFPStat info;
        bool bLink = false;
        if (XfnRFPMatchPattern(handle.strPattern, strName) &&
            EntryInfo(login.RootFd(), handle.pCursor->Fd(), handle.strDirectory, strName, info, bLink) == 0) {
            FillFindData(info, strName, data);
            return 0;
        }
    }
    return ENODATA;
}

DWORD XRFPFiles::FindFirstFile(const std::string& strPath, DWORD& hFind, WIN32_FIND_DATAA& data)
{
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(strPath, vecParts))
        return XRFP_ERROR_ACCESS_DENIED;
    if (vecParts.empty())
        return ENOENT;
    auto pHandle = std::make_shared<tagXRFPHandle>();
    pHandle->bFind = true;
    pHandle->strDirectory = HostPath(vecParts, vecParts.size() - 1);
    pHandle->strPattern = vecParts.back();
    if (DWORD nError = TakeSlot(pHandle->slot))
        return nError;
    if (!pHandle->memory.Take(login.Memory(), kFindHandleCost))
        return ENOMEM;
    XRFPFd fdDir;
    if (int nError = XfnRFPOpenBeneath(login.RootFd(), pHandle->strDirectory, O_RDONLY | O_DIRECTORY, fdDir))
        return DirectoryError(nError);
    if (XfnRFPHasWildcards(pHandle->strPattern)) {
        pHandle->pCursor = std::make_unique<XRFPDirCursor>();
        if (int nError = pHandle->pCursor->Open(std::move(fdDir)))
            return static_cast<DWORD>(nError);
        DWORD nError = NextMatch(*pHandle, data);
        if (nError)
            return nError == ENODATA ? static_cast<DWORD>(ENOENT) : nError;
    } else {
        tagXRFPStat info;
        bool bLink = false;
        int nError = EntryInfo(login.RootFd(), fdDir.Get(), pHandle->strDirectory, pHandle->strPattern, info, bLink);
        if (nError)
            return Escaped(nError) ? XRFP_ERROR_ACCESS_DENIED : static_cast<DWORD>(nError);
        FillFindData(info, pHandle->strPattern, data);
        // One entry found: nothing is left to read.
        pHandle->slot.Release();
    }
    if (!login.Add(pHandle, limits.nMaxHandles, hFind))
        return EMFILE;
    return 0;
}

DWORD XRFPFiles::FindNextFile(DWORD hFind, WIN32_FIND_DATAA& data)
{
    XRFPHandlePtr pHandle = login.Get(hFind, true);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    std::lock_guard<std::mutex> guard(pHandle->lock);
    return NextMatch(*pHandle, data);
}

DWORD XRFPFiles::FindClose(DWORD hFind)
{
    return login.Remove(hFind, true) ? 0 : XRFP_ERROR_INVALID_HANDLE;
}

DWORD XRFPFiles::GetRootList(std::vector<std::string>& vecRoots)
{
    vecRoots.assign(1, ".");
    return 0;
}

struct XRFPFiles::tagWalk {
    std::string strPattern;
    bool bRecurse = false;
    size_t nVisited = 0;
    XRFPReplySink* pSink = nullptr;
    bool bSent = true;
};

DWORD XRFPFiles::ListTree(XRFPFd fdDir, const std::string& strHostDir, const std::string& strPrefix, int nDepth,
                          tagWalk& walk)
{
    XRFPDirCursor cursor;
    if (int nError = cursor.Open(std::move(fdDir)))
        return nDepth == 0 ? static_cast<DWORD>(nError) : 0;
    // A directory's names are sorted before they go out; they are all that
    // is held, charged to the user, and the walk stops at the list limit
    // whether the entries match or not.
    std::vector<std::string> vecNames;
    XRFPCharge names;
    std::string strName;
    while (cursor.Next(strName)) {
        if (++walk.nVisited > limits.nMaxListItems)
            return E2BIG;
        if (!names.Take(login.Memory(), strName.size() + kNameCost))
            return ENOMEM;
        vecNames.push_back(strName);
    }
    std::sort(vecNames.begin(), vecNames.end());
    for (const std::string& strEntry : vecNames) {
        // A link is listed as what it leads to, when that lies beneath the
        // root; it is never entered.
        tagXRFPStat info;
        bool bLink = false;
        if (EntryInfo(login.RootFd(), cursor.Fd(), strHostDir, strEntry, info, bLink) != 0)
            continue;
        std::string strRelative = strPrefix.empty() ? strEntry : strPrefix + "\\" + strEntry;
        if (XfnRFPMatchPattern(walk.strPattern, strEntry) && strRelative.size() < XRFP_ITEM_NAME_SIZE) {
            XRFPFileInfoItem item;
            FillItem(info, strEntry, strRelative, item);
            if (!walk.pSink->ListItem(item)) {
                walk.bSent = false;
                return 0;
            }
        }
        if (walk.bRecurse && info.IsDirectory() && !bLink && nDepth < static_cast<int>(XRFP_MAX_DEPTH)) {
            XRFPFd fdChild;
            std::string strChild = strHostDir.empty() ? strEntry : strHostDir + "/" + strEntry;
            if (XfnRFPOpenBeneath(cursor.Fd(), strEntry, O_RDONLY | O_DIRECTORY | O_NOFOLLOW, fdChild) == 0)
                if (DWORD nError = ListTree(std::move(fdChild), strChild, strRelative, nDepth + 1, walk))
                    return nError;
            if (!walk.bSent)
                return 0;
        }
    }
    return 0;
}

DWORD XRFPFiles::FindFileList(const std::string& strPath, DWORD nFlag, XRFPReplySink& sink, bool& bSent)
{
    bSent = true;
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(strPath, vecParts))
        return XRFP_ERROR_ACCESS_DENIED;
    tagWalk walk;
    walk.strPattern = "*";
    if (!vecParts.empty() && XfnRFPHasWildcards(vecParts.back())) {
        walk.strPattern = vecParts.back();
        vecParts.pop_back();
    }
    walk.bRecurse = nFlag != 0;
    walk.pSink = &sink;
    XRFPFd fdTop;
    std::string strTop = HostPath(vecParts, vecParts.size());
    if (int nError = XfnRFPOpenBeneath(login.RootFd(), strTop, O_RDONLY | O_DIRECTORY, fdTop))
        return DirectoryError(nError);
    DWORD nError = ListTree(std::move(fdTop), strTop, std::string(), 0, walk);
    bSent = walk.bSent;
    return nError;
}
