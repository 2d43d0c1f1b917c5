#include "XRFPFileSystem.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

const mode_t kFileMode = 0644;
const mode_t kDirectoryMode = 0755;

int OpenAt2(int fdBase, const char* pszPath, int nFlags, mode_t nMode, XRFPFd& fd)
{
    open_how how{};
    how.flags = static_cast<uint64_t>(nFlags | O_CLOEXEC);
    how.mode = (nFlags & (O_CREAT | O_TMPFILE)) ? nMode : 0;
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    for (;;) {
        long n = syscall(SYS_openat2, fdBase, pszPath, &how, sizeof how);
        if (n >= 0) {
            fd.Reset(static_cast<int>(n));
            return 0;
        }
        // The kernel asks for a retry when a rename elsewhere raced the walk.
        if (errno != EINTR && errno != EAGAIN)
            return errno;
    }
}

const char* Relative(const std::string& strRelative)
{
    return strRelative.empty() ? "." : strRelative.c_str();
}

int StatxAt(int fdDir, const char* pszName, int nFlags, tagXRFPStat& info)
{
    struct statx sx {};
    if (statx(fdDir, pszName, nFlags, STATX_BASIC_STATS | STATX_BTIME, &sx) != 0)
        return errno;
    info.nMode = sx.stx_mode;
    info.nSize = static_cast<int64_t>(sx.stx_size);
    info.nDevice = (static_cast<uint64_t>(sx.stx_dev_major) << 32) | sx.stx_dev_minor;
    info.nInode = sx.stx_ino;
    info.tAccess = timespec{sx.stx_atime.tv_sec, sx.stx_atime.tv_nsec};
    info.tWrite = timespec{sx.stx_mtime.tv_sec, sx.stx_mtime.tv_nsec};
    timespec tChange{sx.stx_ctime.tv_sec, sx.stx_ctime.tv_nsec};
    timespec tBirth{sx.stx_btime.tv_sec, static_cast<long>(sx.stx_btime.tv_nsec)};
    info.tCreation = (sx.stx_mask & STATX_BTIME) ? tBirth : tChange;
    return 0;
}

int RemoveContents(int fdDir, int nDepthLeft)
{
    if (nDepthLeft <= 0)
        return ELOOP;
    XRFPFd fdList(openat(fdDir, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fdList)
        return errno;
    XRFPDirCursor cursor;
    if (int nError = cursor.Open(std::move(fdList)))
        return nError;
    std::string strName;
    while (cursor.Next(strName)) {
        tagXRFPStat info;
        if (int nError = XfnRFPStatAt(fdDir, strName.c_str(), info))
            return nError;
        if (info.IsDirectory()) {
            if (int nError = XfnRFPRemoveTree(fdDir, strName.c_str(), nDepthLeft - 1))
                return nError;
        } else if (unlinkat(fdDir, strName.c_str(), 0) != 0) {
            return errno;
        }
    }
    return 0;
}

} // namespace

bool tagXRFPStat::IsDirectory() const
{
    return S_ISDIR(nMode);
}

bool tagXRFPStat::IsRegular() const
{
    return S_ISREG(nMode);
}

bool tagXRFPStat::IsLink() const
{
    return S_ISLNK(nMode);
}

void XRFPFd::Reset(int fdNew)
{
    if (fd >= 0)
        close(fd);
    fd = fdNew;
}

