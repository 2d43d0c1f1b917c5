#include "platform/XSysFile.h"

#include "platform/XSysTime.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <linux/capability.h>
#include <map>
#include <mutex>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

// ------------------------------------------------------------ injection

struct XSysFault {
    int nError;
    int nSkip;
    int nTimes;
};

std::atomic<int> g_nFaultsArmed{0};
std::mutex g_faultLock;
XSysFault g_faults[static_cast<int>(XSysCall::Count)];

// ---------------------------------------------------------- share modes

// One live open of a file with its access and share words.
struct XSysOpenMode {
    int fd;
    DWORD nAccess;
    DWORD nShare;
};

typedef std::pair<dev_t, ino_t> XSysFileKey;

std::mutex g_shareLock;
std::map<XSysFileKey, std::vector<XSysOpenMode>> g_opensByFile;
std::unordered_map<int, XSysFileKey> g_fileByHandle;

// Whether an open (nAccess, nShare) may live beside an existing one.
bool SharesWith(const XSysOpenMode& old, DWORD nAccess, DWORD nShare)
{
    if ((nAccess & XSYS_GENERIC_READ) && !(old.nShare & XSYS_FILE_SHARE_READ))
        return false;
    if ((nAccess & XSYS_GENERIC_WRITE) && !(old.nShare & XSYS_FILE_SHARE_WRITE))
        return false;
    if ((old.nAccess & XSYS_GENERIC_READ) && !(nShare & XSYS_FILE_SHARE_READ))
        return false;
    if ((old.nAccess & XSYS_GENERIC_WRITE) && !(nShare & XSYS_FILE_SHARE_WRITE))
        return false;
    return true;
}

// Checks the open against the live opens of the file and enters it.
bool RegisterOpen(int fd, const struct stat& st, DWORD nAccess, DWORD nShare)
{
    XSysFileKey key(st.st_dev, st.st_ino);
    std::lock_guard<std::mutex> guard(g_shareLock);
    std::vector<XSysOpenMode>& opens = g_opensByFile[key];
    for (const XSysOpenMode& old : opens) {
        if (!SharesWith(old, nAccess, nShare)) {
            if (opens.empty())
                g_opensByFile.erase(key);
            return false;
        }
    }
    opens.push_back(XSysOpenMode{fd, nAccess, nShare});
    g_fileByHandle[fd] = key;
    return true;
}

// A duplicate counts as the same open: it is entered with the source's modes
// and never checked.
void RegisterDuplicate(int fdSource, int fd)
{
    std::lock_guard<std::mutex> guard(g_shareLock);
    auto it = g_fileByHandle.find(fdSource);
    if (it == g_fileByHandle.end())
        return;
    std::vector<XSysOpenMode>& opens = g_opensByFile[it->second];
    for (const XSysOpenMode& old : opens) {
        if (old.fd == fdSource) {
            XSysOpenMode copy = old;
            copy.fd = fd;
            opens.push_back(copy);
            g_fileByHandle[fd] = it->second;
            return;
        }
    }
}

void UnregisterOpen(int fd)
{
    std::lock_guard<std::mutex> guard(g_shareLock);
    auto it = g_fileByHandle.find(fd);
    if (it == g_fileByHandle.end())
        return;
    auto itFile = g_opensByFile.find(it->second);
    if (itFile != g_opensByFile.end()) {
        std::vector<XSysOpenMode>& opens = itFile->second;
        for (size_t i = 0; i < opens.size(); ++i) {
            if (opens[i].fd == fd) {
                opens.erase(opens.begin() + static_cast<std::ptrdiff_t>(i));
                break;
            }
        }
        if (opens.empty())
            g_opensByFile.erase(itFile);
    }
    g_fileByHandle.erase(it);
}

// ---------------------------------------------------------- attributes

const char* BaseName(const char* pszPath)
{
    const char* pszName = pszPath;
    for (const char* p = pszPath; *p; ++p)
        if (*p == '/' && p[1] != '\0')
            pszName = p + 1;
    return pszName;
}

bool IsHiddenName(const char* pszName)
{
    return pszName[0] == '.' && pszName[1] != '\0' && pszName[1] != '/' &&
           !(pszName[1] == '.' && (pszName[2] == '\0' || pszName[2] == '/'));
}

