// Files on this platform: descriptors opened with the access, share mode and
// disposition words of the library's file interface, positioned I/O, record
// locks, times and attribute bits, renames and stdio streams over descriptors.
// Every failure answers -1 or false and leaves the reason in errno
// (XfnSysLastError); nothing throws. Thread-safe; the share-mode table is
// guarded by its own lock.
#pragma once

#include "KVDbase/platform/Win32Types.h"

#include <cstdint>
#include <cstdio>

// Desired access bits, share modes and creation dispositions, as the library's
// callers store them.
enum : DWORD {
    XSYS_GENERIC_READ = 0x80000000u,
    XSYS_GENERIC_WRITE = 0x40000000u,
    XSYS_FILE_SHARE_READ = 1,
    XSYS_FILE_SHARE_WRITE = 2,
    XSYS_CREATE_ALWAYS = 2,
    XSYS_OPEN_EXISTING = 3,
    XSYS_OPEN_ALWAYS = 4,
};

// The errno a refused share mode reports.
constexpr int kSysSharingViolation = 16; // EBUSY

// Opens path. Share modes are kept between the opens of this process: an open
// whose access or share mode clashes with a live open of the same file fails
// with kSysSharingViolation, before anything is truncated. A directory is
// refused with EISDIR. Access 0 gives a descriptor that can only be queried.
int XfnSysOpen(const char* pszPath, DWORD nAccess, DWORD nShare, DWORD nDisposition, bool bInherit);
// Closes fd and forgets its share mode.
bool XfnSysClose(int fd);
// A second descriptor for the same open file (shared position), close-on-exec.
int XfnSysDup(int fd);

// Reads until count bytes or end of file; the bytes read or -1. Writes until
// all bytes are written; a failure after some bytes answers that count with
// errno set, a failure before any answers -1.
int64_t XfnSysRead(int fd, void* pBuffer, uint32_t nCount);
int64_t XfnSysWrite(int fd, const void* pBuffer, uint32_t nCount);
// The new position or -1; nFrom 0 begin, 1 current, 2 end.
int64_t XfnSysSeek(int fd, int64_t nOffset, unsigned int nFrom);
// Ends the file at its present position.
bool XfnSysSetEndOfFile(int fd);
int64_t XfnSysGetFileSize(int fd);
bool XfnSysFlush(int fd);
// An exclusive record lock of [nPos, nPos + nCount) that does not wait, or its
// release. Locks belong to the open file, so two opens in one process exclude
// each other. A descriptor open for reading only takes a shared lock.
bool XfnSysLockRange(int fd, uint64_t nPos, uint64_t nCount, bool bLock);

// What a file looks like through the library's attribute bits.
struct XSysFileInfo {
    DWORD nAttributes;
    int64_t nSize;
    _FILETIME ftCreation; // zero where the file system keeps no birth time
    _FILETIME ftLastAccess;
    _FILETIME ftLastWrite;
};
bool XfnSysGetFileInfo(int fd, XSysFileInfo& info);
// Attribute bits of a path; the name decides the hidden bit.
bool XfnSysGetAttributes(const char* pszPath, DWORD& nAttributes);
// Only the read-only bit can be changed here: set, it clears every write
// permission; clear, it gives the owner write permission back.
bool XfnSysSetAttributes(const char* pszPath, DWORD nAttributes);
// Sets the access and write times; a null time is left as it is. The birth
// time cannot be set on this platform and is ignored.
bool XfnSysSetFileTimes(int fd, const _FILETIME* pCreation, const _FILETIME* pAccess, const _FILETIME* pWrite);
// The first entry matching a path whose last part may hold * and ?.
bool XfnSysFindFirst(const char* pszPath, WIN32_FIND_DATAA& data);
// Renames without replacing an existing target (EEXIST). A regular file
// moves to another file system by copy and removal.
bool XfnSysRename(const char* pszOld, const char* pszNew);
// Removes a file; a directory is refused.
bool XfnSysRemove(const char* pszPath);

// Stdio streams over descriptors. XfnSysStreamClose also forgets the
// descriptor's share mode.
FILE* XfnSysStreamOpen(int fd, const char* pszMode);
int XfnSysStreamHandle(FILE* pStream);
int XfnSysStreamSeek(FILE* pStream, int64_t nOffset, int nFrom);
int64_t XfnSysStreamTell(FILE* pStream);
int XfnSysStreamClose(FILE* pStream);

// Failure injection for tests: the calls of one kind fail with nError, after
// nSkip more successes, nTimes times. Clear removes every injection.
enum class XSysCall { Open, Read, Write, Seek, SetEnd, Flush, Lock, Dup, Stat, SetTimes, Rename, Remove, Map, Count };
void XfnSysInjectFault(XSysCall nCall, int nError, int nSkip = 0, int nTimes = 1);
void XfnSysClearFaults();
// Whether a call of this kind is to fail now (sets errno when it is). Used by
// the platform's own wrappers.
bool XfnSysFaultDue(XSysCall nCall);

// Test conditions that a test cannot make by ordinary means: a file size limit
// for this process (writes past it fail with EFBIG, SIGXFSZ is ignored; -1
// lifts it again), and, for a caller with administrator rights, switching the
// permission override of the calling thread off and on, so that permission
// bits apply to it.
bool XfnSysSetFileSizeLimit(int64_t nBytes);
bool XfnSysSetPermissionOverride(bool bEnabled);
