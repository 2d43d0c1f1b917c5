// XRFWire: the bytes of every request and reply of the remote file protocol,
// built into and parsed from plain byte buffers, with no socket in sight.
// Builders append one packet to a buffer and append nothing when they fail.
// Parsers never read past the bytes they are given and report every short or
// malformed packet by an XRFWireStatus; they keep no state and are thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

// Command numbers, the first word of every request.
enum : DWORD {
    XRF_CMD_CREATE_FILE = 0,
    XRF_CMD_WRITE_ANNOUNCE = 1,
    XRF_CMD_READ_FILE = 2,
    XRF_CMD_CLOSE_HANDLE = 3,
    XRF_CMD_FIND_CLOSE = 4,
    XRF_CMD_SET_END_OF_FILE = 5,
    XRF_CMD_SET_FILE_POINTER = 6,
    XRF_CMD_FLUSH_FILE_BUFFERS = 7,
    XRF_CMD_GET_FILE_ATTRIBUTES = 8,
    XRF_CMD_SET_FILE_ATTRIBUTES = 9,
    XRF_CMD_DELETE_FILE = 10,
    XRF_CMD_MOVE_FILE = 11,
    XRF_CMD_FIND_FIRST_FILE = 12,
    XRF_CMD_FIND_NEXT_FILE = 13,
    XRF_CMD_GET_FILE_TIME = 14,
    XRF_CMD_SET_FILE_TIME = 15,
    XRF_CMD_GET_FILE_SIZE = 16,
    XRF_CMD_LOGIN = 17,
    XRF_CMD_CREATE_DIRECTORY = 18,
    XRF_CMD_REMOVE_DIRECTORY = 19,
    XRF_CMD_GET_ROOT_DIR_LIST = 20,
    XRF_CMD_WRITE_DATA = 21,
    XRF_CMD_DATA_BLOCK = 22,
    XRF_CMD_FIND_FILE_LIST = 23,
    XRF_CMD_COUNT = 24,
};

// Fixed sizes and limits of the format.
enum : DWORD {
    XRF_HEADER_SIZE = 8,            // command and length words of a request
    XRF_PATH_SIZE = 260,            // a path field, NUL included
    XRF_LOGIN_FIELD_SIZE = 4096,    // each encrypted text of the login
    XRF_GREETING_SIZE = 1460,       // the server's unasked first packet
    XRF_MAX_KEY_LENGTH = 1024,      // public key text in the greeting
    XRF_MAX_WRITE = 131072,         // data of one write data packet
    XRF_WRITE_DATA_HEAD_SIZE = 24,  // write data packet before its data
    XRF_DATA_BLOCK_HEAD_SIZE = 16,  // general data block before its block
    XRF_FIND_DATA_SIZE = 320,       // WIN32_FIND_DATAA as carried
    XRF_ROOT_ENTRY_SIZE = 265,      // one entry of the root directory list
    XRF_FILE_LIST_HEAD_SIZE = 24,   // head of each find file list reply
    XRF_FILE_INFO_ITEM_SIZE = 312,  // largest item after a file list head
    XRF_FILE_LIST_CODE = 44,        // reply code of the find file list
};

// The version text that opens the greeting, four bytes with no NUL.
#define XRF_VERSION "1.00"

// Error words that the client itself produces for protocol faults.
enum : DWORD {
    XRF_ERROR_INVALID_PUBLIC_KEY = 0x20010016,  // "Invalid public key received"
    XRF_ERROR_NO_CONNECTION = 0x2001001D,       // "The remote file connection doesn't exist"
    XRF_ERROR_INVALID_PARAMETER = 0x2001001F,   // "The parameter is not valid"
    XRF_ERROR_INVALID_PACKET = 0x20010022,      // "Invalid rf packet parameter"
    XRF_ERROR_VERSION_MISMATCH = 0x20010026,    // "RF version mismatch"
};

// What a builder or parser found. Parsers leave their record untouched on
// XRF_WIRE_SHORT and XRF_WIRE_BAD_COMMAND, and on a request or data block head
// whose length words are wrong; in every other case the record is filled, text
// fields cut at their first NUL or their field's end, so that a caller may
// still read the error word of a reply that carries an unexpected code.
enum XRFWireStatus {
    XRF_WIRE_OK = 0,
    XRF_WIRE_SHORT,        // the input ends before the packet does
    XRF_WIRE_BAD_COMMAND,  // a command word not of this packet, or no command at all
    XRF_WIRE_BAD_CODE,     // a reply code other than the one that answers the command
    XRF_WIRE_BAD_LENGTH,   // a length or size word that is inconsistent or above its limit
    XRF_WIRE_BAD_TEXT,     // a text field with no NUL inside its field
    XRF_WIRE_TOO_LONG,     // to a builder: a text or block that does not fit its field or limit
    XRF_WIRE_BAD_VERSION,  // a greeting of another version
    XRF_WIRE_BAD_KEY,      // a greeting key that is empty or longer than the limit
};

