#include "XRFPFiles.h"

#include "XRFPErrors.h"
#include "XRFPPath.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const int64_t kEpochDifference = 116444736000000000LL;  // 1601 to 1970 in 100 ns

// Access bits of a create request that ask for reading or writing.
const DWORD kReadAccess = 0x80000000u | 0x10000000u | 0x1u;
const DWORD kWriteAccess = 0x40000000u | 0x10000000u | 0x2u | 0x4u;

DWORD LastError()
{
    return static_cast<DWORD>(errno);
}

// stat with the birth time where the file system keeps one, else the time
// of the last status change stands in for the creation time.
struct tagXRFPStat {
    struct stat st;
    timespec tCreation;
};

bool StatAt(int dirfd, const char* pszPath, int nFlags, tagXRFPStat& info)
{
    struct statx sx {};
    if (statx(dirfd, pszPath, nFlags, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0)
        return false;
    std::memset(&info.st, 0, sizeof info.st);
    info.st.st_mode = sx.stx_mode;
    info.st.st_size = static_cast<off_t>(sx.stx_size);
    info.st.st_atim = timespec{sx.stx_atime.tv_sec, sx.stx_atime.tv_nsec};
    info.st.st_mtim = timespec{sx.stx_mtime.tv_sec, sx.stx_mtime.tv_nsec};
    info.st.st_ctim = timespec{sx.stx_ctime.tv_sec, sx.stx_ctime.tv_nsec};
    timespec tBirth{sx.stx_btime.tv_sec, static_cast<long>(sx.stx_btime.tv_nsec)};
    info.tCreation = (sx.stx_mask & STATX_BTIME) ? tBirth : info.st.st_ctim;
    return true;
}

bool StatPath(const std::string& strPath, tagXRFPStat& info)
{
    return StatAt(AT_FDCWD, strPath.c_str(), 0, info);
}

bool StatFd(int fd, tagXRFPStat& info)
{
    return StatAt(fd, "", AT_EMPTY_PATH, info);
}

_FILETIME FileTimeOf(const timespec& ts)
{
    return XfnRFPFileTime(ts.tv_sec, ts.tv_nsec);
}

DWORD Attributes(const struct stat& st, const std::string& strName)
{
    DWORD nAttributes = 0;
    if (S_ISDIR(st.st_mode))
        nAttributes |= FILE_ATTRIBUTE_DIRECTORY;
    if (!(st.st_mode & S_IWUSR))
        nAttributes |= FILE_ATTRIBUTE_READONLY;
    if (!strName.empty() && strName[0] == '.')
        nAttributes |= FILE_ATTRIBUTE_HIDDEN;
    return nAttributes ? nAttributes : static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL);
}

void FillFindData(const tagXRFPStat& info, const std::string& strName, WIN32_FIND_DATAA& data)
{
    std::memset(&data, 0, sizeof data);
    data.dwFileAttributes = Attributes(info.st, strName);
    data.ftCreationTime = FileTimeOf(info.tCreation);
    data.ftLastAccessTime = FileTimeOf(info.st.st_atim);
    data.ftLastWriteTime = FileTimeOf(info.st.st_mtim);
    uint64_t nSize = S_ISDIR(info.st.st_mode) ? 0 : static_cast<uint64_t>(info.st.st_size);
    data.nFileSizeHigh = static_cast<DWORD>(nSize >> 32);
    data.nFileSizeLow = static_cast<DWORD>(nSize);
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
    PutU32(item.data(), Attributes(info.st, strName));
    uint64_t nSize = S_ISDIR(info.st.st_mode) ? 0 : static_cast<uint64_t>(info.st.st_size);
    PutU32(item.data() + 8, static_cast<DWORD>(nSize));
    PutU32(item.data() + 12, static_cast<DWORD>(nSize >> 32));
    PutFileTime(item.data() + 16, FileTimeOf(info.tCreation));
    PutFileTime(item.data() + 24, FileTimeOf(info.st.st_atim));
    PutFileTime(item.data() + 32, FileTimeOf(info.st.st_mtim));
    std::memcpy(item.data() + XRFP_ITEM_NAME_AT, strRelative.data(), strRelative.size());
}

