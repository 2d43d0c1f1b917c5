// XRFFile.cpp: the remote file operations. Every one follows the same road:
// build the request (a path too long for its field is refused here, before
// any connection is taken), borrow a pooled connection, send, receive the
// fixed reply into a cleared buffer, read the error word, copy the results
// out on success, give the connection back. A connection on which anything
// failed is closed by then and the pool deletes it.

#include "KVDbase/remote/XRFFile.h"

#include "KVDbase/remote/XRFWire.h"
#include "remote/XRFLease.h"

#include <cstring>
#include <new>
#include <vector>

namespace {

DWORD GetU32(const BYTE* p)
{
    return static_cast<DWORD>(p[0]) | static_cast<DWORD>(p[1]) << 8 | static_cast<DWORD>(p[2]) << 16 |
           static_cast<DWORD>(p[3]) << 24;
}

int64_t GetI64(const BYTE* p)
{
    return static_cast<int64_t>(static_cast<uint64_t>(GetU32(p)) | static_cast<uint64_t>(GetU32(p + 4)) << 32);
}

// The largest fixed reply: find first file.
const DWORD kMaxReply = 344;

// Sends the request on a borrowed connection and receives the fixed reply of
// nReplySize bytes; false with the error when either step fails. The
// connection goes back to the pool on return.
bool LeasedExchange(XRFConnectionOpenParam& param, XString& key, const std::vector<BYTE>& vecRequest, BYTE* pReply,
                    DWORD nReplySize, DWORD& error)
{
    XRFLease lease(param, key);
    error = lease.Error();
    if (error != 0)
        return false;
    error = lease.Exchange(vecRequest, pReply, nReplySize);
    return error == 0;
}

// A request with a handle alone, exchanged for its small reply; the reply
// record is filled when the exchange worked, whatever its error word.
bool HandleExchange(XRFConnectionOpenParam& param, DWORD nCommand, DWORD hHandle, tagXRFReply& reply, DWORD& error,
                    XString& key)
{
    std::vector<BYTE> vecRequest;
    XfnRFBuildHandleRequest(vecRequest, tagXRFHandleRequest{nCommand, hHandle});
    BYTE abReply[kMaxReply];
    if (!LeasedExchange(param, key, vecRequest, abReply, XfnRFReplySize(nCommand), error))
        return false;
    // A wrong code is not enforced here: the reply's own error word decides.
    XfnRFParseReply(abReply, XfnRFReplySize(nCommand), nCommand, reply);
    error = reply.nError;
    return true;
}

// The same for a request with a path and one word.
bool PathExchange(XRFConnectionOpenParam& param, DWORD nCommand, const char* pszPath, DWORD nArgument,
                  tagXRFReply& reply, DWORD& error, XString& key)
{
    std::vector<BYTE> vecRequest;
    XRFWireStatus status =
        XfnRFBuildPathRequest(vecRequest, tagXRFPathRequest{nCommand, pszPath ? pszPath : "", nArgument});
    if (status != XRF_WIRE_OK) {
        error = XfnRFWireError(status);
        return false;
    }
    BYTE abReply[kMaxReply];
    if (!LeasedExchange(param, key, vecRequest, abReply, XfnRFReplySize(nCommand), error))
        return false;
    XfnRFParseReply(abReply, XfnRFReplySize(nCommand), nCommand, reply);
    error = reply.nError;
    return true;
}

} // namespace

// ---- XRFFileInfoListItem --------------------------------------------------

XRFFileInfoListItem::XRFFileInfoListItem()
{
    std::memset(abData, 0, sizeof abData);
}

DWORD XRFFileInfoListItem::GetAttributes() const
{
    return GetU32(abData);
}

int64_t XRFFileInfoListItem::GetSize() const
{
    return GetI64(abData + 8);
}

_FILETIME XRFFileInfoListItem::GetCreationTime() const
{
    return _FILETIME{GetU32(abData + 16), GetU32(abData + 20)};
}

_FILETIME XRFFileInfoListItem::GetLastAccessTime() const
{
    return _FILETIME{GetU32(abData + 24), GetU32(abData + 28)};
}

_FILETIME XRFFileInfoListItem::GetLastWriteTime() const
{
    return _FILETIME{GetU32(abData + 32), GetU32(abData + 36)};
}

