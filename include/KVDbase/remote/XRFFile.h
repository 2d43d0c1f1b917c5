// The remote file operations: one function per file call of the platform,
// with the same arguments, a server and login in front and an error word and
// a connection key behind. Each call borrows a pooled connection (opened
// through XFile::XRFInit) for one request and its reply. Nothing throws:
// the result is the call's failure value and the error word is set (0, a
// socket error, a "Remote File" code or the server's number). Safe on any
// thread, since every call has a connection of its own.
#pragma once

#include "KVDbase/collections/XList.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"
#include "KVDbase/remote/XRFConnection.h"

#include <cstdint>

// The failure value of the calls that answer a handle or a 32-bit value.
const DWORD XRF_INVALID_HANDLE = 0xFFFFFFFFu;

// One entry of a file list, the 312 bytes the server sent, stored as they
// came. The accessors read the server's layout: attributes, size, the three
// times and the name relative to the listed directory.
class KVD_API XRFFileInfoListItem {
public:
    enum : DWORD { itemSize = 312 };

    XRFFileInfoListItem();

    DWORD GetAttributes() const;
    int64_t GetSize() const;
    _FILETIME GetCreationTime() const;
    _FILETIME GetLastAccessTime() const;
    _FILETIME GetLastWriteTime() const;
    XString GetName() const;

    BYTE abData[itemSize];
};

typedef XList<XRFFileInfoListItem, XRFFileInfoListItem&> XRFFileInfoList;

// A handle of -1 (XRF_INVALID_HANDLE) on failure. size receives the file's
// length on success. security and flags are not sent; templateFile goes
// out as a 32-bit handle.
KVD_API DWORD XRFCreateFile(XRFConnectionOpenParam& param, const char* pszPath, DWORD nAccess, DWORD nShare,
                            SECURITY_ATTRIBUTES* pSecurity, DWORD nDisposition, DWORD nFlags, void* pTemplateFile,
                            LARGE_INTEGER& size, DWORD& error, XString& key);
KVD_API int XRFCloseHandle(XRFConnectionOpenParam& param, DWORD hFile, DWORD& error, XString& key);
// Reads at the absolute position into pBuffer; *pRead (when set) gets the
// count on success. A server that announces more than was asked for fails
// with "Invalid rf packet parameter" and the connection is dropped.
KVD_API int XRFReadFile(XRFConnectionOpenParam& param, DWORD hFile, void* pBuffer, DWORD nCount, DWORD* pRead,
                        void* pOverlapped, int64_t nPosition, DWORD& error, XString& key);
// Writes at most 131072 bytes at the absolute position; *pWritten (when set)
// gets what the server took, length the file's length after the write.
KVD_API int XRFWriteFile(XRFConnectionOpenParam& param, DWORD hFile, const void* pData, DWORD nCount,
                         DWORD* pWritten, void* pOverlapped, int64_t nPosition, LARGE_INTEGER& length, DWORD& error,
                         XString key);
// The server's own file position; *pHigh (may be null) carries the high
// word both ways. -1 on failure.
KVD_API DWORD XRFSetFilePointer(XRFConnectionOpenParam& param, DWORD hFile, LONG nLow, LONG* pHigh, DWORD nMethod,
                                DWORD& error, XString& key);
// Ends the file at the server's file position, which the last read or write
// left.
KVD_API int XRFSetEndOfFile(XRFConnectionOpenParam& param, DWORD hFile, DWORD& error, XString& key);
KVD_API int XRFFlushFileBuffers(XRFConnectionOpenParam& param, DWORD hFile, DWORD& error, XString& key);
// The low word of the size; *pHigh (may be null) the high word. Both come
// from the reply whether or not it carries an error.
KVD_API DWORD XRFGetFileSize(XRFConnectionOpenParam& param, DWORD hFile, DWORD* pHigh, DWORD& error, XString& key);
KVD_API int XRFGetFileTime(XRFConnectionOpenParam& param, DWORD hFile, _FILETIME* pCreation, _FILETIME* pAccess,
                           _FILETIME* pWrite, DWORD& error, XString& key);
// Needs all three times: with any of them null nothing is sent and the
// result is 0 with the error word 0.
KVD_API int XRFSetFileTime(XRFConnectionOpenParam& param, DWORD hFile, const _FILETIME* pCreation,
                           const _FILETIME* pAccess, const _FILETIME* pWrite, DWORD& error, XString& key);
// -1 on failure.
KVD_API DWORD XRFGetFileAttributes(XRFConnectionOpenParam& param, const char* pszPath, DWORD& error, XString& key);
KVD_API int XRFSetFileAttributes(XRFConnectionOpenParam& param, const char* pszPath, DWORD nAttributes,
                                 DWORD& error, XString& key);
KVD_API int XRFDeleteFile(XRFConnectionOpenParam& param, const char* pszPath, DWORD& error, XString& key);
KVD_API int XRFMoveFile(XRFConnectionOpenParam& param, const char* pszOldPath, const char* pszNewPath, DWORD& error,
                        XString key);
KVD_API int XRFCreateDirectory(XRFConnectionOpenParam& param, const char* pszPath, SECURITY_ATTRIBUTES* pSecurity,
                               DWORD& error, XString& key);
// A non-zero flag removes the directory with everything below it.
KVD_API int XRFRemoveDirectory(XRFConnectionOpenParam& param, const char* pszPath, int nFlag, DWORD& error,
                               XString& key);
// The find handle, or -1; *pData (may be null) gets the first entry.
KVD_API DWORD XRFFindFirstFile(XRFConnectionOpenParam& param, const char* pszPath, WIN32_FIND_DATAA* pData,
                               DWORD& error, XString& key);
KVD_API int XRFFindNextFile(XRFConnectionOpenParam& param, DWORD hFind, WIN32_FIND_DATAA* pData, DWORD& error,
                            XString& key);
KVD_API int XRFFindClose(XRFConnectionOpenParam& param, DWORD hFind, DWORD& error, XString& key);
// Appends the entries to items (not cleared first) and answers how many
// came; a list cut short by a failure keeps what arrived, with the error set.
KVD_API int XRFFindFileList(XRFConnectionOpenParam& param, const char* pszPath, int nFlag, XRFFileInfoList& items,
                            DWORD& error, XString& key);
// Appends the names of the user's root directories to roots.
KVD_API int XRFGetRootDirList(XRFConnectionOpenParam& param, XStringList& roots, DWORD& error, XString& key);
