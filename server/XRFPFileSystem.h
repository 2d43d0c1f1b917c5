// The server's calls into the host file system, in one place. Every path is
// resolved beneath a directory descriptor (a login's root) by the kernel
// itself, with openat2 and RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS, so that no
// link, however it is moved while a request runs, leads outside; every
// operation then acts on descriptors and names (the *at calls), never on a
// path string checked earlier. Functions return 0 or the errno of the call
// that failed; EXDEV and ELOOP mean a path tried to leave the root. They keep
// no state and are safe on any thread.
#pragma once

#include "KVDbase/platform/Win32Types.h"

#include <ctime>
#include <string>
#include <sys/types.h>

// An owned descriptor, closed when the object goes.
class XRFPFd {
public:
    XRFPFd() = default;
    explicit XRFPFd(int fd) : fd(fd) {}
    ~XRFPFd() { Reset(); }
    XRFPFd(XRFPFd&& other) noexcept : fd(other.Release()) {}
    XRFPFd& operator=(XRFPFd&& other) noexcept
    {
        if (this != &other) {
            Reset();
            fd = other.Release();
        }
        return *this;
    }
    XRFPFd(const XRFPFd&) = delete;
    XRFPFd& operator=(const XRFPFd&) = delete;

    int Get() const { return fd; }
    explicit operator bool() const { return fd >= 0; }
    int Release()
    {
        int n = fd;
        fd = -1;
        return n;
    }
    void Reset(int fdNew = -1);

private:
    int fd = -1;
};

// An entry's status, with the birth time where the file system keeps one,
// else the last status change standing in for the creation time.
struct tagXRFPStat {
    mode_t nMode = 0;
    int64_t nSize = 0;
    uint64_t nDevice = 0;
    uint64_t nInode = 0;
    timespec tCreation{};
    timespec tAccess{};
    timespec tWrite{};
    bool IsDirectory() const;
    bool IsRegular() const;
    bool IsLink() const;
};

// 0 when the kernel resolves beneath a directory (openat2, Linux 5.6 and
// later); else the reason, for the message that refuses to start.
int XfnRFPCheckBeneathSupport(std::string& strWhy);

// Opens a directory to serve as a root (O_PATH); the path may be anything
// the server's own user can reach.
int XfnRFPOpenRoot(const std::string& strPath, XRFPFd& fd);

// Opens strRelative ("" or "." for the directory itself, names joined by
// '/') beneath fdBase. A link at the end is followed unless nFlags holds
// O_NOFOLLOW; links on the way are followed as long as they stay beneath.
int XfnRFPOpenBeneath(int fdBase, const std::string& strRelative, int nFlags, XRFPFd& fd);

// Creates a regular file (O_EXCL) beneath fdBase, mode 0644 whatever the
// umask, open with nFlags.
int XfnRFPCreateBeneath(int fdBase, const std::string& strRelative, int nFlags, XRFPFd& fd);

// The status of a name in a directory, links not followed; or of an open
// descriptor.
int XfnRFPStatAt(int fdDir, const char* pszName, tagXRFPStat& info);
int XfnRFPStatFd(int fd, tagXRFPStat& info);
// The length of an open file alone: cheaper than its whole status.
int XfnRFPFileSize(int fd, int64_t& nSize);

int XfnRFPMakeDirectory(int fdDir, const char* pszName);  // mode 0755 whatever the umask
int XfnRFPUnlink(int fdDir, const char* pszName, bool bDirectory);
// Never replaces an existing name: EEXIST.
int XfnRFPRename(int fdOldDir, const char* pszOld, int fdNewDir, const char* pszNew);
// A directory and everything below it, depth first; links inside are
// removed, never followed. Deeper than nMaxDepth levels gives ELOOP.
int XfnRFPRemoveTree(int fdDir, const char* pszName, int nMaxDepth);
int XfnRFPSetMode(int fd, mode_t nMode);

int XfnRFPReadAt(int fd, void* pData, size_t nSize, int64_t nPosition, size_t& nRead);
int XfnRFPWriteAt(int fd, const void* pData, size_t nSize, int64_t nPosition, size_t& nWritten);
int XfnRFPTruncate(int fd, int64_t nLength);
int XfnRFPSync(int fd);
// Access and last write time (UTIME_OMIT leaves one alone).
int XfnRFPSetTimes(int fd, const timespec times[2]);
// Drops O_NONBLOCK, which an open sets so that a named pipe cannot stall it.
int XfnRFPMakeBlocking(int fd);

// A directory read one entry at a time from its own descriptor: the find
// handles and file lists keep this cursor, never the names.
class XRFPDirCursor {
public:
    XRFPDirCursor() = default;
    ~XRFPDirCursor();
    XRFPDirCursor(const XRFPDirCursor&) = delete;
    XRFPDirCursor& operator=(const XRFPDirCursor&) = delete;

    // Takes over fd (a directory opened for reading).
    int Open(XRFPFd fd);
    // The next name other than "." and ".."; false at the end.
    bool Next(std::string& strName);
    int Fd() const;

private:
    void* pDir = nullptr;  // the C library's DIR
};

// Writes a small file through a temporary name beside it: mkstemp, fchmod
// 0600, write, fsync, rename over the file, fsync of the directory.
int XfnRFPWriteFileAtomically(const std::string& strFile, const std::string& strText);

// Reads a file that holds secrets, refusing a link, a file whose mode has
// any of the bits of nForbidden (0077 for a private key, 0027 for the
// users file), and one owned by another user than this process's or root.
// 0, or errno with strError saying why.
int XfnRFPReadPrivateFile(const std::string& strFile, mode_t nForbidden, std::string& strText, std::string& strError);

// True when the process runs with the superuser's rights.
bool XfnRFPRunsAsRoot();