XString XRFFileInfoListItem::GetName() const
{
    const char* pszName = reinterpret_cast<const char*>(abData + 40);
    const void* pNul = std::memchr(pszName, 0, itemSize - 40);
    int nLength = pNul ? static_cast<int>(static_cast<const char*>(pNul) - pszName) : static_cast<int>(itemSize - 40);
    return XString(pszName, nLength);
}

// ---- Files --------------------------------------------------------------------

DWORD XRFCreateFile(XRFConnectionOpenParam& param, const char* pszPath, DWORD nAccess, DWORD nShare,
                    SECURITY_ATTRIBUTES*, DWORD nDisposition, DWORD, void* pTemplateFile, LARGE_INTEGER& size,
                    DWORD& error, XString& key)
{
    std::vector<BYTE> vecRequest;
    tagXRFCreateFileRequest req{pszPath ? pszPath : "", nAccess, nShare, nDisposition,
                                static_cast<DWORD>(reinterpret_cast<uintptr_t>(pTemplateFile))};
    XRFWireStatus status = XfnRFBuildCreateFileRequest(vecRequest, req);
    if (status != XRF_WIRE_OK) {
        error = XfnRFWireError(status);
        return XRF_INVALID_HANDLE;
    }
    BYTE abReply[32];
    if (!LeasedExchange(param, key, vecRequest, abReply, sizeof abReply, error))
        return XRF_INVALID_HANDLE;
    tagXRFCreateFileReply reply{};
    if (XfnRFParseCreateFileReply(abReply, sizeof abReply, reply) != XRF_WIRE_OK) {
        error = XRF_ERROR_INVALID_PACKET;
        return XRF_INVALID_HANDLE;
    }
    error = reply.nError;
    if (error != 0)
        return XRF_INVALID_HANDLE;
    size.QuadPart = reply.nFileSize;
    return reply.hFile;
}

int XRFCloseHandle(XRFConnectionOpenParam& param, DWORD hFile, DWORD& error, XString& key)
{
    tagXRFReply reply{};
    return HandleExchange(param, XRF_CMD_CLOSE_HANDLE, hFile, reply, error, key) && error == 0 ? 1 : 0;
}

int XRFReadFile(XRFConnectionOpenParam& param, DWORD hFile, void* pBuffer, DWORD nCount, DWORD* pRead, void*,
                int64_t nPosition, DWORD& error, XString& key)
{
    std::vector<BYTE> vecRequest;
    XfnRFBuildTransferRequest(vecRequest, XRF_CMD_READ_FILE, tagXRFTransferRequest{nPosition, hFile, nCount});
    XRFLease lease(param, key);
    error = lease.Error();
    if (error != 0)
        return 0;
    BYTE abHead[16];
    error = lease.Exchange(vecRequest, abHead, sizeof abHead);
    if (error != 0)
        return 0;
    tagXRFReply reply{};
    if (XfnRFParseReadReply(abHead, sizeof abHead, nCount, reply) == XRF_WIRE_BAD_LENGTH) {
        // More data announced than the buffer holds: the rest of the stream
        // cannot be read in step any more.
        lease.Drop();
        error = XRF_ERROR_INVALID_PACKET;
        return 0;
    }
    // The data comes straight into the caller's buffer, before the error
    // word is looked at.
    error = lease.Recv(pBuffer, reply.nValue);
    if (error != 0)
        return 0;
    error = reply.nError;
    if (error != 0)
        return 0;
    if (pRead != nullptr)
        *pRead = reply.nValue;
    return 1;
}

