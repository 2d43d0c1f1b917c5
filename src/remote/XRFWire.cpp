// XRFWire.cpp: the packet layouts of the remote file protocol. Every field is
// written and read byte by byte, least significant byte first, so the result
// does not depend on the host's byte order or on the padding of any record.
// Fields that carry nothing (reserved, not read, undefined) are sent as zero.

#include "KVDbase/remote/XRFWire.h"

#include <cstring>

namespace {

// ---- Byte access -------------------------------------------------------------

void PutU32(BYTE* p, DWORD nValue)
{
    p[0] = static_cast<BYTE>(nValue);
    p[1] = static_cast<BYTE>(nValue >> 8);
    p[2] = static_cast<BYTE>(nValue >> 16);
    p[3] = static_cast<BYTE>(nValue >> 24);
}

void PutU64(BYTE* p, uint64_t nValue)
{
    PutU32(p, static_cast<DWORD>(nValue));
    PutU32(p + 4, static_cast<DWORD>(nValue >> 32));
}

DWORD GetU32(const BYTE* p)
{
    return static_cast<DWORD>(p[0]) | static_cast<DWORD>(p[1]) << 8 | static_cast<DWORD>(p[2]) << 16 |
           static_cast<DWORD>(p[3]) << 24;
}

uint64_t GetU64(const BYTE* p)
{
    return static_cast<uint64_t>(GetU32(p)) | static_cast<uint64_t>(GetU32(p + 4)) << 32;
}

// A handle field is eight bytes: the server's 32-bit handle sign-extended.
// Only the low word is kept on the way in.
void PutHandle(BYTE* p, DWORD hHandle)
{
    PutU64(p, static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(hHandle))));
}

void PutFileTime(BYTE* p, const _FILETIME& ft)
{
    PutU32(p, ft.dwLowDateTime);
    PutU32(p + 4, ft.dwHighDateTime);
}

_FILETIME GetFileTime(const BYTE* p)
{
    return _FILETIME{GetU32(p), GetU32(p + 4)};
}

// Grows the buffer by a cleared packet of nSize bytes and returns its start.
BYTE* AppendPacket(std::vector<BYTE>& buf, size_t nSize)
{
    size_t nStart = buf.size();
    buf.resize(nStart + nSize, 0);
    return buf.data() + nStart;
}

// Text goes out as C text: up to its first NUL, which must fit the field
// together with the terminator.
size_t TextLength(const std::string& str)
{
    return std::strlen(str.c_str());
}

bool TextFits(const std::string& str, size_t nField)
{
    return TextLength(str) < nField;
}

// The field is already cleared, so the terminator and the padding are there.
void PutText(BYTE* p, const std::string& str)
{
    std::memcpy(p, str.c_str(), TextLength(str));
}

// Takes the text up to the first NUL, or the whole field when it holds none;
// false in the latter case.
bool GetText(const BYTE* p, size_t nField, std::string& str)
{
    const void* pNul = std::memchr(p, 0, nField);
    size_t nLength = pNul ? static_cast<size_t>(static_cast<const BYTE*>(pNul) - p) : nField;
    str.assign(reinterpret_cast<const char*>(p), nLength);
    return pNul != nullptr;
}

// WIN32_FIND_DATAA as the 32-bit machine lays it out: 44 bytes of words,
// the two names, and two bytes of tail padding.
void PutFindData(BYTE* p, const WIN32_FIND_DATAA& data)
{
    PutU32(p, data.dwFileAttributes);
    PutFileTime(p + 4, data.ftCreationTime);
    PutFileTime(p + 12, data.ftLastAccessTime);
    PutFileTime(p + 20, data.ftLastWriteTime);
    PutU32(p + 28, data.nFileSizeHigh);
    PutU32(p + 32, data.nFileSizeLow);
    PutU32(p + 36, data.dwReserved0);
    PutU32(p + 40, data.dwReserved1);
    std::memcpy(p + 44, data.cFileName, sizeof data.cFileName);
    std::memcpy(p + 304, data.cAlternateFileName, sizeof data.cAlternateFileName);
}