DWORD AttributesOf(const struct stat& st, const char* pszName)
{
    DWORD n = 0;
    if (S_ISDIR(st.st_mode))
        n |= FILE_ATTRIBUTE_DIRECTORY;
    else if (S_ISREG(st.st_mode))
        n |= FILE_ATTRIBUTE_ARCHIVE; // every file written since its last backup
    if (!(st.st_mode & S_IWUSR))
        n |= FILE_ATTRIBUTE_READONLY;
    if (pszName != nullptr && IsHiddenName(pszName))
        n |= FILE_ATTRIBUTE_HIDDEN;
    if (n == 0)
        n = FILE_ATTRIBUTE_NORMAL;
    return n;
}

_FILETIME FileTimeOf(const struct timespec& ts)
{
    return XfnUnixTimeToFileTime(static_cast<int64_t>(ts.tv_sec), static_cast<int64_t>(ts.tv_nsec));
}

// The birth time from statx, or zero where the file system keeps none.
_FILETIME BirthTimeOf(int nResult, const struct statx& stx)
{
    _FILETIME ft = {0, 0};
    if (nResult == 0 && (stx.stx_mask & STATX_BTIME))
        ft = XfnUnixTimeToFileTime(static_cast<int64_t>(stx.stx_btime.tv_sec),
                                   static_cast<int64_t>(stx.stx_btime.tv_nsec));
    return ft;
}

_FILETIME BirthTimeOfHandle(int fd)
{
    struct statx stx;
    int nResult = statx(fd, "", AT_EMPTY_PATH, STATX_BTIME, &stx);
    return BirthTimeOf(nResult, stx);
}

_FILETIME BirthTimeOfPath(const char* pszPath)
{
    struct statx stx;
    int nResult = statx(AT_FDCWD, pszPath, 0, STATX_BTIME, &stx);
    return BirthTimeOf(nResult, stx);
}

void FillFindData(const struct stat& st, const char* pszPath, const char* pszName, WIN32_FIND_DATAA& data)
{
    std::memset(&data, 0, sizeof(data));
    data.dwFileAttributes = AttributesOf(st, pszName);
    data.ftCreationTime = BirthTimeOfPath(pszPath);
    data.ftLastAccessTime = FileTimeOf(st.st_atim);
    data.ftLastWriteTime = FileTimeOf(st.st_mtim);
    uint64_t nSize = S_ISDIR(st.st_mode) ? 0 : static_cast<uint64_t>(st.st_size);
    data.nFileSizeHigh = static_cast<DWORD>(nSize >> 32);
    data.nFileSizeLow = static_cast<DWORD>(nSize & 0xFFFFFFFFu);
    std::strncpy(data.cFileName, pszName, sizeof(data.cFileName) - 1);
}

// Opens with no data access: the descriptor can be queried and closed only.
int OpenForQuery(const char* pszPath, DWORD nDisposition, int nCloexec)
{
    if (nDisposition == XSYS_CREATE_ALWAYS || nDisposition == XSYS_OPEN_ALWAYS) {
        int fdCreate = open(pszPath, O_RDONLY | O_CREAT | O_CLOEXEC | (nDisposition == XSYS_CREATE_ALWAYS ? O_TRUNC : 0), 0666);
        if (fdCreate < 0)
            return -1;
        close(fdCreate);
    }
    return open(pszPath, O_PATH | nCloexec);
}

} // namespace

// ------------------------------------------------------------- injection

void XfnSysInjectFault(XSysCall nCall, int nError, int nSkip, int nTimes)
{
    std::lock_guard<std::mutex> guard(g_faultLock);
    XSysFault& f = g_faults[static_cast<int>(nCall)];
    if (f.nTimes == 0 && nTimes > 0)
        g_nFaultsArmed.fetch_add(1);
    f = XSysFault{nError, nSkip, nTimes};
}

void XfnSysClearFaults()
{
    std::lock_guard<std::mutex> guard(g_faultLock);
    for (XSysFault& f : g_faults)
        f = XSysFault{0, 0, 0};
    g_nFaultsArmed.store(0);
}

bool XfnSysFaultDue(XSysCall nCall)
{
    if (g_nFaultsArmed.load(std::memory_order_relaxed) == 0)
        return false;
    std::lock_guard<std::mutex> guard(g_faultLock);
    XSysFault& f = g_faults[static_cast<int>(nCall)];
    if (f.nTimes == 0)
        return false;
    if (f.nSkip > 0) {
        --f.nSkip;
        return false;
    }
    if (--f.nTimes == 0)
        g_nFaultsArmed.fetch_sub(1);
    errno = f.nError;
    return true;
}

