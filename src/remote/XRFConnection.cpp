// XRFConnection.cpp: connect, greeting and login of one remote file
// connection, and the exact-count transfers that every request rides on.
// A failed transfer always leaves the connection closed, so that the pool
// deletes it when it comes back.

#include "KVDbase/remote/XRFConnection.h"

#include "KVDbase/crypto/XRSA.h"
#include "KVDbase/remote/XRFWire.h"
#include "platform/XSysSocket.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <vector>

namespace {

const DWORD kChunk = 131072;
// How long a receive watches for a reply before it sleeps.
const int kReplySpinMicroseconds = 100;

DWORD LittleEndian32(const BYTE* p)
{
    return static_cast<DWORD>(p[0]) | static_cast<DWORD>(p[1]) << 8 | static_cast<DWORD>(p[2]) << 16 |
           static_cast<DWORD>(p[3]) << 24;
}

// Appends "%x|" for each byte of pData up to nLength or its first NUL. Bytes
// are taken as signed characters, so 0x80 and above print with leading
// ffffff, as the text has always looked.
void AppendInfo(XString& strInfo, const char* pData, size_t nLength)
{
    for (size_t i = 0; i < nLength && pData[i] != 0; ++i) {
        char szByte[16];
        std::snprintf(szByte, sizeof szByte, "%x|", static_cast<unsigned int>(static_cast<int>(pData[i])));
        strInfo += szByte;
    }
}

// Copies at most nInfoLength - 1 characters and adds no terminator: the
// caller cleared the buffer.
void CopyInfo(const XString& strInfo, char* pszInfo, int nInfoLength)
{
    if (pszInfo == nullptr || nInfoLength <= 0)
        return;
    size_t nCopy = static_cast<size_t>(strInfo.GetLength());
    if (nCopy > static_cast<size_t>(nInfoLength - 1))
        nCopy = static_cast<size_t>(nInfoLength - 1);
    std::strncpy(pszInfo, strInfo, nCopy);
}

} // namespace

void XRFConnectionOpenParam::Reset()
{
    strHost.Empty();
    nPort = defaultPort;
    strUser.Empty();
    strPassword.Empty();
    nTimeout = defaultTimeout;
}

XRFConnection::XRFConnection() : hSocket(-1)
{
    std::memset(szPublicKey, 0, sizeof szPublicKey);
}

XRFConnection::XRFConnection(const XRFConnection& src) : hSocket(-1)
{
    std::memcpy(szPublicKey, src.szPublicKey, sizeof szPublicKey);
    if (src.hSocket != -1) {
        uint32_t nError = 0;
        hSocket = XfnSysSocketDuplicate(src.hSocket, nError);
    }
}

XRFConnection& XRFConnection::operator=(const XRFConnection& src)
{
    if (this == &src)
        return *this;
    // The old descriptor is only closed, not shut down: another copy may
    // still be using its connection.
    if (hSocket != -1)
        XfnSysSocketClose(hSocket);
    hSocket = -1;
    if (src.hSocket != -1) {
        uint32_t nError = 0;
        hSocket = XfnSysSocketDuplicate(src.hSocket, nError);
    }
    std::memcpy(szPublicKey, src.szPublicKey, sizeof szPublicKey);
    return *this;
}

XRFConnection::~XRFConnection()
{
    CloseConnection();
}

void XRFConnection::CloseConnection()
{
    Disconnect();
}

DWORD XRFConnection::Connect(const char* pszHost, WORD nPort, int nTimeout)
{
    uint32_t nError = 0;
    XSysSocket s = XfnSysSocketOpen(nError);
    if (s == XSYS_INVALID_SOCKET)
        return nError;
    // connect blocks with the system's own limit: the timeouts below apply
    // to the transfers only.
    nError = XfnSysSocketConnect(s, pszHost, nPort);
    if (nError == 0 && nTimeout != XRFConnectionOpenParam::noTimeout) {
        nError = XfnSysSocketSetTimeout(s, true, nTimeout);
        if (nError == 0)
            nError = XfnSysSocketSetTimeout(s, false, nTimeout);
        // Requests are small and answered one at a time: no Nagle delay.
        if (nError == 0)
            XfnSysSocketSetNoDelay(s, true);
    }
    if (nError != 0) {
        XfnSysSocketClose(s);
        return nError;
    }
    hSocket = s;
    return 0;
}

DWORD XRFConnection::Disconnect()
{
    if (hSocket == -1)
        return 0;
    // Shut down first, so that a copy holding another descriptor on the
    // connection sees it end as well.
    XfnSysSocketShutdown(hSocket);
    DWORD nError = XfnSysSocketClose(hSocket);
    hSocket = -1;
    return nError;
}

DWORD XRFConnection::Recv(void* pData, DWORD nLength)
{
    if (nLength == 0)
        return 0;
    if (hSocket == -1)
        return 10057;
    BYTE* p = static_cast<BYTE*>(pData);
    bool bFirst = true;
    while (nLength > 0) {
        uint32_t nError = 0;
        // A reply usually comes within the time a sleep and a wake-up would
        // take: the first receive watches for it that long first.
        long n = bFirst ? XfnSysSocketRecvSpin(hSocket, p, nLength, nError, kReplySpinMicroseconds)
                        : XfnSysSocketRecv(hSocket, p, nLength, nError);
        bFirst = false;
        if (n == 0) {
            // The peer closed: the caller finds out from IsConnected.
            Disconnect();
            return 0;
        }
        if (n < 0) {
            Disconnect();
            return nError;
        }
        p += n;
        nLength -= static_cast<DWORD>(n);
    }
    return 0;
}

