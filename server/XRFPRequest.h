// Reading requests off a connection: the byte stream is cut into packets by
// the command and length words, each packet is checked by the wire module's
// parser, and the announcement and data packet of a write are joined into one
// request. Anything malformed (unknown command, wrong length word, a text
// with no terminator, a block above its limit or beyond the user's memory, a
// write data packet without its announcement) is reported and the caller ends the connection,
// since the protocol offers no way to find the next packet. Stateless.
#pragma once

#include "KVDbase/remote/XRFWire.h"

#include "XRFPBudget.h"

#include <chrono>

#include <cstddef>
#include <string>
#include <vector>

// Where requests come from and replies go: a socket, or memory in tests and
// in the fuzz target.
class XRFPStream {
public:
    typedef std::chrono::steady_clock::time_point Deadline;
    virtual ~XRFPStream() = default;
    // Reads exactly nSize bytes; false when the peer closed, the idle time
    // or the deadline ran out, or the connection failed.
    virtual bool ReadExact(void* pData, size_t nSize) = 0;
    virtual bool WriteAll(const void* pData, size_t nSize) = 0;
    // Streams that can send from a file send nHead bytes, then up to nSize
    // bytes of the open file fdFile from nPosition without copying them;
    // nSent is the file's share (fewer at the end of the file, or where the
    // file cannot be sent so). False when the connection failed.
    virtual bool SendsFiles() const { return false; }
    virtual bool WriteThenFile(const void* pHead, size_t nHead, int /*fdFile*/, int64_t /*nPosition*/,
                               size_t /*nSize*/, size_t& nSent)
    {
        nSent = 0;
        return WriteAll(pHead, nHead);
    }
    // Reads and writes fail once this time has passed, however the bytes
    // trickle; Deadline::max() for none.
    virtual void SetDeadline(Deadline) {}
    // Waits without reading; false when the connection ended meanwhile.
    virtual bool Pause(std::chrono::milliseconds) { return true; }
};

// Bounds on what one request may ask for.
struct tagXRFPLimits {
    DWORD nMaxBlock = 1048576;  // bytes of one general data block
    XRFPBudgetPtr pMemory;      // charged for a block while it is held; null: none
};

// One request, with the fields of its command filled.
struct tagXRFPRequest {
    DWORD nCommand = 0;  // XRF_CMD_WRITE_DATA for a whole write
    tagXRFCreateFileRequest create{};
    tagXRFTransferRequest transfer{};  // read, and the announcement of a write
    tagXRFHandleRequest handle{};
    tagXRFSetFilePointerRequest seek{};
    tagXRFPathRequest path{};
    tagXRFMoveFileRequest move{};
    tagXRFSetFileTimeRequest times{};
    tagXRFLoginRequest login{};
    tagXRFWriteDataRequest write{};  // points into vecPacket
    std::vector<BYTE> vecPacket;      // the last packet read, in its first nPacketSize bytes
    size_t nPacketSize = 0;           // the vector only grows: a write's buffer is not cleared again
    std::vector<BYTE> vecBlock;       // a general data block's content
    XRFPCharge blockCharge;           // what vecBlock holds, on the user's budget
};

enum XRFPReadResult {
    XRFP_READ_OK = 0,
    XRFP_READ_CLOSED,     // the stream ended at or inside a packet
    XRFP_READ_MALFORMED,  // strWhy says what was wrong
};

XRFPReadResult XfnRFPReadRequest(XRFPStream& stream, const tagXRFPLimits& limits, tagXRFPRequest& req,
                                 std::string& strWhy);

// A stream over bytes in memory: reads consume pData, writes are collected.
class XRFPMemoryStream : public XRFPStream {
public:
    XRFPMemoryStream(const BYTE* pData, size_t nSize) : pNext(pData), nLeft(nSize) {}
    bool ReadExact(void* pData, size_t nSize) override;
    bool WriteAll(const void* pData, size_t nSize) override;
    const std::vector<BYTE>& Written() const { return vecWritten; }

private:
    const BYTE* pNext;
    size_t nLeft;
    std::vector<BYTE> vecWritten;
};