// ------------------------------------------------------------------ files

int XfnSysOpen(const char* pszPath, DWORD nAccess, DWORD nShare, DWORD nDisposition, bool bInherit)
{
    if (XfnSysFaultDue(XSysCall::Open))
        return -1;
    const int nCloexec = bInherit ? 0 : O_CLOEXEC;
    const bool bRead = (nAccess & XSYS_GENERIC_READ) != 0;
    const bool bWrite = (nAccess & XSYS_GENERIC_WRITE) != 0;
    if (!bRead && !bWrite)
        return OpenForQuery(pszPath, nDisposition, nCloexec);

    int nFlags = (bRead && bWrite) ? O_RDWR : (bWrite ? O_WRONLY : O_RDONLY);
    nFlags |= nCloexec;
    if (nDisposition == XSYS_CREATE_ALWAYS || nDisposition == XSYS_OPEN_ALWAYS)
        nFlags |= O_CREAT;
    // Truncation waits for the share check, except that a descriptor without
    // write access cannot truncate afterwards.
    const bool bTruncate = nDisposition == XSYS_CREATE_ALWAYS;
    if (bTruncate && !bWrite)
        nFlags |= O_TRUNC;
    int fd;
    do
        fd = open(pszPath, nFlags, 0666);
    while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return -1;
    struct stat st;
    if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        int nError = S_ISDIR(st.st_mode) ? EISDIR : errno;
        close(fd);
        errno = nError;
        return -1;
    }
    if (!RegisterOpen(fd, st, nAccess, nShare)) {
        close(fd);
        errno = kSysSharingViolation;
        return -1;
    }
    if (bTruncate && bWrite && st.st_size != 0 && ftruncate(fd, 0) != 0) {
        int nError = errno;
        XfnSysClose(fd);
        errno = nError;
        return -1;
    }
    return fd;
}

bool XfnSysClose(int fd)
{
    UnregisterOpen(fd);
    return close(fd) == 0;
}

int XfnSysDup(int fd)
{
    if (XfnSysFaultDue(XSysCall::Dup))
        return -1;
    int fdNew = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (fdNew >= 0)
        RegisterDuplicate(fd, fdNew);
    return fdNew;
}

int64_t XfnSysRead(int fd, void* pBuffer, uint32_t nCount)
{
    if (XfnSysFaultDue(XSysCall::Read))
        return -1;
    char* p = static_cast<char*>(pBuffer);
    uint32_t nDone = 0;
    while (nDone < nCount) {
        ssize_t n = read(fd, p + nDone, nCount - nDone);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return nDone > 0 ? static_cast<int64_t>(nDone) : -1;
        }
        if (n == 0)
            break;
        nDone += static_cast<uint32_t>(n);
    }
    return nDone;
}

int64_t XfnSysWrite(int fd, const void* pBuffer, uint32_t nCount)
{
    if (XfnSysFaultDue(XSysCall::Write))
        return -1;
    const char* p = static_cast<const char*>(pBuffer);
    uint32_t nDone = 0;
    while (nDone < nCount) {
        ssize_t n = write(fd, p + nDone, nCount - nDone);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = ENOSPC;
            return nDone > 0 ? static_cast<int64_t>(nDone) : -1;
        }
        nDone += static_cast<uint32_t>(n);
    }
    return nDone;
}

int64_t XfnSysSeek(int fd, int64_t nOffset, unsigned int nFrom)
{
    if (XfnSysFaultDue(XSysCall::Seek))
        return -1;
    static const int kWhence[3] = {SEEK_SET, SEEK_CUR, SEEK_END};
    if (nFrom > 2) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<int64_t>(lseek(fd, static_cast<off_t>(nOffset), kWhence[nFrom]));
}

bool XfnSysSetEndOfFile(int fd)
{
    if (XfnSysFaultDue(XSysCall::SetEnd))
        return false;
    off_t nPos = lseek(fd, 0, SEEK_CUR);
    return nPos >= 0 && ftruncate(fd, nPos) == 0;
}

int64_t XfnSysGetFileSize(int fd)
{
    struct stat st;
    if (fstat(fd, &st) != 0)
        return -1;
    return static_cast<int64_t>(st.st_size);
}

bool XfnSysFlush(int fd)
{
    if (XfnSysFaultDue(XSysCall::Flush))
        return false;
    return fsync(fd) == 0;
}