// ---- Requests --------------------------------------------------------------

struct tagXRFRequestHeader {
    DWORD nCommand;
    DWORD nLength;  // bytes of the packet after these eight
};

// Command 0. The caller's security attributes and attribute flags never
// travel: both fields go out as zero.
struct tagXRFCreateFileRequest {
    std::string strPath;
    DWORD nDesiredAccess;
    DWORD nShareMode;
    DWORD nDisposition;
    DWORD hTemplate;
};

// Command 2 (read) and command 1 (the announcement that opens a write).
struct tagXRFTransferRequest {
    int64_t nPosition;  // absolute file position
    DWORD hFile;
    DWORD nCount;
};

// Commands 3, 4, 5, 7, 13, 14 and 16, which carry a handle alone.
struct tagXRFHandleRequest {
    DWORD nCommand;
    DWORD hFile;
};

// Command 6.
struct tagXRFSetFilePointerRequest {
    DWORD hFile;
    DWORD nMoveMethod;
    LONG nDistanceLow;
    LONG nDistanceHigh;
};

// Commands 8, 9, 10, 12, 18, 19 and 23: a path and at most one word. The
// word is sent by 9 (attributes), 19 (flag) and 23 (flag); the others send
// zero there and parse it as zero, since a server must not rely on it.
struct tagXRFPathRequest {
    DWORD nCommand;
    std::string strPath;
    DWORD nArgument;
};

// Command 11.
struct tagXRFMoveFileRequest {
    std::string strOldPath;
    std::string strNewPath;
};

// Command 15.
struct tagXRFSetFileTimeRequest {
    DWORD hFile;
    _FILETIME ftCreation;
    _FILETIME ftLastAccess;
    _FILETIME ftLastWrite;
};

// Command 17: both texts are already encrypted to hexadecimal.
struct tagXRFLoginRequest {
    std::string strUser;
    std::string strPassword;
};

// Command 21. A parsed record points into the parser's input.
struct tagXRFWriteDataRequest {
    DWORD hFile;
    const BYTE* pData;
    DWORD nDataSize;
};

// Command 22, in either direction; the block follows the head.
struct tagXRFDataBlockHead {
    DWORD nBlockSize;
};

// Reads the eight-byte head of any request. A command above 23 gives
// XRF_WIRE_BAD_COMMAND; a length word other than the command's gives
// XRF_WIRE_BAD_LENGTH (for the write data packet: 16 plus at most 131072).
KVD_API XRFWireStatus XfnRFParseRequestHeader(const BYTE* pData, size_t nSize, tagXRFRequestHeader& header);

// Each request parser takes the whole packet, head included, and checks the
// head's command and length words against the packet it parses.
KVD_API XRFWireStatus XfnRFBuildCreateFileRequest(std::vector<BYTE>& buf, const tagXRFCreateFileRequest& req);
KVD_API XRFWireStatus XfnRFParseCreateFileRequest(const BYTE* pData, size_t nSize, tagXRFCreateFileRequest& req);

// nCommand is XRF_CMD_READ_FILE or XRF_CMD_WRITE_ANNOUNCE.
KVD_API XRFWireStatus XfnRFBuildTransferRequest(std::vector<BYTE>& buf, DWORD nCommand, const tagXRFTransferRequest& req);
KVD_API XRFWireStatus XfnRFParseTransferRequest(const BYTE* pData, size_t nSize, DWORD nCommand,
                                                tagXRFTransferRequest& req);

// The parser accepts any of the handle commands and reports which in nCommand.
KVD_API XRFWireStatus XfnRFBuildHandleRequest(std::vector<BYTE>& buf, const tagXRFHandleRequest& req);
KVD_API XRFWireStatus XfnRFParseHandleRequest(const BYTE* pData, size_t nSize, tagXRFHandleRequest& req);

KVD_API XRFWireStatus XfnRFBuildSetFilePointerRequest(std::vector<BYTE>& buf, const tagXRFSetFilePointerRequest& req);
KVD_API XRFWireStatus XfnRFParseSetFilePointerRequest(const BYTE* pData, size_t nSize,
                                                      tagXRFSetFilePointerRequest& req);

// The parser accepts any of the path commands and reports which in nCommand.
KVD_API XRFWireStatus XfnRFBuildPathRequest(std::vector<BYTE>& buf, const tagXRFPathRequest& req);
KVD_API XRFWireStatus XfnRFParsePathRequest(const BYTE* pData, size_t nSize, tagXRFPathRequest& req);

