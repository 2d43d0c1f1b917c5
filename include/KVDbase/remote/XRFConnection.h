// XRFConnection: one TCP connection to a remote file server, greeted and
// logged in, that moves exact byte counts; XRFConnectionOpenParam names the
// server and the login. Every operation answers 0 or an error number (a
// Winsock-style socket number, or a "Remote File" code) and never throws. A
// connection has no lock: the pool lends it to one thread at a time.
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

#include <cstdint>

// Server address and login; a plain value copied field by field.
class KVD_API XRFConnectionOpenParam {
public:
    enum : WORD { defaultPort = 5000 };
    enum : int { defaultTimeout = 10000, noTimeout = -1 };

    XRFConnectionOpenParam() { Reset(); }
    // Back to the defaults: no host, port 5000, no user, no password and a
    // timeout of 10000 milliseconds.
    void Reset();

    XString strHost;      // dotted-quad IPv4 address; names are not resolved
    WORD nPort;
    XString strUser;
    XString strPassword;
    int nTimeout;         // send and receive timeout in milliseconds; -1: none
};

class KVD_API XRFConnection {
public:
    enum : DWORD { publicKeySize = 1025 };

    XRFConnection();
    // A copy works on the same TCP connection through a descriptor of its
    // own: the first of the two to disconnect ends the connection for both.
    XRFConnection(const XRFConnection& src);
    XRFConnection& operator=(const XRFConnection& src);
    virtual ~XRFConnection();

    // Connects, reads the greeting and logs in. pszInfo (nInfoLength bytes,
    // cleared by the caller) receives the greeting's version and key bytes
    // as "%x|" text; it may be null. 0, a socket error, or the protocol's
    // codes (version mismatch, invalid public key, the login's refusal).
    DWORD OpenConnection(XRFConnectionOpenParam param, char* pszInfo, int nInfoLength);
    void CloseConnection();
    int IsConnected() const { return hSocket != -1 ? 1 : 0; }

    // Sends nLength bytes, at most nChunk per call (0: all in one). A
    // failure closes the connection; 10057 when it is closed already.
    DWORD Send(const void* pData, DWORD nLength, DWORD nChunk);
    // Sends a head and its data as one packet, in one call where the
    // socket takes it all; the data is not copied on the way.
    DWORD SendWithData(const void* pHead, DWORD nHead, const void* pData, DWORD nData);
    // Receives exactly nLength bytes, or fewer when the peer closes first:
    // that answers 0 and leaves the connection closed, the rest of the
    // buffer as it was. 10057 when the connection is closed already.
    DWORD Recv(void* pData, DWORD nLength);

    // The server's public key text from the last greeting.
    const char* GetPublicKey() const { return szPublicKey; }

private:
    DWORD Connect(const char* pszHost, WORD nPort, int nTimeout);
    DWORD Disconnect();
    DWORD InitPublicKey(char* pszInfo, int nInfoLength);

    intptr_t hSocket;  // -1 when not connected
    char szPublicKey[publicKeySize];
};