bool XfnSysLockRange(int fd, uint64_t nPos, uint64_t nCount, bool bLock)
{
    if (XfnSysFaultDue(XSysCall::Lock))
        return false;
    // A length of 0 would mean "to the end of the file and beyond".
    if (nCount == 0) {
        errno = EINVAL;
        return false;
    }
    int nMode = fcntl(fd, F_GETFL);
    if (nMode < 0)
        return false;
    struct flock lock;
    std::memset(&lock, 0, sizeof(lock));
    lock.l_type = !bLock ? F_UNLCK : ((nMode & O_ACCMODE) == O_RDONLY ? F_RDLCK : F_WRLCK);
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(nPos);
    lock.l_len = static_cast<off_t>(nCount);
    return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

bool XfnSysGetFileInfo(int fd, XSysFileInfo& info)
{
    if (XfnSysFaultDue(XSysCall::Stat))
        return false;
    struct stat st;
    if (fstat(fd, &st) != 0)
        return false;
    info.nAttributes = AttributesOf(st, nullptr);
    info.nSize = static_cast<int64_t>(st.st_size);
    info.ftCreation = BirthTimeOfHandle(fd);
    info.ftLastAccess = FileTimeOf(st.st_atim);
    info.ftLastWrite = FileTimeOf(st.st_mtim);
    return true;
}

bool XfnSysGetAttributes(const char* pszPath, DWORD& nAttributes)
{
    if (XfnSysFaultDue(XSysCall::Stat))
        return false;
    struct stat st;
    if (stat(pszPath, &st) != 0)
        return false;
    nAttributes = AttributesOf(st, BaseName(pszPath));
    return true;
}

bool XfnSysSetAttributes(const char* pszPath, DWORD nAttributes)
{
    struct stat st;
    if (stat(pszPath, &st) != 0)
        return false;
    mode_t nMode = st.st_mode & 07777;
    if (nAttributes & FILE_ATTRIBUTE_READONLY)
        nMode &= static_cast<mode_t>(~(S_IWUSR | S_IWGRP | S_IWOTH));
    else
        nMode |= S_IWUSR;
    if (nMode == (st.st_mode & 07777))
        return true;
    return chmod(pszPath, nMode) == 0;
}

bool XfnSysSetFileTimes(int fd, const _FILETIME* /*pCreation*/, const _FILETIME* pAccess, const _FILETIME* pWrite)
{
    if (XfnSysFaultDue(XSysCall::SetTimes))
        return false;
    struct timespec ts[2];
    const _FILETIME* pTimes[2] = {pAccess, pWrite};
    for (int i = 0; i < 2; ++i) {
        if (pTimes[i] == nullptr) {
            ts[i].tv_sec = 0;
            ts[i].tv_nsec = UTIME_OMIT;
        } else {
            int64_t nSeconds, nNanoseconds;
            XfnFileTimeToUnixTime(*pTimes[i], nSeconds, nNanoseconds);
            ts[i].tv_sec = static_cast<time_t>(nSeconds);
            ts[i].tv_nsec = static_cast<long>(nNanoseconds);
        }
    }
    return futimens(fd, ts) == 0;
}

bool XfnSysFindFirst(const char* pszPath, WIN32_FIND_DATAA& data)
{
    if (XfnSysFaultDue(XSysCall::Stat))
        return false;
    const char* pszName = BaseName(pszPath);
    if (std::strpbrk(pszName, "*?") == nullptr) {
        struct stat st;
        if (stat(pszPath, &st) != 0)
            return false;
        FillFindData(st, pszPath, pszName, data);
        return true;
    }
    std::string strDir(pszPath, static_cast<size_t>(pszName - pszPath));
    DIR* pDir = opendir(strDir.empty() ? "." : strDir.c_str());
    if (pDir == nullptr)
        return false;
    bool bFound = false;
    while (struct dirent* pEntry = readdir(pDir)) {
        if (fnmatch(pszName, pEntry->d_name, FNM_PERIOD) != 0)
            continue;
        std::string strEntry = strDir + pEntry->d_name;
        struct stat st;
        if (stat(strEntry.c_str(), &st) == 0) {
            FillFindData(st, strEntry.c_str(), pEntry->d_name, data);
            bFound = true;
            break;
        }
    }
    closedir(pDir);
    if (!bFound)
        errno = ENOENT;
    return bFound;
}

namespace {

// A move of a regular file to another file system: copy the bytes, the mode
// and the times, then remove the original. A failure removes the copy and
// leaves the original as it was.
bool MoveAcrossFileSystems(const char* pszOld, const char* pszNew)
{
    struct stat st;
    if (stat(pszOld, &st) != 0)
        return false;
    if (!S_ISREG(st.st_mode)) {
        errno = EXDEV;
        return false;
    }
    int fdIn = open(pszOld, O_RDONLY | O_CLOEXEC);
    if (fdIn < 0)
        return false;
    int fdOut = open(pszNew, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, st.st_mode & 07777);
    if (fdOut < 0) {
        int nError = errno;
        close(fdIn);
        errno = nError;
        return false;
    }
    bool bOk = true;
    std::vector<char> buffer(1 << 20);
    for (;;) {
        ssize_t nRead = read(fdIn, buffer.data(), buffer.size());
        if (nRead < 0 && errno == EINTR)
            continue;
        if (nRead <= 0) {
            bOk = nRead == 0;
            break;
        }
        for (ssize_t nDone = 0; bOk && nDone < nRead;) {
            ssize_t n = write(fdOut, buffer.data() + nDone, static_cast<size_t>(nRead - nDone));
            if (n < 0 && errno == EINTR)
                continue;
            bOk = n > 0;
            nDone += n > 0 ? n : 0;
        }
        if (!bOk)
            break;
    }
    struct timespec times[2] = {st.st_atim, st.st_mtim};
    bOk = bOk && futimens(fdOut, times) == 0;
    int nError = errno;
    close(fdIn);
    bOk = close(fdOut) == 0 && bOk;
    if (bOk && unlink(pszOld) == 0)
        return true;
    nError = bOk ? errno : nError;
    unlink(pszNew);
    errno = nError;
    return false;
}

} // namespace

bool XfnSysRename(const char* pszOld, const char* pszNew)
{
    if (XfnSysFaultDue(XSysCall::Rename))
        return false;
    if (renameat2(AT_FDCWD, pszOld, AT_FDCWD, pszNew, RENAME_NOREPLACE) == 0)
        return true;
    if (errno == EXDEV)
        return MoveAcrossFileSystems(pszOld, pszNew);
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // The file system cannot refuse replacement itself.
    struct stat st;
    if (lstat(pszNew, &st) == 0) {
        errno = EEXIST;
        return false;
    }
    if (rename(pszOld, pszNew) == 0)
        return true;
    return errno == EXDEV && MoveAcrossFileSystems(pszOld, pszNew);
}

bool XfnSysRemove(const char* pszPath)
{
    if (XfnSysFaultDue(XSysCall::Remove))
        return false;
    return unlink(pszPath) == 0;
}

// ---------------------------------------------------------------- streams

FILE* XfnSysStreamOpen(int fd, const char* pszMode)
{
    return fdopen(fd, pszMode);
}

int XfnSysStreamHandle(FILE* pStream)
{
    return fileno(pStream);
}

int XfnSysStreamSeek(FILE* pStream, int64_t nOffset, int nFrom)
{
    return fseeko(pStream, static_cast<off_t>(nOffset), nFrom);
}

int64_t XfnSysStreamTell(FILE* pStream)
{
    return static_cast<int64_t>(ftello(pStream));
}

int XfnSysStreamClose(FILE* pStream)
{
    int fd = fileno(pStream);
    if (fd >= 0)
        UnregisterOpen(fd);
    return fclose(pStream);
}

// ------------------------------------------------------- test conditions

bool XfnSysSetFileSizeLimit(int64_t nBytes)
{
    struct rlimit lim;
    if (getrlimit(RLIMIT_FSIZE, &lim) != 0)
        return false;
    lim.rlim_cur = nBytes < 0 ? lim.rlim_max : static_cast<rlim_t>(nBytes);
    signal(SIGXFSZ, nBytes < 0 ? SIG_DFL : SIG_IGN);
    return setrlimit(RLIMIT_FSIZE, &lim) == 0;
}

bool XfnSysSetPermissionOverride(bool bEnabled)
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2];
    if (syscall(SYS_capget, &header, data) != 0)
        return false;
    const uint32_t nBits = (1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH);
    if (bEnabled)
        data[0].effective |= nBits & data[0].permitted;
    else
        data[0].effective &= ~nBits;
    return syscall(SYS_capset, &header, data) == 0;
}
