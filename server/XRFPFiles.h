// The file operations of one login, each the server side of one command:
// paths are resolved beneath the descriptor of the user's root, handles live
// in the login's table, and the result is the reply's error word (0, a
// "Remote File" code of the catalogue, or the errno of the system call that
// failed). An object is made per connection; the login behind it is shared
// and thread-safe. What a request holds in memory is charged to the user's
// budget, and every descriptor a handle keeps to the server's.
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

// Where a read's data or a file list's items go as they are made: a
// reply is streamed, never built whole. False when the connection failed.
class XRFPReplySink {
public:
    virtual ~XRFPReplySink() = default;
    // The read reply's head (count and error), then its data in pieces.
    virtual bool ReadHead(DWORD nCount, DWORD nError) = 0;
    virtual bool ReadData(const BYTE* pData, size_t nSize) = 0;
    // Sinks that take files get the data after the first piece straight
    // from the open file: up to nSize bytes from nPosition, nSent telling
    // how many went; the rest, if any, follows through ReadData. False when
    // the connection failed.
    virtual bool TakesFiles() const { return false; }
    virtual bool ReadDataFromFile(int, int64_t, size_t, size_t& nSent)
    {
        nSent = 0;
        return true;
    }
    virtual bool ListItem(const XRFPFileInfoItem& item) = 0;
};

struct tagXRFPFileLimits {
    size_t nMaxHandles = 256;     // per user
    size_t nMaxListItems = 100000;  // entries looked at by one search or list
    DWORD nMaxRead = 1u << 30;    // bytes of one read; more is refused
    XRFPBudgetPtr pDescriptors;   // the server's handle budget; null: none
};

class XRFPFiles {
public:
    XRFPFiles(XRFPLogin& login, const tagXRFPFileLimits& limits) : login(login), limits(limits) {}

    DWORD CreateFile(const tagXRFCreateFileRequest& req, DWORD& hFile, int64_t& nSize);
    // Reads up to nCount bytes at nPosition, to the end of the file, and
    // streams the reply to the sink (head first, with the count it will
    // send). False only when the connection failed or the data could not be
    // read after the head went: the connection must close.
    bool ReadFile(DWORD hFile, int64_t nPosition, DWORD nCount, XRFPReplySink& sink);
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

    // The last component may hold wildcards; "." and ".." are never listed;
    // names come in the directory's order. The end of a search is ENODATA,
    // or E2BIG once it has looked at the list limit's number of entries.
    DWORD FindFirstFile(const std::string& strPath, DWORD& hFind, WIN32_FIND_DATAA& data);
    DWORD FindNextFile(DWORD hFind, WIN32_FIND_DATAA& data);
    DWORD FindClose(DWORD hFind);

    // The user's root, named "." as every command takes it.
    DWORD GetRootList(std::vector<std::string>& vecRoots);
    // Streams the entries of a directory (or of a pattern's directory that
    // match it) to the sink, sorted by name; a non-zero flag walks the whole
    // tree below. E2BIG when the walk looked at more entries than the list
    // limit. bSent is false when the sink failed: the connection must close.
    DWORD FindFileList(const std::string& strPath, DWORD nFlag, XRFPReplySink& sink, bool& bSent);

private:
    struct tagWalk;
    DWORD ListTree(XRFPFd fdDir, const std::string& strHostDir, const std::string& strPrefix, int nDepth,
                   tagWalk& walk);
    DWORD NextMatch(tagXRFPHandle& handle, WIN32_FIND_DATAA& data);
    DWORD TakeSlot(XRFPCharge& slot);
    DWORD DeepestBelow(int fdDir, const char* pszName, size_t& nLength, size_t& nDepth);

    XRFPLogin& login;
    tagXRFPFileLimits limits;
    std::vector<BYTE> vecPiece;  // a read's piece, kept for the next read
    XRFPCharge pieceCharge;

    // Grows the piece buffer to nSize on the user's budget; false when the
    // budget is spent.
    bool ReservePiece(size_t nSize);
};

// File times: 100-nanosecond units since 1601 from and to seconds and
// nanoseconds since 1970.
_FILETIME XfnRFPFileTime(int64_t nSeconds, long nNanoseconds);
int64_t XfnRFPUnixTime100ns(const _FILETIME& ft);