// A name without a terminator is cut by one byte, so that the record can
// always be read as C text.
bool GetFindData(const BYTE* p, WIN32_FIND_DATAA& data)
{
    data.dwFileAttributes = GetU32(p);
    data.ftCreationTime = GetFileTime(p + 4);
    data.ftLastAccessTime = GetFileTime(p + 12);
    data.ftLastWriteTime = GetFileTime(p + 20);
    data.nFileSizeHigh = GetU32(p + 28);
    data.nFileSizeLow = GetU32(p + 32);
    data.dwReserved0 = GetU32(p + 36);
    data.dwReserved1 = GetU32(p + 40);
    std::memcpy(data.cFileName, p + 44, sizeof data.cFileName);
    std::memcpy(data.cAlternateFileName, p + 304, sizeof data.cAlternateFileName);
    bool bTerminated = true;
    if (!std::memchr(data.cFileName, 0, sizeof data.cFileName)) {
        data.cFileName[sizeof data.cFileName - 1] = 0;
        bTerminated = false;
    }
    if (!std::memchr(data.cAlternateFileName, 0, sizeof data.cAlternateFileName)) {
        data.cAlternateFileName[sizeof data.cAlternateFileName - 1] = 0;
        bTerminated = false;
    }
    return bTerminated;
}

// ---- Layout tables -------------------------------------------------------------

// The length word of each request; the write data packet's varies.
const DWORD kRequestLength[XRF_CMD_COUNT] = {
    304, 24, 24, 16, 16, 16, 24, 16, 264, 264, 264, 520, 264, 16, 16, 40, 16, 8192, 272, 264, 8, 0, 8, 272,
};

const DWORD kReplySize[XRF_CMD_COUNT] = {
    32, 0, 16, 16, 16, 16, 24, 24, 16, 16, 16, 16, 344, 336, 40, 16, 24, 16, 16, 16, 16, 24, 16, 24,
};

// Where the fields of the small replies sit; an offset of 0 means the layout
// has no such field.
struct tagReplyLayout {
    DWORD nValueAt;
    DWORD nHighAt;
    DWORD nErrorAt;
    bool bCodeRead;
};

const tagReplyLayout* SmallReplyLayout(DWORD nCommand)
{
    static const tagReplyLayout kCount = {8, 0, 12, true};
    static const tagReplyLayout kError = {0, 0, 8, true};
    static const tagReplyLayout kWide = {8, 12, 16, true};
    static const tagReplyLayout kErrorAt12 = {0, 0, 12, true};
    static const tagReplyLayout kLogin = {0, 0, 8, false};
    static const tagReplyLayout kRootList = {8, 0, 12, false};
    switch (nCommand) {
    case XRF_CMD_READ_FILE:
    case XRF_CMD_GET_FILE_ATTRIBUTES:
        return &kCount;
    case XRF_CMD_CLOSE_HANDLE:
    case XRF_CMD_FIND_CLOSE:
    case XRF_CMD_SET_END_OF_FILE:
    case XRF_CMD_FLUSH_FILE_BUFFERS:
    case XRF_CMD_SET_FILE_ATTRIBUTES:
    case XRF_CMD_DELETE_FILE:
    case XRF_CMD_MOVE_FILE:
    case XRF_CMD_CREATE_DIRECTORY:
    case XRF_CMD_REMOVE_DIRECTORY:
        return &kError;
    case XRF_CMD_SET_FILE_POINTER:
    case XRF_CMD_GET_FILE_SIZE:
        return &kWide;
    case XRF_CMD_SET_FILE_TIME:
        return &kErrorAt12;
    case XRF_CMD_LOGIN:
        return &kLogin;
    case XRF_CMD_GET_ROOT_DIR_LIST:
        return &kRootList;
    default:
        return nullptr;
    }
}

bool IsHandleCommand(DWORD nCommand)
{
    switch (nCommand) {
    case XRF_CMD_CLOSE_HANDLE:
    case XRF_CMD_FIND_CLOSE:
    case XRF_CMD_SET_END_OF_FILE:
    case XRF_CMD_FLUSH_FILE_BUFFERS:
    case XRF_CMD_FIND_NEXT_FILE:
    case XRF_CMD_GET_FILE_TIME:
    case XRF_CMD_GET_FILE_SIZE:
        return true;
    default:
        return false;
    }
}

// Offset of the one argument word of a path request, 0 when the command
// carries none; false for commands that are not path requests.
bool PathArgumentAt(DWORD nCommand, DWORD& nArgumentAt)
{
    switch (nCommand) {
    case XRF_CMD_GET_FILE_ATTRIBUTES:
    case XRF_CMD_DELETE_FILE:
    case XRF_CMD_FIND_FIRST_FILE:
    case XRF_CMD_CREATE_DIRECTORY:
        nArgumentAt = 0;
        return true;
    case XRF_CMD_SET_FILE_ATTRIBUTES:
    case XRF_CMD_REMOVE_DIRECTORY:
        nArgumentAt = 268;
        return true;
    case XRF_CMD_FIND_FILE_LIST:
        nArgumentAt = 276;
        return true;
    default:
        return false;
    }
}

