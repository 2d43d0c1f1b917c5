#include "XRFPRequest.h"

#include <cstring>

namespace {

const char* StatusText(XRFWireStatus status)
{
    switch (status) {
    case XRF_WIRE_SHORT:
        return "short packet";
    case XRF_WIRE_BAD_COMMAND:
        return "unknown command";
    case XRF_WIRE_BAD_LENGTH:
        return "wrong length word";
    case XRF_WIRE_BAD_TEXT:
        return "text without terminator";
    default:
        return "malformed packet";
    }
}

// Reads one packet: the head, checked, then the bytes that its length word
// announces.
XRFPReadResult ReadPacket(XRFPStream& stream, tagXRFPRequest& req, tagXRFRequestHeader& header, std::string& strWhy)
{
    BYTE head[XRF_HEADER_SIZE];
    if (!stream.ReadExact(head, sizeof head))
        return XRFP_READ_CLOSED;
    XRFWireStatus status = XfnRFParseRequestHeader(head, sizeof head, header);
    if (status != XRF_WIRE_OK) {
        DWORD nCommand = head[0] | head[1] << 8 | head[2] << 16 | static_cast<DWORD>(head[3]) << 24;
        strWhy = std::string(StatusText(status)) + " (command " + std::to_string(nCommand) + ")";
        return XRFP_READ_MALFORMED;
    }
    req.nPacketSize = XRF_HEADER_SIZE + static_cast<size_t>(header.nLength);
    if (req.vecPacket.size() < req.nPacketSize)
        req.vecPacket.resize(req.nPacketSize);
    std::memcpy(req.vecPacket.data(), head, sizeof head);
    if (!stream.ReadExact(req.vecPacket.data() + XRF_HEADER_SIZE, header.nLength))
        return XRFP_READ_CLOSED;
    return XRFP_READ_OK;
}

XRFPReadResult Check(XRFWireStatus status, DWORD nCommand, std::string& strWhy)
{
    if (status == XRF_WIRE_OK)
        return XRFP_READ_OK;
    strWhy = std::string(StatusText(status)) + " (command " + std::to_string(nCommand) + ")";
    return XRFP_READ_MALFORMED;
}

} // namespace

XRFPReadResult XfnRFPReadRequest(XRFPStream& stream, const tagXRFPLimits& limits, tagXRFPRequest& req,
                                 std::string& strWhy)
{
    tagXRFRequestHeader header{};
    XRFPReadResult result = ReadPacket(stream, req, header, strWhy);
    if (result != XRFP_READ_OK)
        return result;
    const BYTE* p = req.vecPacket.data();
    size_t n = req.nPacketSize;
    DWORD nCommand = header.nCommand;
    req.nCommand = nCommand;
    switch (nCommand) {
    case XRF_CMD_CREATE_FILE:
        return Check(XfnRFParseCreateFileRequest(p, n, req.create), nCommand, strWhy);
    case XRF_CMD_READ_FILE:
        return Check(XfnRFParseTransferRequest(p, n, nCommand, req.transfer), nCommand, strWhy);
    case XRF_CMD_WRITE_ANNOUNCE: {
        result = Check(XfnRFParseTransferRequest(p, n, nCommand, req.transfer), nCommand, strWhy);
        if (result != XRFP_READ_OK)
            return result;
        // The data packet must follow at once.
        result = ReadPacket(stream, req, header, strWhy);
        if (result != XRFP_READ_OK)
            return result;
        if (header.nCommand != XRF_CMD_WRITE_DATA) {
            strWhy = "write announcement followed by command " + std::to_string(header.nCommand);
            return XRFP_READ_MALFORMED;
        }
        req.nCommand = XRF_CMD_WRITE_DATA;
        return Check(XfnRFParseWriteDataRequest(req.vecPacket.data(), req.nPacketSize, req.write),
                     XRF_CMD_WRITE_DATA, strWhy);
    }
    case XRF_CMD_WRITE_DATA:
        strWhy = "write data packet without its announcement";
        return XRFP_READ_MALFORMED;
    case XRF_CMD_CLOSE_HANDLE:
    case XRF_CMD_FIND_CLOSE:
    case XRF_CMD_SET_END_OF_FILE:
    case XRF_CMD_FLUSH_FILE_BUFFERS:
    case XRF_CMD_FIND_NEXT_FILE:
    case XRF_CMD_GET_FILE_TIME:
    case XRF_CMD_GET_FILE_SIZE:
        return Check(XfnRFParseHandleRequest(p, n, req.handle), nCommand, strWhy);
    case XRF_CMD_SET_FILE_POINTER:
        return Check(XfnRFParseSetFilePointerRequest(p, n, req.seek), nCommand, strWhy);
    case XRF_CMD_GET_FILE_ATTRIBUTES:
    case XRF_CMD_SET_FILE_ATTRIBUTES:
    case XRF_CMD_DELETE_FILE:
    case XRF_CMD_FIND_FIRST_FILE:
    case XRF_CMD_REMOVE_DIRECTORY:
    case XRF_CMD_FIND_FILE_LIST:
    case XRF_CMD_CREATE_DIRECTORY:
        return Check(XfnRFParsePathRequest(p, n, req.path), nCommand, strWhy);
    case XRF_CMD_MOVE_FILE:
        return Check(XfnRFParseMoveFileRequest(p, n, req.move), nCommand, strWhy);
    case XRF_CMD_SET_FILE_TIME:
        return Check(XfnRFParseSetFileTimeRequest(p, n, req.times), nCommand, strWhy);
    case XRF_CMD_LOGIN:
        return Check(XfnRFParseLoginRequest(p, n, req.login), nCommand, strWhy);
    case XRF_CMD_GET_ROOT_DIR_LIST:
        return Check(XfnRFParseRootListRequest(p, n), nCommand, strWhy);
    case XRF_CMD_DATA_BLOCK: {
        tagXRFDataBlockHead head{};
        XRFWireStatus status = XfnRFParseDataBlockHead(p, n, limits.nMaxBlock, head);
        if (status == XRF_WIRE_BAD_LENGTH) {
            strWhy = "data block above the limit of " + std::to_string(limits.nMaxBlock) + " bytes";
            return XRFP_READ_MALFORMED;
        }
        result = Check(status, nCommand, strWhy);
        if (result != XRFP_READ_OK)
            return result;
        req.blockCharge.Release();
        if (limits.pMemory && !req.blockCharge.Take(limits.pMemory, head.nBlockSize)) {
            strWhy = "data block of " + std::to_string(head.nBlockSize) + " bytes beyond the user's memory budget";
            return XRFP_READ_MALFORMED;
        }
        req.vecBlock.resize(head.nBlockSize);
        return stream.ReadExact(req.vecBlock.data(), head.nBlockSize) ? XRFP_READ_OK : XRFP_READ_CLOSED;
    }
    default:
        strWhy = "unknown command " + std::to_string(nCommand);
        return XRFP_READ_MALFORMED;
    }
}

bool XRFPMemoryStream::ReadExact(void* pData, size_t nSize)
{
    if (nSize > nLeft)
        return false;
    if (nSize)
        std::memcpy(pData, pNext, nSize);
    pNext += nSize;
    nLeft -= nSize;
    return true;
}

bool XRFPMemoryStream::WriteAll(const void* pData, size_t nSize)
{
    const BYTE* p = static_cast<const BYTE*>(pData);
    vecWritten.insert(vecWritten.end(), p, p + nSize);
    return true;
}