int XRFWriteFile(XRFConnectionOpenParam& param, DWORD hFile, const void* pData, DWORD nCount, DWORD* pWritten,
                 void*, int64_t nPosition, LARGE_INTEGER& length, DWORD& error, XString key)
{
    if (nCount > XRF_MAX_WRITE)
        nCount = XRF_MAX_WRITE;
    // The announcement and the data packet leave in one send, the data
    // straight from the caller's buffer.
    thread_local std::vector<BYTE> vecHead;
    vecHead.clear();
    try {
        vecHead.reserve(XRF_HEADER_SIZE + 24 + XRF_WRITE_DATA_HEAD_SIZE);
    } catch (const std::bad_alloc&) {
        error = XRF_ERROR_OUT_OF_MEMORY;
        return 0;
    }
    XfnRFBuildTransferRequest(vecHead, XRF_CMD_WRITE_ANNOUNCE, tagXRFTransferRequest{nPosition, hFile, nCount});
    XfnRFBuildWriteDataHead(vecHead, tagXRFWriteDataRequest{hFile, static_cast<const BYTE*>(pData), nCount});
    XRFLease lease(param, key);
    error = lease.Error();
    if (error != 0)
        return 0;
    error = lease.SendWithData(vecHead, pData, nCount);
    if (error != 0)
        return 0;
    BYTE abReply[24] = {0};
    error = lease.Recv(abReply, sizeof abReply);
    if (error != 0)
        return 0;
    tagXRFWriteReply reply{};
    XfnRFParseWriteReply(abReply, sizeof abReply, reply);
    if (pWritten != nullptr)
        *pWritten = reply.nWritten;
    error = reply.nError;
    if (error != 0)
        return 0;
    length.QuadPart = reply.nFileLength;
    return 1;
}

DWORD XRFSetFilePointer(XRFConnectionOpenParam& param, DWORD hFile, LONG nLow, LONG* pHigh, DWORD nMethod,
                        DWORD& error, XString& key)
{
    std::vector<BYTE> vecRequest;
    XfnRFBuildSetFilePointerRequest(vecRequest,
                                    tagXRFSetFilePointerRequest{hFile, nMethod, nLow, pHigh ? *pHigh : 0});
    BYTE abReply[24];
    if (!LeasedExchange(param, key, vecRequest, abReply, sizeof abReply, error))
        return XRF_INVALID_HANDLE;
    tagXRFReply reply{};
    XfnRFParseReply(abReply, sizeof abReply, XRF_CMD_SET_FILE_POINTER, reply);
    if (pHigh != nullptr)
        *pHigh = static_cast<LONG>(reply.nValueHigh);
    error = reply.nError;
    return error != 0 ? XRF_INVALID_HANDLE : reply.nValue;
}

int XRFSetEndOfFile(XRFConnectionOpenParam& param, DWORD hFile, DWORD& error, XString& key)
{
    tagXRFReply reply{};
    return HandleExchange(param, XRF_CMD_SET_END_OF_FILE, hFile, reply, error, key) && error == 0 ? 1 : 0;
}

int XRFFlushFileBuffers(XRFConnectionOpenParam& param, DWORD hFile, DWORD& error, XString& key)
{
    tagXRFReply reply{};
    return HandleExchange(param, XRF_CMD_FLUSH_FILE_BUFFERS, hFile, reply, error, key) && error == 0 ? 1 : 0;
}

DWORD XRFGetFileSize(XRFConnectionOpenParam& param, DWORD hFile, DWORD* pHigh, DWORD& error, XString& key)
{
    tagXRFReply reply{};
    if (!HandleExchange(param, XRF_CMD_GET_FILE_SIZE, hFile, reply, error, key))
        return XRF_INVALID_HANDLE;
    if (pHigh != nullptr)
        *pHigh = reply.nValueHigh;
    return reply.nValue;
}

int XRFGetFileTime(XRFConnectionOpenParam& param, DWORD hFile, _FILETIME* pCreation, _FILETIME* pAccess,
                   _FILETIME* pWrite, DWORD& error, XString& key)
{
    std::vector<BYTE> vecRequest;
    XfnRFBuildHandleRequest(vecRequest, tagXRFHandleRequest{XRF_CMD_GET_FILE_TIME, hFile});
    BYTE abReply[40];
    if (!LeasedExchange(param, key, vecRequest, abReply, sizeof abReply, error))
        return 0;
    tagXRFFileTimeReply reply{};
    XfnRFParseFileTimeReply(abReply, sizeof abReply, reply);
    error = reply.nError;
    if (error != 0)
        return 0;
    if (pCreation != nullptr)
        *pCreation = reply.ftCreation;
    if (pAccess != nullptr)
        *pAccess = reply.ftLastAccess;
    if (pWrite != nullptr)
        *pWrite = reply.ftLastWrite;
    return 1;
}