KVD_API XRFWireStatus XfnRFBuildMoveFileRequest(std::vector<BYTE>& buf, const tagXRFMoveFileRequest& req);
KVD_API XRFWireStatus XfnRFParseMoveFileRequest(const BYTE* pData, size_t nSize, tagXRFMoveFileRequest& req);

KVD_API XRFWireStatus XfnRFBuildSetFileTimeRequest(std::vector<BYTE>& buf, const tagXRFSetFileTimeRequest& req);
KVD_API XRFWireStatus XfnRFParseSetFileTimeRequest(const BYTE* pData, size_t nSize, tagXRFSetFileTimeRequest& req);

KVD_API XRFWireStatus XfnRFBuildLoginRequest(std::vector<BYTE>& buf, const tagXRFLoginRequest& req);
KVD_API XRFWireStatus XfnRFParseLoginRequest(const BYTE* pData, size_t nSize, tagXRFLoginRequest& req);

// Command 20 has no fields: its eight payload bytes are zero.
KVD_API XRFWireStatus XfnRFBuildRootListRequest(std::vector<BYTE>& buf);
KVD_API XRFWireStatus XfnRFParseRootListRequest(const BYTE* pData, size_t nSize);

// The whole data packet is built in one piece so that it can go to the
// socket in one call.
KVD_API XRFWireStatus XfnRFBuildWriteDataRequest(std::vector<BYTE>& buf, const tagXRFWriteDataRequest& req);
// The same packet without its data, which the caller sends right after it.
KVD_API XRFWireStatus XfnRFBuildWriteDataHead(std::vector<BYTE>& buf, const tagXRFWriteDataRequest& req);
KVD_API XRFWireStatus XfnRFParseWriteDataRequest(const BYTE* pData, size_t nSize, tagXRFWriteDataRequest& req);

// Only the sixteen-byte head is built and parsed; the caller sends or reads
// the block itself. The parser refuses a block above nMaxBlock.
KVD_API XRFWireStatus XfnRFBuildDataBlockHead(std::vector<BYTE>& buf, const tagXRFDataBlockHead& head);
KVD_API XRFWireStatus XfnRFParseDataBlockHead(const BYTE* pData, size_t nSize, DWORD nMaxBlock,
                                              tagXRFDataBlockHead& head);

// ---- Replies ---------------------------------------------------------------

// The 1460-byte greeting: version, key length, key text, zero filler.
struct tagXRFGreeting {
    char szVersion[5];  // four bytes and a NUL
    std::string strPublicKey;
};

// The replies that carry nothing but a code, an error word and at most one
// value of one or two words, laid out by the command they answer:
//   read (2) head and root directory list (20) head: count at 8, error at 12;
//   get file attributes (8): attributes at 8, error at 12;
//   set file pointer (6), get file size (16), 24 bytes: value low at 8,
//     high at 12, error at 16;
//   set file time (15): error at 12;
//   flush (7), 24 bytes, and 3, 4, 5, 9, 10, 11, 17, 18, 19: error at 8.
// nValue and nValueHigh are zero where a layout has no such field.
struct tagXRFReply {
    DWORD nCode;
    DWORD nValue;
    DWORD nValueHigh;
    DWORD nError;
};

// Command 0.
struct tagXRFCreateFileReply {
    DWORD nCode;
    DWORD hFile;
    DWORD nError;
    int64_t nFileSize;
};

// Command 21.
struct tagXRFWriteReply {
    DWORD nCode;
    int64_t nFileLength;  // after the write
    DWORD nWritten;
    DWORD nError;
};

// Commands 12 and 13; hFind is carried by the first only.
struct tagXRFFindReply {
    DWORD nCode;
    DWORD hFind;
    DWORD nError;
    WIN32_FIND_DATAA data;
};

// Command 14.
struct tagXRFFileTimeReply {
    DWORD nCode;
    _FILETIME ftCreation;
    _FILETIME ftLastAccess;
    _FILETIME ftLastWrite;
    DWORD nError;
};

// Command 23: one head per item and a last head with item size 0.
struct tagXRFFileListHead {
    DWORD nCode;
    DWORD nError;
    DWORD nItemSize;  // bytes of item after the head, at most 312
};

// The code that answers nCommand: the command plus 23 up to 20, 24 for the
// write (announcement and data alike), 22 for a data block, 44 for the file
// list; XRF_CMD_COUNT and above give 0.
KVD_API DWORD XfnRFReplyCode(DWORD nCommand);