// Splits and resolves a client path; pbRoot tells whether it named the root.
DWORD Locate(const std::string& strRoot, const std::string& strPath, XRFPFollow follow, std::string& strHost,
             bool* pbRoot = nullptr)
{
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(strPath, vecParts))
        return XRFP_ERROR_ACCESS_DENIED;
    if (pbRoot)
        *pbRoot = vecParts.empty();
    return XfnRFPResolve(strRoot, vecParts, follow, strHost);
}

// The sorted names of a directory, without "." and "..".
bool ListNames(const std::string& strDir, std::vector<std::string>& vecNames)
{
    DIR* pDir = opendir(strDir.c_str());
    if (!pDir)
        return false;
    while (dirent* pEntry = readdir(pDir)) {
        std::string strName = pEntry->d_name;
        if (strName != "." && strName != "..")
            vecNames.push_back(strName);
    }
    closedir(pDir);
    std::sort(vecNames.begin(), vecNames.end());
    return true;
}

// The status of an entry found in a listing. A link is reported as what it
// leads to, and only when that lies inside the root; otherwise it is left
// out, since it cannot be used.
bool EntryStat(const std::string& strRoot, const std::string& strDir, const std::string& strName, tagXRFPStat& info,
               bool& bLink)
{
    std::string strPath = strDir + "/" + strName;
    if (!StatAt(AT_FDCWD, strPath.c_str(), AT_SYMLINK_NOFOLLOW, info))
        return false;
    bLink = S_ISLNK(info.st.st_mode);
    if (!bLink)
        return true;
    char szReal[PATH_MAX];
    if (!realpath(strPath.c_str(), szReal))
        return false;
    std::string strReal = szReal;
    if (strReal.compare(0, strRoot.size(), strRoot) != 0 ||
        (strReal.size() > strRoot.size() && strReal[strRoot.size()] != '/'))
        return false;
    return StatPath(strReal, info);
}

thread_local int t_nRemoveError = 0;

// Directories deeper than this are not walked by a file list.
const int kMaxListDepth = 64;