int XRFSetFileTime(XRFConnectionOpenParam& param, DWORD hFile, const _FILETIME* pCreation, const _FILETIME* pAccess,
                   const _FILETIME* pWrite, DWORD& error, XString& key)
{
    XRFLease lease(param, key);
    error = lease.Error();
    if (error != 0)
        return 0;
    // The request has no way to say "leave this time alone".
    if (pCreation == nullptr || pAccess == nullptr || pWrite == nullptr)
        return 0;
    std::vector<BYTE> vecRequest;
    XfnRFBuildSetFileTimeRequest(vecRequest, tagXRFSetFileTimeRequest{hFile, *pCreation, *pAccess, *pWrite});
    BYTE abReply[16];
    error = lease.Exchange(vecRequest, abReply, sizeof abReply);
    if (error != 0)
        return 0;
    tagXRFReply reply{};
    XfnRFParseReply(abReply, sizeof abReply, XRF_CMD_SET_FILE_TIME, reply);
    error = reply.nError;
    return error == 0 ? 1 : 0;
}

// ---- Paths ----------------------------------------------------------------------

DWORD XRFGetFileAttributes(XRFConnectionOpenParam& param, const char* pszPath, DWORD& error, XString& key)
{
    tagXRFReply reply{};
    if (!PathExchange(param, XRF_CMD_GET_FILE_ATTRIBUTES, pszPath, 0, reply, error, key) || error != 0)
        return XRF_INVALID_HANDLE;
    return reply.nValue;
}

int XRFSetFileAttributes(XRFConnectionOpenParam& param, const char* pszPath, DWORD nAttributes, DWORD& error,
                         XString& key)
{
    tagXRFReply reply{};
    return PathExchange(param, XRF_CMD_SET_FILE_ATTRIBUTES, pszPath, nAttributes, reply, error, key) && error == 0
               ? 1
               : 0;
}

int XRFDeleteFile(XRFConnectionOpenParam& param, const char* pszPath, DWORD& error, XString& key)
{
    tagXRFReply reply{};
    return PathExchange(param, XRF_CMD_DELETE_FILE, pszPath, 0, reply, error, key) && error == 0 ? 1 : 0;
}

int XRFMoveFile(XRFConnectionOpenParam& param, const char* pszOldPath, const char* pszNewPath, DWORD& error,
                XString key)
{
    std::vector<BYTE> vecRequest;
    XRFWireStatus status = XfnRFBuildMoveFileRequest(
        vecRequest, tagXRFMoveFileRequest{pszOldPath ? pszOldPath : "", pszNewPath ? pszNewPath : ""});
    if (status != XRF_WIRE_OK) {
        error = XfnRFWireError(status);
        return 0;
    }
    BYTE abReply[16];
    if (!LeasedExchange(param, key, vecRequest, abReply, sizeof abReply, error))
        return 0;
    tagXRFReply reply{};
    XfnRFParseReply(abReply, sizeof abReply, XRF_CMD_MOVE_FILE, reply);
    error = reply.nError;
    return error == 0 ? 1 : 0;
}

int XRFCreateDirectory(XRFConnectionOpenParam& param, const char* pszPath, SECURITY_ATTRIBUTES*, DWORD& error,
                       XString& key)
{
    tagXRFReply reply{};
    return PathExchange(param, XRF_CMD_CREATE_DIRECTORY, pszPath, 0, reply, error, key) && error == 0 ? 1 : 0;
}

int XRFRemoveDirectory(XRFConnectionOpenParam& param, const char* pszPath, int nFlag, DWORD& error, XString& key)
{
    tagXRFReply reply{};
    return PathExchange(param, XRF_CMD_REMOVE_DIRECTORY, pszPath, static_cast<DWORD>(nFlag), reply, error, key) &&
                   error == 0
               ? 1
               : 0;
}

// ---- Searches ------------------------------------------------------------------

DWORD XRFFindFirstFile(XRFConnectionOpenParam& param, const char* pszPath, WIN32_FIND_DATAA* pData, DWORD& error,
                       XString& key)
{
    std::vector<BYTE> vecRequest;
    XRFWireStatus status =
        XfnRFBuildPathRequest(vecRequest, tagXRFPathRequest{XRF_CMD_FIND_FIRST_FILE, pszPath ? pszPath : "", 0});
    if (status != XRF_WIRE_OK) {
        error = XfnRFWireError(status);
        return XRF_INVALID_HANDLE;
    }
    BYTE abReply[344];
    if (!LeasedExchange(param, key, vecRequest, abReply, sizeof abReply, error))
        return XRF_INVALID_HANDLE;
    tagXRFFindReply reply{};
    XfnRFParseFindFirstReply(abReply, sizeof abReply, reply);
    error = reply.nError;
    if (error != 0)
        return XRF_INVALID_HANDLE;
    if (pData != nullptr)
        *pData = reply.data;
    return reply.hFind;
}