DWORD XRFConnection::Send(const void* pData, DWORD nLength, DWORD nChunk)
{
    if (nLength == 0)
        return 0;
    if (hSocket == -1)
        return 10057;
    if (nChunk == 0)
        nChunk = nLength;
    const BYTE* p = static_cast<const BYTE*>(pData);
    while (nLength > 0) {
        uint32_t nError = 0;
        long n = XfnSysSocketSend(hSocket, p, nLength < nChunk ? nLength : nChunk, nError);
        if (n == 0) {
            Disconnect();
            return 0;
        }
        if (n < 0) {
            Disconnect();
            return nError;
        }
        p += n;
        nLength -= static_cast<DWORD>(n);
    }
    return 0;
}

DWORD XRFConnection::SendWithData(const void* pHead, DWORD nHead, const void* pData, DWORD nData)
{
    if (hSocket == -1)
        return 10057;
    const BYTE* pFirst = static_cast<const BYTE*>(pHead);
    const BYTE* pSecond = static_cast<const BYTE*>(pData);
    while (nHead + nData > 0) {
        uint32_t nError = 0;
        long n = XfnSysSocketSendPair(hSocket, pFirst, nHead, pSecond, nData, nError);
        if (n <= 0) {
            Disconnect();
            return n == 0 ? 0 : nError;
        }
        DWORD nSent = static_cast<DWORD>(n);
        DWORD nFromHead = nSent < nHead ? nSent : nHead;
        pFirst += nFromHead;
        nHead -= nFromHead;
        pSecond += nSent - nFromHead;
        nData -= nSent - nFromHead;
    }
    return 0;
}

DWORD XRFConnection::InitPublicKey(char* pszInfo, int nInfoLength)
{
    const bool bInfo = pszInfo != nullptr && nInfoLength > 0;
    char szVersion[5] = {0};
    DWORD nError = Recv(szVersion, 4);
    if (nError != 0)
        return nError;
    XString strInfo;
    if (bInfo)
        AppendInfo(strInfo, szVersion, 4);
    if (std::strcmp(szVersion, XRF_VERSION) != 0) {
        CopyInfo(strInfo, pszInfo, nInfoLength);
        return XRF_ERROR_VERSION_MISMATCH;
    }

    BYTE abLength[4] = {0};
    nError = Recv(abLength, 4);
    if (nError != 0)
        return nError;
    DWORD nKeyLength = LittleEndian32(abLength);
    if (nKeyLength > XRF_MAX_KEY_LENGTH)
        return XRF_ERROR_INVALID_PUBLIC_KEY;

    std::memset(szPublicKey, 0, sizeof szPublicKey);
    nError = Recv(szPublicKey, nKeyLength);
    if (bInfo)
        AppendInfo(strInfo, szPublicKey, nKeyLength);
    CopyInfo(strInfo, pszInfo, nInfoLength);
    if (nError != 0) {
        std::memset(szPublicKey, 0, sizeof szPublicKey);
        return nError;
    }

    BYTE abFiller[XRF_GREETING_SIZE];
    nError = Recv(abFiller, XRF_GREETING_SIZE - 8 - nKeyLength);
    if (nError != 0) {
        std::memset(szPublicKey, 0, sizeof szPublicKey);
        return nError;
    }
    return 0;
}

DWORD XRFConnection::OpenConnection(XRFConnectionOpenParam param, char* pszInfo, int nInfoLength)
{
    DWORD nError = Connect(param.strHost, param.nPort, param.nTimeout);
    if (nError != 0)
        return nError;
    nError = InitPublicKey(pszInfo, nInfoLength);
    if (nError != 0) {
        Disconnect();
        return nError;
    }
    // An empty key fails while the socket stays open, as it always has; the
    // pool deletes the object, which closes it.
    if (szPublicKey[0] == 0)
        return XRF_ERROR_INVALID_PUBLIC_KEY;

    tagXRFLoginRequest login;
    try {
        XString strKey(szPublicKey);
        XString strPassword = XfnRSAEncryptStringByKey(strKey, param.strPassword);
        XString strUser = XfnRSAEncryptStringByKey(strKey, param.strUser);
        login.strUser.assign(strUser, static_cast<size_t>(strUser.GetLength()));
        login.strPassword.assign(strPassword, static_cast<size_t>(strPassword.GetLength()));
    } catch (const std::exception&) {
        // A key text that is no RSA public key.
        Disconnect();
        return XRF_ERROR_INVALID_PUBLIC_KEY;
    }
    std::vector<BYTE> vecPacket;
    XRFWireStatus status = XfnRFBuildLoginRequest(vecPacket, login);
    if (status != XRF_WIRE_OK) {
        Disconnect();
        return XfnRFWireError(status);
    }
    nError = Send(vecPacket.data(), static_cast<DWORD>(vecPacket.size()), kChunk);
    if (nError != 0) {
        Disconnect();
        return nError;
    }
    BYTE abReply[16] = {0};
    // A server that closes inside the reply leaves zeros, which read as a
    // login; the connection is closed all the same, so the first request on
    // it fails with 10057 and the pool deletes it.
    nError = Recv(abReply, sizeof abReply);
    if (nError != 0) {
        Disconnect();
        return nError;
    }
    // The reply's code is not looked at, only its error word.
    tagXRFReply reply{};
    XfnRFParseReply(abReply, sizeof abReply, XRF_CMD_LOGIN, reply);
    if (reply.nError != 0) {
        Disconnect();
        return reply.nError;
    }
    return 0;
}
