// The file operations of one login, each the server side of one command:
// paths are resolved inside the user's root, handles live in the login's
// table, and the result is the reply's error word (0, a "Remote File" code of
// the catalogue, or the errno of the system call that failed). An object is
// made per connection; the login behind it is shared and thread-safe.
#pragma once

#include "KVDbase/remote/XRFWire.h"

#include "XRFPLogins.h"

#include <array>
#include <string>
#include <vector>

// One item of the find file list, 312 bytes, all numbers little-endian:
//   0  u32  attributes (as in find data)
//   4  u32  reserved, zero
//   8  i64  size in bytes
//   16 FILETIME creation, 24 FILETIME last access, 32 FILETIME last write
//   40 272 bytes: the name relative to the listed directory, with
//      backslashes between directories, NUL-terminated and zero-padded.
typedef std::array<BYTE, XRF_FILE_INFO_ITEM_SIZE> XRFPFileInfoItem;
enum : DWORD { XRFP_ITEM_NAME_AT = 40, XRFP_ITEM_NAME_SIZE = XRF_FILE_INFO_ITEM_SIZE - XRFP_ITEM_NAME_AT };

class XRFPFiles {
public:
    XRFPFiles(XRFPLogin& login, size_t nMaxHandles, size_t nMaxListItems)
        : login(login), nMaxHandles(nMaxHandles), nMaxListItems(nMaxListItems)
    {
    }

    DWORD CreateFile(const tagXRFCreateFileRequest& req, DWORD& hFile, int64_t& nSize);
    // Reads up to nCount bytes at nPosition into vecData (resized to what came).
    DWORD ReadFile(DWORD hFile, int64_t nPosition, DWORD nCount, std::vector<BYTE>& vecData);
    DWORD WriteFile(DWORD hFile, int64_t nPosition, const BYTE* pData, DWORD nSize, DWORD& nWritten,
                    int64_t& nLength);
    DWORD CloseHandle(DWORD hFile);
    DWORD SetEndOfFile(DWORD hFile);
    DWORD SetFilePointer(const tagXRFSetFilePointerRequest& req, int64_t& nPosition);
    DWORD FlushFileBuffers(DWORD hFile);
    DWORD GetFileTime(DWORD hFile, _FILETIME& ftCreation, _FILETIME& ftAccess, _FILETIME& ftWrite);
    // A zero time leaves that time as it is; the creation time cannot be set.
    DWORD SetFileTime(const tagXRFSetFileTimeRequest& req);
    DWORD GetFileSize(DWORD hFile, int64_t& nSize);

    DWORD GetFileAttributes(const std::string& strPath, DWORD& nAttributes);
    // Only the read-only bit has an effect: it clears or restores write access.
    DWORD SetFileAttributes(const std::string& strPath, DWORD nAttributes);
    DWORD DeleteFile(const std::string& strPath);
    // Fails with EEXIST when the new name exists, as the clients expect.
    DWORD MoveFile(const std::string& strOldPath, const std::string& strNewPath);
    DWORD CreateDirectory(const std::string& strPath);
    // A non-zero flag removes the directory with everything below it.
    DWORD RemoveDirectory(const std::string& strPath, DWORD nFlag);

    // The last component may hold wildcards; "." and ".." are never listed.
    // The end of a search is ENODATA.
    DWORD FindFirstFile(const std::string& strPath, DWORD& hFind, WIN32_FIND_DATAA& data);
    DWORD FindNextFile(DWORD hFind, WIN32_FIND_DATAA& data);
    DWORD FindClose(DWORD hFind);

    // The directories at the top of the user's root, by name.
    DWORD GetRootList(std::vector<std::string>& vecRoots);
    // The entries of a directory (or of a pattern's directory that match it);
    // a non-zero flag walks the whole tree below. E2BIG when the list was cut
    // at its limit; the items gathered are still returned.
    DWORD FindFileList(const std::string& strPath, DWORD nFlag, std::vector<XRFPFileInfoItem>& vecItems);

private:
    DWORD ListTree(const std::string& strDir, const std::string& strPrefix, const std::string& strPattern,
                   bool bRecurse, int nDepth, std::vector<XRFPFileInfoItem>& vecItems);

    XRFPLogin& login;
    size_t nMaxHandles;
    size_t nMaxListItems;
};

// File times: 100-nanosecond units since 1601 from and to seconds and
// nanoseconds since 1970.
_FILETIME XfnRFPFileTime(int64_t nSeconds, long nNanoseconds);
int64_t XfnRFPUnixTime100ns(const _FILETIME& ft);