int XfnRFPCheckBeneathSupport(std::string& strWhy)
{
    XRFPFd fdRoot(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    XRFPFd fd;
    int nError = fdRoot ? OpenAt2(fdRoot.Get(), ".", O_PATH | O_DIRECTORY, 0, fd) : errno;
    if (nError == ENOSYS)
        strWhy = "this kernel has no openat2 (Linux 5.6 or later is needed), so paths cannot be held inside "
                 "the users' roots";
    else if (nError)
        strWhy = std::string("openat2 fails: ") + std::strerror(nError);
    return nError;
}

int XfnRFPOpenRoot(const std::string& strPath, XRFPFd& fd)
{
    fd.Reset(open(strPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return fd ? 0 : errno;
}

int XfnRFPOpenBeneath(int fdBase, const std::string& strRelative, int nFlags, XRFPFd& fd)
{
    return OpenAt2(fdBase, Relative(strRelative), nFlags, 0, fd);
}

int XfnRFPCreateBeneath(int fdBase, const std::string& strRelative, int nFlags, XRFPFd& fd)
{
    if (int nError = OpenAt2(fdBase, Relative(strRelative), nFlags | O_CREAT | O_EXCL, kFileMode, fd))
        return nError;
    return fchmod(fd.Get(), kFileMode) == 0 ? 0 : errno;
}

int XfnRFPStatAt(int fdDir, const char* pszName, tagXRFPStat& info)
{
    return StatxAt(fdDir, pszName, AT_SYMLINK_NOFOLLOW, info);
}

int XfnRFPStatFd(int fd, tagXRFPStat& info)
{
    return StatxAt(fd, "", AT_EMPTY_PATH, info);
}

int XfnRFPFileSize(int fd, int64_t& nSize)
{
    struct stat st {};
    if (fstat(fd, &st) != 0)
        return errno;
    nSize = st.st_size;
    return 0;
}

int XfnRFPMakeDirectory(int fdDir, const char* pszName)
{
    if (mkdirat(fdDir, pszName, kDirectoryMode) != 0)
        return errno;
    // The umask may have taken bits away; the new directory is opened by
    // name without following, so a link swapped in cannot be changed.
    XRFPFd fd(openat(fdDir, pszName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd)
        return errno;
    return fchmod(fd.Get(), kDirectoryMode) == 0 ? 0 : errno;
}

int XfnRFPUnlink(int fdDir, const char* pszName, bool bDirectory)
{
    return unlinkat(fdDir, pszName, bDirectory ? AT_REMOVEDIR : 0) == 0 ? 0 : errno;
}

int XfnRFPRename(int fdOldDir, const char* pszOld, int fdNewDir, const char* pszNew)
{
    return renameat2(fdOldDir, pszOld, fdNewDir, pszNew, RENAME_NOREPLACE) == 0 ? 0 : errno;
}

int XfnRFPRemoveTree(int fdDir, const char* pszName, int nMaxDepth)
{
    XRFPFd fd(openat(fdDir, pszName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd)
        return errno;
    if (int nError = RemoveContents(fd.Get(), nMaxDepth))
        return nError;
    return unlinkat(fdDir, pszName, AT_REMOVEDIR) == 0 ? 0 : errno;
}

int XfnRFPSetMode(int fd, mode_t nMode)
{
    return fchmod(fd, nMode) == 0 ? 0 : errno;
}

int XfnRFPReadAt(int fd, void* pData, size_t nSize, int64_t nPosition, size_t& nRead)
{
    nRead = 0;
    while (nRead < nSize) {
        ssize_t n =
            pread(fd, static_cast<BYTE*>(pData) + nRead, nSize - nRead, nPosition + static_cast<int64_t>(nRead));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        if (n == 0)
            break;
        nRead += static_cast<size_t>(n);
    }
    return 0;
}

int XfnRFPWriteAt(int fd, const void* pData, size_t nSize, int64_t nPosition, size_t& nWritten)
{
    nWritten = 0;
    while (nWritten < nSize) {
        ssize_t n = pwrite(fd, static_cast<const BYTE*>(pData) + nWritten, nSize - nWritten,
                           nPosition + static_cast<int64_t>(nWritten));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        if (n == 0)
            return ENOSPC;
        nWritten += static_cast<size_t>(n);
    }
    return 0;
}

int XfnRFPTruncate(int fd, int64_t nLength)
{
    return ftruncate(fd, nLength) == 0 ? 0 : errno;
}

int XfnRFPSync(int fd)
{
    return fsync(fd) == 0 ? 0 : errno;
}

int XfnRFPSetTimes(int fd, const timespec times[2])
{
    return futimens(fd, times) == 0 ? 0 : errno;
}

int XfnRFPMakeBlocking(int fd)
{
    int nFlags = fcntl(fd, F_GETFL);
    if (nFlags < 0 || fcntl(fd, F_SETFL, nFlags & ~O_NONBLOCK) != 0)
        return errno;
    return 0;
}

XRFPDirCursor::~XRFPDirCursor()
{
    if (pDir)
        closedir(static_cast<DIR*>(pDir));
}

int XRFPDirCursor::Open(XRFPFd fd)
{
    pDir = fdopendir(fd.Get());
    if (!pDir)
        return errno;
    fd.Release();
    return 0;
}

bool XRFPDirCursor::Next(std::string& strName)
{
    while (dirent* pEntry = readdir(static_cast<DIR*>(pDir))) {
        if (std::strcmp(pEntry->d_name, ".") != 0 && std::strcmp(pEntry->d_name, "..") != 0) {
            strName = pEntry->d_name;
            return true;
        }
    }
    return false;
}

int XRFPDirCursor::Fd() const
{
    return dirfd(static_cast<DIR*>(pDir));
}

int XfnRFPWriteFileAtomically(const std::string& strFile, const std::string& strText)
{
    size_t nSlash = strFile.rfind('/');
    std::string strDir = nSlash == std::string::npos ? "." : nSlash == 0 ? "/" : strFile.substr(0, nSlash);
    std::string strTemp = strFile + ".XXXXXX";
    XRFPFd fd(mkostemp(strTemp.data(), O_CLOEXEC));
    if (!fd)
        return errno;
    size_t nWritten = 0;
    int nError =
        fchmod(fd.Get(), 0600) != 0 ? errno : XfnRFPWriteAt(fd.Get(), strText.data(), strText.size(), 0, nWritten);
    if (!nError && fsync(fd.Get()) != 0)
        nError = errno;
    fd.Reset();
    if (!nError && rename(strTemp.c_str(), strFile.c_str()) != 0)
        nError = errno;
    if (nError) {
        unlink(strTemp.c_str());
        return nError;
    }
    XRFPFd fdDir(open(strDir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return fdDir && fsync(fdDir.Get()) == 0 ? 0 : errno;
}

int XfnRFPReadPrivateFile(const std::string& strFile, mode_t nForbidden, std::string& strText, std::string& strError)
{
    XRFPFd fd(open(strFile.c_str(), O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!fd) {
        int nError = errno;
        strError = nError == ELOOP ? strFile + " is a symbolic link; give the file itself"
                                   : "cannot read " + strFile + ": " + std::strerror(nError);
        return nError;
    }
    struct stat st {};
    if (fstat(fd.Get(), &st) != 0) {
        strError = "cannot read " + strFile + ": " + std::strerror(errno);
        return errno;
    }
    if (!S_ISREG(st.st_mode)) {
        strError = strFile + " is not a regular file";
        return EINVAL;
    }
    if (st.st_uid != geteuid() && st.st_uid != 0) {
        strError = strFile + " belongs to another user (uid " + std::to_string(st.st_uid) + ")";
        return EPERM;
    }
    if (st.st_mode & nForbidden) {
        char szMode[8];
        std::snprintf(szMode, sizeof szMode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
        strError = strFile + " has mode " + szMode + ", open to others; chmod 600 it";
        return EPERM;
    }
    strText.clear();
    char buf[4096];
    for (;;) {
        ssize_t n = read(fd.Get(), buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            strError = "cannot read " + strFile + ": " + std::strerror(errno);
            return errno;
        }
        if (n == 0)
            return 0;
        strText.append(buf, static_cast<size_t>(n));
    }
}

bool XfnRFPRunsAsRoot()
{
    return geteuid() == 0;
}