// Starts a request of a fixed length: the head filled, the rest cleared.
BYTE* AppendRequest(std::vector<BYTE>& buf, DWORD nCommand)
{
    DWORD nLength = kRequestLength[nCommand];
    BYTE* p = AppendPacket(buf, XRF_HEADER_SIZE + nLength);
    PutU32(p, nCommand);
    PutU32(p + 4, nLength);
    return p;
}

// Checks the head of a fixed-length request for nCommand and that the whole
// packet is present.
XRFWireStatus CheckRequest(const BYTE* pData, size_t nSize, DWORD nCommand)
{
    if (nSize < XRF_HEADER_SIZE)
        return XRF_WIRE_SHORT;
    if (GetU32(pData) != nCommand)
        return XRF_WIRE_BAD_COMMAND;
    if (GetU32(pData + 4) != kRequestLength[nCommand])
        return XRF_WIRE_BAD_LENGTH;
    if (nSize < XRF_HEADER_SIZE + static_cast<size_t>(kRequestLength[nCommand]))
        return XRF_WIRE_SHORT;
    return XRF_WIRE_OK;
}

// The status of a filled reply: its code checked against the command's.
XRFWireStatus CodeStatus(DWORD nCode, DWORD nCommand)
{
    return nCode == XfnRFReplyCode(nCommand) ? XRF_WIRE_OK : XRF_WIRE_BAD_CODE;
}

}  // namespace

// ---- Requests ------------------------------------------------------------------