int XRFFindNextFile(XRFConnectionOpenParam& param, DWORD hFind, WIN32_FIND_DATAA* pData, DWORD& error,
                    XString& key)
{
    std::vector<BYTE> vecRequest;
    XfnRFBuildHandleRequest(vecRequest, tagXRFHandleRequest{XRF_CMD_FIND_NEXT_FILE, hFind});
    BYTE abReply[336];
    if (!LeasedExchange(param, key, vecRequest, abReply, sizeof abReply, error))
        return 0;
    tagXRFFindReply reply{};
    XfnRFParseFindNextReply(abReply, sizeof abReply, reply);
    error = reply.nError;
    if (error != 0)
        return 0;
    if (pData != nullptr)
        *pData = reply.data;
    return 1;
}

int XRFFindClose(XRFConnectionOpenParam& param, DWORD hFind, DWORD& error, XString& key)
{
    tagXRFReply reply{};
    return HandleExchange(param, XRF_CMD_FIND_CLOSE, hFind, reply, error, key) && error == 0 ? 1 : 0;
}

int XRFFindFileList(XRFConnectionOpenParam& param, const char* pszPath, int nFlag, XRFFileInfoList& items,
                    DWORD& error, XString& key)
{
    std::vector<BYTE> vecRequest;
    XRFWireStatus status = XfnRFBuildPathRequest(
        vecRequest, tagXRFPathRequest{XRF_CMD_FIND_FILE_LIST, pszPath ? pszPath : "", static_cast<DWORD>(nFlag)});
    if (status != XRF_WIRE_OK) {
        error = XfnRFWireError(status);
        return 0;
    }
    XRFLease lease(param, key);
    error = lease.Error();
    if (error != 0)
        return 0;
    error = lease.Send(vecRequest);
    if (error != 0)
        return 0;
    int nItems = 0;
    for (;;) {
        BYTE abHead[XRF_FILE_LIST_HEAD_SIZE] = {0};
        error = lease.Recv(abHead, sizeof abHead);
        if (error != 0)
            break;
        tagXRFFileListHead head{};
        XRFWireStatus headStatus = XfnRFParseFileListHead(abHead, sizeof abHead, head);
        error = head.nError;
        if (error != 0)
            break;
        if (headStatus != XRF_WIRE_OK) {
            // A wrong code, or an item larger than the record: the stream is
            // out of step from here on.
            error = headStatus == XRF_WIRE_BAD_CODE ? XRF_ERROR_INVALID_PARAMETER : XRF_ERROR_INVALID_PACKET;
            lease.Drop();
            break;
        }
        if (head.nItemSize == 0)
            break;
        XRFFileInfoListItem item;
        error = lease.Recv(item.abData, head.nItemSize);
        if (error != 0)
            break;
        items.AddTail(item);
        ++nItems;
    }
    return nItems;
}

int XRFGetRootDirList(XRFConnectionOpenParam& param, XStringList& roots, DWORD& error, XString& key)
{
    std::vector<BYTE> vecRequest;
    XfnRFBuildRootListRequest(vecRequest);
    XRFLease lease(param, key);
    error = lease.Error();
    if (error != 0)
        return 0;
    BYTE abHead[16];
    error = lease.Exchange(vecRequest, abHead, sizeof abHead);
    if (error != 0)
        return 0;
    tagXRFReply reply{};
    XfnRFParseReply(abHead, sizeof abHead, XRF_CMD_GET_ROOT_DIR_LIST, reply);
    error = reply.nError;
    if (error != 0)
        return 0;
    for (DWORD i = 0; i < reply.nValue; ++i) {
        BYTE abEntry[XRF_ROOT_ENTRY_SIZE] = {0};
        error = lease.Recv(abEntry, sizeof abEntry);
        if (error != 0)
            return 0;
        std::string strRoot;
        XfnRFParseRootEntry(abEntry, sizeof abEntry, strRoot);
        roots.AddTail(XString(strRoot.c_str()));
    }
    return 1;
}