int RemoveEntry(const char* pszPath, const struct stat*, int nType, FTW*)
{
    int nResult = nType == FTW_DP ? rmdir(pszPath) : unlink(pszPath);
    if (nResult != 0) {
        t_nRemoveError = errno;
        return 1;
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

DWORD XRFPFiles::CreateFile(const tagXRFCreateFileRequest& req, DWORD& hFile, int64_t& nSize)
{
    bool bRead = (req.nDesiredAccess & kReadAccess) != 0;
    bool bWrite = (req.nDesiredAccess & kWriteAccess) != 0;
    int nFlags = (bRead && bWrite ? O_RDWR : bWrite ? O_WRONLY : O_RDONLY) | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    switch (req.nDisposition) {
    case 1:  // create new
        nFlags |= O_CREAT | O_EXCL;
        break;
    case 2:  // create always; truncated once the share modes allow it, unless
             // the handle could not truncate then
        nFlags |= O_CREAT | (bWrite ? 0 : O_TRUNC);
        break;
    case 3:  // open existing
        break;
    case 4:  // open always
        nFlags |= O_CREAT;
        break;
    case 5:  // truncate existing
        if (!bWrite)
            return XRFP_ERROR_INVALID_PARAMETER;
        break;
    default:
        return XRFP_ERROR_INVALID_PARAMETER;
    }
    std::string strHost;
    if (DWORD nError = Locate(login.Root(), req.strPath, XRFP_FOLLOW_LAST, strHost))
        return nError;
    // Not blocking on open keeps a named pipe from stalling the connection;
    // anything but a regular file is refused before use.
    int fd = open(strHost.c_str(), nFlags, 0666);
    if (fd < 0)
        return LastError();
    auto pHandle = std::make_shared<tagXRFPHandle>();
    pHandle->fd = fd;
    pHandle->bRead = bRead;
    pHandle->bWrite = bWrite;
    struct stat st {};
    if (fstat(fd, &st) != 0)
        return LastError();
    if (S_ISDIR(st.st_mode))
        return EISDIR;
    if (!S_ISREG(st.st_mode))
        return XRFP_ERROR_ACCESS_DENIED;
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    pHandle->nShare = req.nShareMode;
    pHandle->nDevice = st.st_dev;
    pHandle->nInode = st.st_ino;
    if (!XfnRFPEnterShare(*pHandle))
        return EBUSY;
    if ((req.nDisposition == 2 || req.nDisposition == 5) && bWrite && st.st_size != 0) {
        if (ftruncate(fd, 0) != 0)
            return LastError();
        st.st_size = 0;
    }
    if (!login.Add(pHandle, nMaxHandles, hFile))
        return EMFILE;
    nSize = st.st_size;
    return 0;
}

DWORD XRFPFiles::ReadFile(DWORD hFile, int64_t nPosition, DWORD nCount, std::vector<BYTE>& vecData)
{
    vecData.clear();
    XRFPHandlePtr pHandle = login.Get(hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    if (nPosition < 0)
        return EINVAL;
    vecData.resize(nCount);
    size_t nDone = 0;
    while (nDone < nCount) {
        ssize_t n = pread(pHandle->fd, vecData.data() + nDone, nCount - nDone, nPosition + static_cast<int64_t>(nDone));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            vecData.clear();
            return LastError();
        }
        if (n == 0)
            break;
        nDone += static_cast<size_t>(n);
    }
    vecData.resize(nDone);
    std::lock_guard<std::mutex> guard(pHandle->lock);
    pHandle->nPosition = nPosition + static_cast<int64_t>(nDone);
    return 0;
}

DWORD XRFPFiles::WriteFile(DWORD hFile, int64_t nPosition, const BYTE* pData, DWORD nSize, DWORD& nWritten,
                           int64_t& nLength)
{
    nWritten = 0;
    nLength = 0;
    XRFPHandlePtr pHandle = login.Get(hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    if (nPosition < 0)
        return EINVAL;
    DWORD nError = 0;
    while (nWritten < nSize) {
        ssize_t n = pwrite(pHandle->fd, pData + nWritten, nSize - nWritten, nPosition + nWritten);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            nError = n < 0 ? LastError() : static_cast<DWORD>(ENOSPC);
            break;
        }
        nWritten += static_cast<DWORD>(n);
    }
    struct stat st {};
    if (fstat(pHandle->fd, &st) == 0)
        nLength = st.st_size;
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
    std::lock_guard<std::mutex> guard(pHandle->lock);
    return ftruncate(pHandle->fd, pHandle->nPosition) == 0 ? 0 : LastError();
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
    case 2: {
        struct stat st {};
        if (fstat(pHandle->fd, &st) != 0)
            return LastError();
        nBase = st.st_size;
        break;
    }
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
    return fsync(pHandle->fd) == 0 ? 0 : LastError();
}

DWORD XRFPFiles::GetFileTime(DWORD hFile, _FILETIME& ftCreation, _FILETIME& ftAccess, _FILETIME& ftWrite)
{
    XRFPHandlePtr pHandle = login.Get(hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    tagXRFPStat info{};
    if (!StatFd(pHandle->fd, info))
        return LastError();
    ftCreation = FileTimeOf(info.tCreation);
    ftAccess = FileTimeOf(info.st.st_atim);
    ftWrite = FileTimeOf(info.st.st_mtim);
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
    return futimens(pHandle->fd, times) == 0 ? 0 : LastError();
}

DWORD XRFPFiles::GetFileSize(DWORD hFile, int64_t& nSize)
{
    XRFPHandlePtr pHandle = login.Get(hFile, false);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    struct stat st {};
    if (fstat(pHandle->fd, &st) != 0)
        return LastError();
    nSize = st.st_size;
    return 0;
}

DWORD XRFPFiles::GetFileAttributes(const std::string& strPath, DWORD& nAttributes)
{
    std::string strHost;
    if (DWORD nError = Locate(login.Root(), strPath, XRFP_FOLLOW_LAST, strHost))
        return nError;
    tagXRFPStat info{};
    if (!StatPath(strHost, info))
        return LastError();
    nAttributes = Attributes(info.st, strHost.substr(strHost.rfind('/') + 1));
    return 0;
}

DWORD XRFPFiles::SetFileAttributes(const std::string& strPath, DWORD nAttributes)
{
    std::string strHost;
    bool bRoot = false;
    if (DWORD nError = Locate(login.Root(), strPath, XRFP_FOLLOW_LAST, strHost, &bRoot))
        return nError;
    if (bRoot)
        return XRFP_ERROR_ACCESS_DENIED;
    struct stat st {};
    if (stat(strHost.c_str(), &st) != 0)
        return LastError();
    mode_t mode = st.st_mode & 07777;
    mode = (nAttributes & FILE_ATTRIBUTE_READONLY) ? mode & ~static_cast<mode_t>(0222) : mode | S_IWUSR;
    return chmod(strHost.c_str(), mode) == 0 ? 0 : LastError();
}

DWORD XRFPFiles::DeleteFile(const std::string& strPath)
{
    std::string strHost;
    bool bRoot = false;
    if (DWORD nError = Locate(login.Root(), strPath, XRFP_NO_FOLLOW_LAST, strHost, &bRoot))
        return nError;
    if (bRoot)
        return XRFP_ERROR_ACCESS_DENIED;
    return unlink(strHost.c_str()) == 0 ? 0 : LastError();
}

DWORD XRFPFiles::MoveFile(const std::string& strOldPath, const std::string& strNewPath)
{
    std::string strOld, strNew;
    bool bOldRoot = false, bNewRoot = false;
    if (DWORD nError = Locate(login.Root(), strOldPath, XRFP_NO_FOLLOW_LAST, strOld, &bOldRoot))
        return nError;
    if (DWORD nError = Locate(login.Root(), strNewPath, XRFP_NO_FOLLOW_LAST, strNew, &bNewRoot))
        return nError;
    if (bOldRoot || bNewRoot)
        return XRFP_ERROR_ACCESS_DENIED;
    struct stat st {};
    if (lstat(strOld.c_str(), &st) != 0)
        return LastError();
    if (lstat(strNew.c_str(), &st) == 0)
        return EEXIST;
    return rename(strOld.c_str(), strNew.c_str()) == 0 ? 0 : LastError();
}

DWORD XRFPFiles::CreateDirectory(const std::string& strPath)
{
    std::string strHost;
    bool bRoot = false;
    if (DWORD nError = Locate(login.Root(), strPath, XRFP_NO_FOLLOW_LAST, strHost, &bRoot))
        return nError;
    if (bRoot)
        return EEXIST;
    return mkdir(strHost.c_str(), 0777) == 0 ? 0 : LastError();
}

DWORD XRFPFiles::RemoveDirectory(const std::string& strPath, DWORD nFlag)
{
    std::string strHost;
    bool bRoot = false;
    if (DWORD nError = Locate(login.Root(), strPath, XRFP_NO_FOLLOW_LAST, strHost, &bRoot))
        return nError;
    if (bRoot)
        return XRFP_ERROR_ACCESS_DENIED;
    if (!nFlag)
        return rmdir(strHost.c_str()) == 0 ? 0 : LastError();
    struct stat st {};
    if (lstat(strHost.c_str(), &st) != 0)
        return LastError();
    if (!S_ISDIR(st.st_mode))
        return ENOTDIR;
    // Depth first, never following a link: a link inside is removed, not
    // what it leads to.
    t_nRemoveError = 0;
    if (nftw(strHost.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS) != 0)
        return t_nRemoveError ? static_cast<DWORD>(t_nRemoveError) : LastError();
    return 0;
}

DWORD XRFPFiles::FindFirstFile(const std::string& strPath, DWORD& hFind, WIN32_FIND_DATAA& data)
{
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(strPath, vecParts))
        return XRFP_ERROR_ACCESS_DENIED;
    if (vecParts.empty())
        return ENOENT;
    std::string strPattern = vecParts.back();
    vecParts.pop_back();
    std::string strDir;
    if (DWORD nError = XfnRFPResolve(login.Root(), vecParts, XRFP_FOLLOW_LAST, strDir))
        return nError;
    struct stat st {};
    if (stat(strDir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
        return XRFP_ERROR_PATH_NOT_FOUND;

    auto pHandle = std::make_shared<tagXRFPHandle>();
    pHandle->bFind = true;
    if (XfnRFPHasWildcards(strPattern)) {
        std::vector<std::string> vecNames;
        if (!ListNames(strDir, vecNames))
            return LastError();
        for (const std::string& strName : vecNames) {
            tagXRFPStat info{};
            bool bLink = false;
            if (pHandle->vecFound.size() >= nMaxListItems)
                break;
            if (XfnRFPMatchPattern(strPattern, strName) && EntryStat(login.Root(), strDir, strName, info, bLink)) {
                pHandle->vecFound.emplace_back();
                FillFindData(info, strName, pHandle->vecFound.back());
            }
        }
    } else {
        vecParts.push_back(strPattern);
        std::string strHost;
        if (DWORD nError = XfnRFPResolve(login.Root(), vecParts, XRFP_FOLLOW_LAST, strHost))
            return nError;
        tagXRFPStat info{};
        if (!StatPath(strHost, info))
            return LastError();
        pHandle->vecFound.emplace_back();
        FillFindData(info, strPattern, pHandle->vecFound.back());
    }
    if (pHandle->vecFound.empty())
        return ENOENT;
    data = pHandle->vecFound[0];
    pHandle->nNext = 1;
    if (!login.Add(pHandle, nMaxHandles, hFind))
        return EMFILE;
    return 0;
}

DWORD XRFPFiles::FindNextFile(DWORD hFind, WIN32_FIND_DATAA& data)
{
    XRFPHandlePtr pHandle = login.Get(hFind, true);
    if (!pHandle)
        return XRFP_ERROR_INVALID_HANDLE;
    std::lock_guard<std::mutex> guard(pHandle->lock);
    if (pHandle->nNext >= pHandle->vecFound.size())
        return ENODATA;
    data = pHandle->vecFound[pHandle->nNext++];
    return 0;
}

DWORD XRFPFiles::FindClose(DWORD hFind)
{
    return login.Remove(hFind, true) ? 0 : XRFP_ERROR_INVALID_HANDLE;
}

DWORD XRFPFiles::GetRootList(std::vector<std::string>& vecRoots)
{
    std::vector<std::string> vecNames;
    if (!ListNames(login.Root(), vecNames))
        return LastError();
    for (const std::string& strName : vecNames) {
        tagXRFPStat info{};
        bool bLink = false;
        if (strName.size() < XRF_ROOT_ENTRY_SIZE && EntryStat(login.Root(), login.Root(), strName, info, bLink) &&
            S_ISDIR(info.st.st_mode))
            vecRoots.push_back(strName);
    }
    return 0;
}

DWORD XRFPFiles::ListTree(const std::string& strDir, const std::string& strPrefix, const std::string& strPattern,
                          bool bRecurse, int nDepth, std::vector<XRFPFileInfoItem>& vecItems)
{
    std::vector<std::string> vecNames;
    if (!ListNames(strDir, vecNames))
        return 0;
    // Each directory's entries come before the next entry of its parent;
    // links are listed but never entered, so the walk cannot loop or leave
    // the root.
    for (const std::string& strName : vecNames) {
        tagXRFPStat info{};
        bool bLink = false;
        if (!EntryStat(login.Root(), strDir, strName, info, bLink))
            continue;
        std::string strRelative = strPrefix.empty() ? strName : strPrefix + "\\" + strName;
        if (XfnRFPMatchPattern(strPattern, strName) && strRelative.size() < XRFP_ITEM_NAME_SIZE) {
            if (vecItems.size() >= nMaxListItems)
                return E2BIG;
            vecItems.emplace_back();
            FillItem(info, strName, strRelative, vecItems.back());
        }
        if (bRecurse && S_ISDIR(info.st.st_mode) && !bLink && nDepth < kMaxListDepth)
            if (DWORD nError = ListTree(strDir + "/" + strName, strRelative, strPattern, true, nDepth + 1, vecItems))
                return nError;
    }
    return 0;
}

DWORD XRFPFiles::FindFileList(const std::string& strPath, DWORD nFlag, std::vector<XRFPFileInfoItem>& vecItems)
{
    std::vector<std::string> vecParts;
    if (!XfnRFPSplitPath(strPath, vecParts))
        return XRFP_ERROR_ACCESS_DENIED;
    std::string strPattern = "*";
    if (!vecParts.empty() && XfnRFPHasWildcards(vecParts.back())) {
        strPattern = vecParts.back();
        vecParts.pop_back();
    }
    std::string strTop;
    if (DWORD nError = XfnRFPResolve(login.Root(), vecParts, XRFP_FOLLOW_LAST, strTop))
        return nError;
    struct stat st {};
    if (stat(strTop.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
        return XRFP_ERROR_PATH_NOT_FOUND;

    return ListTree(strTop, std::string(), strPattern, nFlag != 0, 0, vecItems);
}
