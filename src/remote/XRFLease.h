// XRFLease: a pooled connection borrowed for one exchange and given back
// when the lease ends. Private to the remote functions; one thread.
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Win32Types.h"
#include "KVDbase/remote/XRFConnection.h"

#include <vector>

class XRFConnectionPool;

// "Out of memory", of the "Remote File" group.
const DWORD XRF_ERROR_OUT_OF_MEMORY = 0x20010015;
// The chunk in which requests go to the socket.
const DWORD XRF_SEND_CHUNK = 131072;

class XRFLease {
public:
    // Fetches a connection for param under key (set when empty). The
    // fetch's result is in Error(); without a pool it is "The remote file
    // connection doesn't exist".
    XRFLease(XRFConnectionOpenParam& param, XString& key);
    ~XRFLease();
    XRFLease(const XRFLease&) = delete;
    XRFLease& operator=(const XRFLease&) = delete;

    DWORD Error() const { return nError; }
    XRFConnection* Connection() const { return pConnection; }

    // Sends a whole packet in pieces of nChunk (0: in one piece).
    DWORD Send(const std::vector<BYTE>& vecPacket, DWORD nChunk = XRF_SEND_CHUNK);
    // Sends a packet's head and then its data, in one call where it can.
    DWORD SendWithData(const std::vector<BYTE>& vecHead, const void* pData, DWORD nData);
    // Receives nSize bytes. A peer that closes before they have all come is
    // no failure here: the result is 0, the rest of the buffer stays as it
    // was (the callers clear their replies, which then read as code 0, error
    // 0), and the connection is closed, so the pool deletes it at release and
    // any further transfer on it fails with 10057.
    DWORD Recv(void* pData, DWORD nSize);
    // A request and its fixed reply, cleared before it is received.
    DWORD Exchange(const std::vector<BYTE>& vecRequest, void* pReply, DWORD nReplySize);
    // Closes the connection, which the pool then deletes: for a stream that
    // can no longer be read in step with the protocol.
    void Drop();

private:
    XRFConnectionPool* pPool;
    XString& key;
    XRFConnection* pConnection;
    DWORD nError;
};