// Bytes of the fixed reply, or reply head, to nCommand; 0 for the write
// announcement, which is answered only after its data packet, and for
// unknown commands.
KVD_API DWORD XfnRFReplySize(DWORD nCommand);

// The error word that a wrong reply code to nCommand stands for in the
// client: XRF_ERROR_INVALID_PACKET for create and data blocks,
// XRF_ERROR_INVALID_PARAMETER for the file list, and 0 for the rest, whose
// code is in effect not enforced (the reply's own error word decides).
KVD_API DWORD XfnRFWrongCodeError(DWORD nCommand);

// The error word for a parse or build failure: version and key faults give
// their own codes, a text or block too long to send gives
// XRF_ERROR_INVALID_PARAMETER, and every malformed packet
// XRF_ERROR_INVALID_PACKET. XRF_WIRE_OK gives 0.
KVD_API DWORD XfnRFWireError(XRFWireStatus status);

// The parser checks the version first, then that the key length is at most
// 1024 and the key text, up to its first NUL, is not empty.
KVD_API XRFWireStatus XfnRFBuildGreeting(std::vector<BYTE>& buf, const tagXRFGreeting& greeting);
KVD_API XRFWireStatus XfnRFParseGreeting(const BYTE* pData, size_t nSize, tagXRFGreeting& greeting);

// For the commands listed at tagXRFReply. Builders write nCode as given, so
// that a test server can also send a wrong one. The parser reports a code
// other than XfnRFReplyCode(nCommand) as XRF_WIRE_BAD_CODE, except for login
// and root directory list, whose code the client never looks at.
KVD_API XRFWireStatus XfnRFBuildReply(std::vector<BYTE>& buf, DWORD nCommand, const tagXRFReply& reply);
KVD_API XRFWireStatus XfnRFParseReply(const BYTE* pData, size_t nSize, DWORD nCommand, tagXRFReply& reply);

// The read reply head, with a count above the nAsked bytes requested
// reported as XRF_WIRE_BAD_LENGTH. Build the head with XfnRFBuildReply and
// append the data.
KVD_API XRFWireStatus XfnRFParseReadReply(const BYTE* pData, size_t nSize, DWORD nAsked, tagXRFReply& reply);

// One 265-byte root directory entry, NUL-padded; follows the command 20 head.
KVD_API XRFWireStatus XfnRFBuildRootEntry(std::vector<BYTE>& buf, const std::string& strRoot);
KVD_API XRFWireStatus XfnRFParseRootEntry(const BYTE* pData, size_t nSize, std::string& strRoot);

KVD_API XRFWireStatus XfnRFBuildCreateFileReply(std::vector<BYTE>& buf, const tagXRFCreateFileReply& reply);
KVD_API XRFWireStatus XfnRFParseCreateFileReply(const BYTE* pData, size_t nSize, tagXRFCreateFileReply& reply);

KVD_API XRFWireStatus XfnRFBuildWriteReply(std::vector<BYTE>& buf, const tagXRFWriteReply& reply);
KVD_API XRFWireStatus XfnRFParseWriteReply(const BYTE* pData, size_t nSize, tagXRFWriteReply& reply);

// The find data goes out as its 320-byte image. A parsed file name or
// alternate name with no NUL is cut to fit and reported as XRF_WIRE_BAD_TEXT.
KVD_API XRFWireStatus XfnRFBuildFindFirstReply(std::vector<BYTE>& buf, const tagXRFFindReply& reply);
KVD_API XRFWireStatus XfnRFParseFindFirstReply(const BYTE* pData, size_t nSize, tagXRFFindReply& reply);
KVD_API XRFWireStatus XfnRFBuildFindNextReply(std::vector<BYTE>& buf, const tagXRFFindReply& reply);
KVD_API XRFWireStatus XfnRFParseFindNextReply(const BYTE* pData, size_t nSize, tagXRFFindReply& reply);

KVD_API XRFWireStatus XfnRFBuildFileTimeReply(std::vector<BYTE>& buf, const tagXRFFileTimeReply& reply);
KVD_API XRFWireStatus XfnRFParseFileTimeReply(const BYTE* pData, size_t nSize, tagXRFFileTimeReply& reply);

// Only the head is built and parsed; the caller appends or reads the item.
// An item size above 312 is XRF_WIRE_TOO_LONG to the builder and
// XRF_WIRE_BAD_LENGTH to the parser; a code other than 44 is XRF_WIRE_BAD_CODE.
KVD_API XRFWireStatus XfnRFBuildFileListHead(std::vector<BYTE>& buf, const tagXRFFileListHead& head);
KVD_API XRFWireStatus XfnRFParseFileListHead(const BYTE* pData, size_t nSize, tagXRFFileListHead& head);