XRFWireStatus XfnRFParseRequestHeader(const BYTE* pData, size_t nSize, tagXRFRequestHeader& header)
{
    if (nSize < XRF_HEADER_SIZE)
        return XRF_WIRE_SHORT;
    DWORD nCommand = GetU32(pData);
    DWORD nLength = GetU32(pData + 4);
    if (nCommand >= XRF_CMD_COUNT)
        return XRF_WIRE_BAD_COMMAND;
    bool bLengthRight = nCommand == XRF_CMD_WRITE_DATA
                            ? nLength >= 16 && nLength - 16 <= XRF_MAX_WRITE
                            : nLength == kRequestLength[nCommand];
    if (!bLengthRight)
        return XRF_WIRE_BAD_LENGTH;
    header.nCommand = nCommand;
    header.nLength = nLength;
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFBuildCreateFileRequest(std::vector<BYTE>& buf, const tagXRFCreateFileRequest& req)
{
    if (!TextFits(req.strPath, XRF_PATH_SIZE))
        return XRF_WIRE_TOO_LONG;
    BYTE* p = AppendRequest(buf, XRF_CMD_CREATE_FILE);
    PutText(p + 8, req.strPath);
    PutU32(p + 268, req.nDesiredAccess);
    PutU32(p + 272, req.nShareMode);
    PutU32(p + 288, req.nDisposition);
    PutHandle(p + 296, req.hTemplate);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseCreateFileRequest(const BYTE* pData, size_t nSize, tagXRFCreateFileRequest& req)
{
    XRFWireStatus status = CheckRequest(pData, nSize, XRF_CMD_CREATE_FILE);
    if (status != XRF_WIRE_OK)
        return status;
    bool bText = GetText(pData + 8, XRF_PATH_SIZE, req.strPath);
    req.nDesiredAccess = GetU32(pData + 268);
    req.nShareMode = GetU32(pData + 272);
    req.nDisposition = GetU32(pData + 288);
    req.hTemplate = GetU32(pData + 296);
    return bText ? XRF_WIRE_OK : XRF_WIRE_BAD_TEXT;
}

XRFWireStatus XfnRFBuildTransferRequest(std::vector<BYTE>& buf, DWORD nCommand, const tagXRFTransferRequest& req)
{
    if (nCommand != XRF_CMD_READ_FILE && nCommand != XRF_CMD_WRITE_ANNOUNCE)
        return XRF_WIRE_BAD_COMMAND;
    BYTE* p = AppendRequest(buf, nCommand);
    PutU64(p + 8, static_cast<uint64_t>(req.nPosition));
    PutHandle(p + 16, req.hFile);
    PutU32(p + 28, req.nCount);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseTransferRequest(const BYTE* pData, size_t nSize, DWORD nCommand, tagXRFTransferRequest& req)
{
    if (nCommand != XRF_CMD_READ_FILE && nCommand != XRF_CMD_WRITE_ANNOUNCE)
        return XRF_WIRE_BAD_COMMAND;
    XRFWireStatus status = CheckRequest(pData, nSize, nCommand);
    if (status != XRF_WIRE_OK)
        return status;
    req.nPosition = static_cast<int64_t>(GetU64(pData + 8));
    req.hFile = GetU32(pData + 16);
    req.nCount = GetU32(pData + 28);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFBuildHandleRequest(std::vector<BYTE>& buf, const tagXRFHandleRequest& req)
{
    if (!IsHandleCommand(req.nCommand))
        return XRF_WIRE_BAD_COMMAND;
    BYTE* p = AppendRequest(buf, req.nCommand);
    PutHandle(p + 8, req.hFile);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseHandleRequest(const BYTE* pData, size_t nSize, tagXRFHandleRequest& req)
{
    if (nSize < XRF_HEADER_SIZE)
        return XRF_WIRE_SHORT;
    DWORD nCommand = GetU32(pData);
    if (!IsHandleCommand(nCommand))
        return XRF_WIRE_BAD_COMMAND;
    XRFWireStatus status = CheckRequest(pData, nSize, nCommand);
    if (status != XRF_WIRE_OK)
        return status;
    req.nCommand = nCommand;
    req.hFile = GetU32(pData + 8);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFBuildSetFilePointerRequest(std::vector<BYTE>& buf, const tagXRFSetFilePointerRequest& req)
{
    BYTE* p = AppendRequest(buf, XRF_CMD_SET_FILE_POINTER);
    PutHandle(p + 8, req.hFile);
    PutU32(p + 20, req.nMoveMethod);
    PutU32(p + 24, static_cast<DWORD>(req.nDistanceLow));
    PutU32(p + 28, static_cast<DWORD>(req.nDistanceHigh));
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseSetFilePointerRequest(const BYTE* pData, size_t nSize, tagXRFSetFilePointerRequest& req)
{
    XRFWireStatus status = CheckRequest(pData, nSize, XRF_CMD_SET_FILE_POINTER);
    if (status != XRF_WIRE_OK)
        return status;
    req.hFile = GetU32(pData + 8);
    req.nMoveMethod = GetU32(pData + 20);
    req.nDistanceLow = static_cast<LONG>(GetU32(pData + 24));
    req.nDistanceHigh = static_cast<LONG>(GetU32(pData + 28));
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFBuildPathRequest(std::vector<BYTE>& buf, const tagXRFPathRequest& req)
{
    DWORD nArgumentAt = 0;
    if (!PathArgumentAt(req.nCommand, nArgumentAt))
        return XRF_WIRE_BAD_COMMAND;
    if (!TextFits(req.strPath, XRF_PATH_SIZE))
        return XRF_WIRE_TOO_LONG;
    BYTE* p = AppendRequest(buf, req.nCommand);
    PutText(p + 8, req.strPath);
    if (nArgumentAt)
        PutU32(p + nArgumentAt, req.nArgument);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParsePathRequest(const BYTE* pData, size_t nSize, tagXRFPathRequest& req)
{
    if (nSize < XRF_HEADER_SIZE)
        return XRF_WIRE_SHORT;
    DWORD nCommand = GetU32(pData);
    DWORD nArgumentAt = 0;
    if (!PathArgumentAt(nCommand, nArgumentAt))
        return XRF_WIRE_BAD_COMMAND;
    XRFWireStatus status = CheckRequest(pData, nSize, nCommand);
    if (status != XRF_WIRE_OK)
        return status;
    req.nCommand = nCommand;
    bool bText = GetText(pData + 8, XRF_PATH_SIZE, req.strPath);
    req.nArgument = nArgumentAt ? GetU32(pData + nArgumentAt) : 0;
    return bText ? XRF_WIRE_OK : XRF_WIRE_BAD_TEXT;
}

XRFWireStatus XfnRFBuildMoveFileRequest(std::vector<BYTE>& buf, const tagXRFMoveFileRequest& req)
{
    if (!TextFits(req.strOldPath, XRF_PATH_SIZE) || !TextFits(req.strNewPath, XRF_PATH_SIZE))
        return XRF_WIRE_TOO_LONG;
    BYTE* p = AppendRequest(buf, XRF_CMD_MOVE_FILE);
    PutText(p + 8, req.strOldPath);
    PutText(p + 8 + XRF_PATH_SIZE, req.strNewPath);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseMoveFileRequest(const BYTE* pData, size_t nSize, tagXRFMoveFileRequest& req)
{
    XRFWireStatus status = CheckRequest(pData, nSize, XRF_CMD_MOVE_FILE);
    if (status != XRF_WIRE_OK)
        return status;
    bool bOld = GetText(pData + 8, XRF_PATH_SIZE, req.strOldPath);
    bool bNew = GetText(pData + 8 + XRF_PATH_SIZE, XRF_PATH_SIZE, req.strNewPath);
    return bOld && bNew ? XRF_WIRE_OK : XRF_WIRE_BAD_TEXT;
}

XRFWireStatus XfnRFBuildSetFileTimeRequest(std::vector<BYTE>& buf, const tagXRFSetFileTimeRequest& req)
{
    BYTE* p = AppendRequest(buf, XRF_CMD_SET_FILE_TIME);
    PutHandle(p + 8, req.hFile);
    PutFileTime(p + 24, req.ftCreation);
    PutFileTime(p + 32, req.ftLastAccess);
    PutFileTime(p + 40, req.ftLastWrite);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseSetFileTimeRequest(const BYTE* pData, size_t nSize, tagXRFSetFileTimeRequest& req)
{
    XRFWireStatus status = CheckRequest(pData, nSize, XRF_CMD_SET_FILE_TIME);
    if (status != XRF_WIRE_OK)
        return status;
    req.hFile = GetU32(pData + 8);
    req.ftCreation = GetFileTime(pData + 24);
    req.ftLastAccess = GetFileTime(pData + 32);
    req.ftLastWrite = GetFileTime(pData + 40);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFBuildLoginRequest(std::vector<BYTE>& buf, const tagXRFLoginRequest& req)
{
    if (!TextFits(req.strUser, XRF_LOGIN_FIELD_SIZE) || !TextFits(req.strPassword, XRF_LOGIN_FIELD_SIZE))
        return XRF_WIRE_TOO_LONG;
    BYTE* p = AppendRequest(buf, XRF_CMD_LOGIN);
    PutText(p + 8, req.strUser);
    PutText(p + 8 + XRF_LOGIN_FIELD_SIZE, req.strPassword);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseLoginRequest(const BYTE* pData, size_t nSize, tagXRFLoginRequest& req)
{
    XRFWireStatus status = CheckRequest(pData, nSize, XRF_CMD_LOGIN);
    if (status != XRF_WIRE_OK)
        return status;
    bool bUser = GetText(pData + 8, XRF_LOGIN_FIELD_SIZE, req.strUser);
    bool bPassword = GetText(pData + 8 + XRF_LOGIN_FIELD_SIZE, XRF_LOGIN_FIELD_SIZE, req.strPassword);
    return bUser && bPassword ? XRF_WIRE_OK : XRF_WIRE_BAD_TEXT;
}

XRFWireStatus XfnRFBuildRootListRequest(std::vector<BYTE>& buf)
{
    AppendRequest(buf, XRF_CMD_GET_ROOT_DIR_LIST);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseRootListRequest(const BYTE* pData, size_t nSize)
{
    return CheckRequest(pData, nSize, XRF_CMD_GET_ROOT_DIR_LIST);
}

XRFWireStatus XfnRFBuildWriteDataHead(std::vector<BYTE>& buf, const tagXRFWriteDataRequest& req)
{
    if (req.nDataSize > XRF_MAX_WRITE)
        return XRF_WIRE_TOO_LONG;
    BYTE* p = AppendPacket(buf, XRF_WRITE_DATA_HEAD_SIZE);
    PutU32(p, XRF_CMD_WRITE_DATA);
    PutU32(p + 4, req.nDataSize + 16);
    PutHandle(p + 8, req.hFile);
    PutU32(p + 16, req.nDataSize);
    PutU32(p + 20, req.nDataSize + 16);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFBuildWriteDataRequest(std::vector<BYTE>& buf, const tagXRFWriteDataRequest& req)
{
    XRFWireStatus status = XfnRFBuildWriteDataHead(buf, req);
    if (status == XRF_WIRE_OK && req.nDataSize)
        buf.insert(buf.end(), req.pData, req.pData + req.nDataSize);
    return status;
}

XRFWireStatus XfnRFParseWriteDataRequest(const BYTE* pData, size_t nSize, tagXRFWriteDataRequest& req)
{
    if (nSize < XRF_HEADER_SIZE)
        return XRF_WIRE_SHORT;
    if (GetU32(pData) != XRF_CMD_WRITE_DATA)
        return XRF_WIRE_BAD_COMMAND;
    if (nSize < XRF_WRITE_DATA_HEAD_SIZE)
        return XRF_WIRE_SHORT;
    // The three size words must agree, and the data must stay within one write.
    DWORD nDataSize = GetU32(pData + 16);
    if (nDataSize > XRF_MAX_WRITE || GetU32(pData + 4) != nDataSize + 16 || GetU32(pData + 20) != nDataSize + 16)
        return XRF_WIRE_BAD_LENGTH;
    if (nSize - XRF_WRITE_DATA_HEAD_SIZE < nDataSize)
        return XRF_WIRE_SHORT;
    req.hFile = GetU32(pData + 8);
    req.nDataSize = nDataSize;
    req.pData = pData + XRF_WRITE_DATA_HEAD_SIZE;
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFBuildDataBlockHead(std::vector<BYTE>& buf, const tagXRFDataBlockHead& head)
{
    BYTE* p = AppendRequest(buf, XRF_CMD_DATA_BLOCK);
    PutU32(p + 8, head.nBlockSize);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseDataBlockHead(const BYTE* pData, size_t nSize, DWORD nMaxBlock, tagXRFDataBlockHead& head)
{
    XRFWireStatus status = CheckRequest(pData, nSize, XRF_CMD_DATA_BLOCK);
    if (status != XRF_WIRE_OK)
        return status;
    DWORD nBlockSize = GetU32(pData + 8);
    if (nBlockSize > nMaxBlock)
        return XRF_WIRE_BAD_LENGTH;
    head.nBlockSize = nBlockSize;
    return XRF_WIRE_OK;
}

// ---- Replies -------------------------------------------------------------------

DWORD XfnRFReplyCode(DWORD nCommand)
{
    if (nCommand <= XRF_CMD_GET_ROOT_DIR_LIST)
        return nCommand + 23;
    switch (nCommand) {
    case XRF_CMD_WRITE_DATA:
        return 24;
    case XRF_CMD_DATA_BLOCK:
        return XRF_CMD_DATA_BLOCK;
    case XRF_CMD_FIND_FILE_LIST:
        return XRF_FILE_LIST_CODE;
    default:
        return 0;
    }
}

DWORD XfnRFReplySize(DWORD nCommand)
{
    return nCommand < XRF_CMD_COUNT ? kReplySize[nCommand] : 0;
}

DWORD XfnRFWrongCodeError(DWORD nCommand)
{
    switch (nCommand) {
    case XRF_CMD_CREATE_FILE:
    case XRF_CMD_DATA_BLOCK:
        return XRF_ERROR_INVALID_PACKET;
    case XRF_CMD_FIND_FILE_LIST:
        return XRF_ERROR_INVALID_PARAMETER;
    default:
        return 0;
    }
}

DWORD XfnRFWireError(XRFWireStatus status)
{
    switch (status) {
    case XRF_WIRE_OK:
        return 0;
    case XRF_WIRE_BAD_VERSION:
        return XRF_ERROR_VERSION_MISMATCH;
    case XRF_WIRE_BAD_KEY:
        return XRF_ERROR_INVALID_PUBLIC_KEY;
    case XRF_WIRE_TOO_LONG:
        return XRF_ERROR_INVALID_PARAMETER;
    default:
        return XRF_ERROR_INVALID_PACKET;
    }
}

XRFWireStatus XfnRFBuildGreeting(std::vector<BYTE>& buf, const tagXRFGreeting& greeting)
{
    size_t nKeyLength = greeting.strPublicKey.size();
    if (nKeyLength > XRF_MAX_KEY_LENGTH)
        return XRF_WIRE_TOO_LONG;
    BYTE* p = AppendPacket(buf, XRF_GREETING_SIZE);
    for (int i = 0; i < 4 && greeting.szVersion[i]; ++i)
        p[i] = static_cast<BYTE>(greeting.szVersion[i]);
    PutU32(p + 4, static_cast<DWORD>(nKeyLength));
    std::memcpy(p + 8, greeting.strPublicKey.data(), nKeyLength);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseGreeting(const BYTE* pData, size_t nSize, tagXRFGreeting& greeting)
{
    if (nSize < XRF_GREETING_SIZE)
        return XRF_WIRE_SHORT;
    std::memcpy(greeting.szVersion, pData, 4);
    greeting.szVersion[4] = 0;
    greeting.strPublicKey.clear();
    if (std::strcmp(greeting.szVersion, XRF_VERSION) != 0)
        return XRF_WIRE_BAD_VERSION;
    DWORD nKeyLength = GetU32(pData + 4);
    if (nKeyLength > XRF_MAX_KEY_LENGTH)
        return XRF_WIRE_BAD_KEY;
    // The key is C text: a NUL inside the announced length ends it.
    GetText(pData + 8, nKeyLength, greeting.strPublicKey);
    return greeting.strPublicKey.empty() ? XRF_WIRE_BAD_KEY : XRF_WIRE_OK;
}

XRFWireStatus XfnRFBuildReply(std::vector<BYTE>& buf, DWORD nCommand, const tagXRFReply& reply)
{
    const tagReplyLayout* pLayout = SmallReplyLayout(nCommand);
    if (!pLayout)
        return XRF_WIRE_BAD_COMMAND;
    BYTE* p = AppendPacket(buf, kReplySize[nCommand]);
    PutU32(p, reply.nCode);
    if (pLayout->nValueAt)
        PutU32(p + pLayout->nValueAt, reply.nValue);
    if (pLayout->nHighAt)
        PutU32(p + pLayout->nHighAt, reply.nValueHigh);
    PutU32(p + pLayout->nErrorAt, reply.nError);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseReply(const BYTE* pData, size_t nSize, DWORD nCommand, tagXRFReply& reply)
{
    const tagReplyLayout* pLayout = SmallReplyLayout(nCommand);
    if (!pLayout)
        return XRF_WIRE_BAD_COMMAND;
    if (nSize < kReplySize[nCommand])
        return XRF_WIRE_SHORT;
    reply.nCode = GetU32(pData);
    reply.nValue = pLayout->nValueAt ? GetU32(pData + pLayout->nValueAt) : 0;
    reply.nValueHigh = pLayout->nHighAt ? GetU32(pData + pLayout->nHighAt) : 0;
    reply.nError = GetU32(pData + pLayout->nErrorAt);
    return pLayout->bCodeRead ? CodeStatus(reply.nCode, nCommand) : XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseReadReply(const BYTE* pData, size_t nSize, DWORD nAsked, tagXRFReply& reply)
{
    XRFWireStatus status = XfnRFParseReply(pData, nSize, XRF_CMD_READ_FILE, reply);
    if (status != XRF_WIRE_SHORT && reply.nValue > nAsked)
        return XRF_WIRE_BAD_LENGTH;
    return status;
}

XRFWireStatus XfnRFBuildRootEntry(std::vector<BYTE>& buf, const std::string& strRoot)
{
    if (!TextFits(strRoot, XRF_ROOT_ENTRY_SIZE))
        return XRF_WIRE_TOO_LONG;
    PutText(AppendPacket(buf, XRF_ROOT_ENTRY_SIZE), strRoot);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseRootEntry(const BYTE* pData, size_t nSize, std::string& strRoot)
{
    if (nSize < XRF_ROOT_ENTRY_SIZE)
        return XRF_WIRE_SHORT;
    return GetText(pData, XRF_ROOT_ENTRY_SIZE, strRoot) ? XRF_WIRE_OK : XRF_WIRE_BAD_TEXT;
}

XRFWireStatus XfnRFBuildCreateFileReply(std::vector<BYTE>& buf, const tagXRFCreateFileReply& reply)
{
    BYTE* p = AppendPacket(buf, kReplySize[XRF_CMD_CREATE_FILE]);
    PutU32(p, reply.nCode);
    PutHandle(p + 8, reply.hFile);
    PutU32(p + 20, reply.nError);
    PutU64(p + 24, static_cast<uint64_t>(reply.nFileSize));
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseCreateFileReply(const BYTE* pData, size_t nSize, tagXRFCreateFileReply& reply)
{
    if (nSize < kReplySize[XRF_CMD_CREATE_FILE])
        return XRF_WIRE_SHORT;
    reply.nCode = GetU32(pData);
    reply.hFile = GetU32(pData + 8);
    reply.nError = GetU32(pData + 20);
    reply.nFileSize = static_cast<int64_t>(GetU64(pData + 24));
    return CodeStatus(reply.nCode, XRF_CMD_CREATE_FILE);
}

XRFWireStatus XfnRFBuildWriteReply(std::vector<BYTE>& buf, const tagXRFWriteReply& reply)
{
    BYTE* p = AppendPacket(buf, kReplySize[XRF_CMD_WRITE_DATA]);
    PutU32(p, reply.nCode);
    PutU64(p + 8, static_cast<uint64_t>(reply.nFileLength));
    PutU32(p + 16, reply.nWritten);
    PutU32(p + 20, reply.nError);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseWriteReply(const BYTE* pData, size_t nSize, tagXRFWriteReply& reply)
{
    if (nSize < kReplySize[XRF_CMD_WRITE_DATA])
        return XRF_WIRE_SHORT;
    reply.nCode = GetU32(pData);
    reply.nFileLength = static_cast<int64_t>(GetU64(pData + 8));
    reply.nWritten = GetU32(pData + 16);
    reply.nError = GetU32(pData + 20);
    return CodeStatus(reply.nCode, XRF_CMD_WRITE_DATA);
}

XRFWireStatus XfnRFBuildFindFirstReply(std::vector<BYTE>& buf, const tagXRFFindReply& reply)
{
    BYTE* p = AppendPacket(buf, kReplySize[XRF_CMD_FIND_FIRST_FILE]);
    PutU32(p, reply.nCode);
    PutHandle(p + 8, reply.hFind);
    PutU32(p + 20, reply.nError);
    PutFindData(p + 24, reply.data);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseFindFirstReply(const BYTE* pData, size_t nSize, tagXRFFindReply& reply)
{
    if (nSize < kReplySize[XRF_CMD_FIND_FIRST_FILE])
        return XRF_WIRE_SHORT;
    reply.nCode = GetU32(pData);
    reply.hFind = GetU32(pData + 8);
    reply.nError = GetU32(pData + 20);
    bool bText = GetFindData(pData + 24, reply.data);
    XRFWireStatus status = CodeStatus(reply.nCode, XRF_CMD_FIND_FIRST_FILE);
    return status == XRF_WIRE_OK && !bText ? XRF_WIRE_BAD_TEXT : status;
}

XRFWireStatus XfnRFBuildFindNextReply(std::vector<BYTE>& buf, const tagXRFFindReply& reply)
{
    BYTE* p = AppendPacket(buf, kReplySize[XRF_CMD_FIND_NEXT_FILE]);
    PutU32(p, reply.nCode);
    PutFindData(p + 8, reply.data);
    PutU32(p + 8 + XRF_FIND_DATA_SIZE, reply.nError);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseFindNextReply(const BYTE* pData, size_t nSize, tagXRFFindReply& reply)
{
    if (nSize < kReplySize[XRF_CMD_FIND_NEXT_FILE])
        return XRF_WIRE_SHORT;
    reply.nCode = GetU32(pData);
    reply.hFind = 0;
    bool bText = GetFindData(pData + 8, reply.data);
    reply.nError = GetU32(pData + 8 + XRF_FIND_DATA_SIZE);
    XRFWireStatus status = CodeStatus(reply.nCode, XRF_CMD_FIND_NEXT_FILE);
    return status == XRF_WIRE_OK && !bText ? XRF_WIRE_BAD_TEXT : status;
}

XRFWireStatus XfnRFBuildFileTimeReply(std::vector<BYTE>& buf, const tagXRFFileTimeReply& reply)
{
    BYTE* p = AppendPacket(buf, kReplySize[XRF_CMD_GET_FILE_TIME]);
    PutU32(p, reply.nCode);
    PutFileTime(p + 8, reply.ftCreation);
    PutFileTime(p + 16, reply.ftLastAccess);
    PutFileTime(p + 24, reply.ftLastWrite);
    PutU32(p + 32, reply.nError);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseFileTimeReply(const BYTE* pData, size_t nSize, tagXRFFileTimeReply& reply)
{
    if (nSize < kReplySize[XRF_CMD_GET_FILE_TIME])
        return XRF_WIRE_SHORT;
    reply.nCode = GetU32(pData);
    reply.ftCreation = GetFileTime(pData + 8);
    reply.ftLastAccess = GetFileTime(pData + 16);
    reply.ftLastWrite = GetFileTime(pData + 24);
    reply.nError = GetU32(pData + 32);
    return CodeStatus(reply.nCode, XRF_CMD_GET_FILE_TIME);
}

XRFWireStatus XfnRFBuildFileListHead(std::vector<BYTE>& buf, const tagXRFFileListHead& head)
{
    if (head.nItemSize > XRF_FILE_INFO_ITEM_SIZE)
        return XRF_WIRE_TOO_LONG;
    BYTE* p = AppendPacket(buf, XRF_FILE_LIST_HEAD_SIZE);
    PutU32(p, head.nCode);
    PutU32(p + 8, head.nError);
    PutU32(p + 12, head.nItemSize);
    return XRF_WIRE_OK;
}

XRFWireStatus XfnRFParseFileListHead(const BYTE* pData, size_t nSize, tagXRFFileListHead& head)
{
    if (nSize < XRF_FILE_LIST_HEAD_SIZE)
        return XRF_WIRE_SHORT;
    head.nCode = GetU32(pData);
    head.nError = GetU32(pData + 8);
    head.nItemSize = GetU32(pData + 12);
    if (head.nCode != XRF_FILE_LIST_CODE)
        return XRF_WIRE_BAD_CODE;
    return head.nItemSize > XRF_FILE_INFO_ITEM_SIZE ? XRF_WIRE_BAD_LENGTH : XRF_WIRE_OK;
}
