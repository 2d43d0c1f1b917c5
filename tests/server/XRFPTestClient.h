// A raw client of the file server for its tests: packets built with the wire
// module, sent over the platform's client sockets, replies read by size;
// and a sink that captures the server's log lines.
#pragma once

#include "remote/XRFTestServer.h"

#include <mutex>

namespace xrftest {

const DWORD kRead = 0x80000000u;
const DWORD kWrite = 0x40000000u;
enum : DWORD { kCreateNew = 1, kCreateAlways = 2, kOpenExisting = 3, kOpenAlways = 4, kTruncateExisting = 5 };

class RawClient {
public:
    ~RawClient() { Close(); }

    // Connects without reading anything; false on failure.
    bool ConnectOnly(uint16_t nPort, int nTimeoutMs = 10000)
    {
        uint32_t nError = 0;
        s = XfnSysSocketOpen(nError);
        if (s == XSYS_INVALID_SOCKET || XfnSysSocketConnect(s, "127.0.0.1", nPort) != 0)
            return false;
        XfnSysSocketSetTimeout(s, true, nTimeoutMs);
        XfnSysSocketSetNoDelay(s, true);
        return true;
    }

    // Connects and reads the greeting; false on any failure.
    bool Connect(uint16_t nPort, int nTimeoutMs = 10000)
    {
        std::vector<BYTE> vecGreeting;
        return ConnectOnly(nPort, nTimeoutMs) && Recv(XRF_GREETING_SIZE, vecGreeting) &&
               XfnRFParseGreeting(vecGreeting.data(), vecGreeting.size(), greeting) == XRF_WIRE_OK;
    }

    void Close()
    {
        if (s != XSYS_INVALID_SOCKET)
            XfnSysSocketClose(s);
        s = XSYS_INVALID_SOCKET;
    }

    bool Send(const std::vector<BYTE>& vecData) { return SendAll(s, vecData); }
    bool Recv(size_t nSize, std::vector<BYTE>& vecData) { return RecvAll(s, nSize, vecData); }

    // One receive into vecData: its size, 0 at the end, -1 on a failure.
    long RecvSome(std::vector<BYTE>& vecData, size_t nMax)
    {
        vecData.resize(nMax);
        uint32_t nError = 0;
        long n = XfnSysSocketRecv(s, vecData.data(), nMax, nError);
        vecData.resize(n > 0 ? static_cast<size_t>(n) : 0);
        return n;
    }

    // True when the server has closed the connection: the next receive sees
    // the end of the stream (or a reset, when the server left bytes unread)
    // rather than data or a timeout.
    bool ClosedByServer()
    {
        BYTE b = 0;
        uint32_t nError = 0;
        long n = XfnSysSocketRecv(s, &b, 1, nError);
        return n == 0 || (n < 0 && nError == 10054);
    }

    // A login packet for the key of this connection's greeting.
    std::vector<BYTE> LoginPacket(const std::string& strUser, const std::string& strPassword)
    {
        XString strKey(greeting.strPublicKey.c_str());
        tagXRFLoginRequest req{std::string(XfnRSAEncryptStringByKey(strKey, strUser.c_str())),
                               std::string(XfnRSAEncryptStringByKey(strKey, strPassword.c_str()))};
        std::vector<BYTE> vecPacket;
        XfnRFBuildLoginRequest(vecPacket, req);
        return vecPacket;
    }

    // The login reply's error word, or ~0 when no reply came.
    DWORD Login(const std::string& strUser, const std::string& strPassword)
    {
        return SendLogin(LoginPacket(strUser, strPassword));
    }

    DWORD SendLogin(const std::vector<BYTE>& vecPacket) { return Small(vecPacket, XRF_CMD_LOGIN, false).nError; }

    // Sends a packet and reads the fixed reply of nCommand; empty on failure.
    std::vector<BYTE> Exchange(const std::vector<BYTE>& vecPacket, DWORD nCommand)
    {
        std::vector<BYTE> vecReply;
        if (!Send(vecPacket) || !Recv(XfnRFReplySize(nCommand), vecReply))
            vecReply.clear();
        return vecReply;
    }

    // The small replies: code, value words and error (~0 when none came).
    tagXRFReply Small(const std::vector<BYTE>& vecPacket, DWORD nCommand, bool bExpectReply = true)
    {
        tagXRFReply reply{~0u, 0, 0, ~0u};
        std::vector<BYTE> vecReply = Exchange(vecPacket, nCommand);
        XRFWireStatus status = XfnRFParseReply(vecReply.data(), vecReply.size(), nCommand, reply);
        EXPECT_TRUE(status == XRF_WIRE_OK || !bExpectReply) << status;
        return reply;
    }

    tagXRFCreateFileReply Create(const std::string& strPath, DWORD nAccess, DWORD nDisposition, DWORD nShare = 3)
    {
        std::vector<BYTE> vecPacket;
        XfnRFBuildCreateFileRequest(vecPacket, tagXRFCreateFileRequest{strPath, nAccess, nShare, nDisposition, 0});
        std::vector<BYTE> vecReply = Exchange(vecPacket, XRF_CMD_CREATE_FILE);
        tagXRFCreateFileReply reply{~0u, ~0u, ~0u, -1};
        EXPECT_EQ(XfnRFParseCreateFileReply(vecReply.data(), vecReply.size(), reply), XRF_WIRE_OK);
        return reply;
    }

    tagXRFReply Handle(DWORD nCommand, DWORD hFile)
    {
        std::vector<BYTE> vecPacket;
        XfnRFBuildHandleRequest(vecPacket, tagXRFHandleRequest{nCommand, hFile});
        return Small(vecPacket, nCommand);
    }

    tagXRFReply Path(DWORD nCommand, const std::string& strPath, DWORD nArgument = 0)
    {
        std::vector<BYTE> vecPacket;
        XfnRFBuildPathRequest(vecPacket, tagXRFPathRequest{nCommand, strPath, nArgument});
        return Small(vecPacket, nCommand);
    }

    DWORD Move(const std::string& strOld, const std::string& strNew)
    {
        std::vector<BYTE> vecPacket;
        XfnRFBuildMoveFileRequest(vecPacket, tagXRFMoveFileRequest{strOld, strNew});
        return Small(vecPacket, XRF_CMD_MOVE_FILE).nError;
    }

    tagXRFFindReply FindFirst(const std::string& strPath)
    {
        std::vector<BYTE> vecPacket;
        XfnRFBuildPathRequest(vecPacket, tagXRFPathRequest{XRF_CMD_FIND_FIRST_FILE, strPath, 0});
        std::vector<BYTE> vecReply = Exchange(vecPacket, XRF_CMD_FIND_FIRST_FILE);
        tagXRFFindReply reply{};
        EXPECT_EQ(XfnRFParseFindFirstReply(vecReply.data(), vecReply.size(), reply), XRF_WIRE_OK);
        return reply;
    }

    // A whole write: announcement and data packet, then the reply.
    tagXRFWriteReply Write(DWORD hFile, int64_t nPosition, const std::string& strData)
    {
        std::vector<BYTE> vecPacket;
        XfnRFBuildTransferRequest(vecPacket, XRF_CMD_WRITE_ANNOUNCE,
                                  tagXRFTransferRequest{nPosition, hFile, static_cast<DWORD>(strData.size())});
        XfnRFBuildWriteDataRequest(vecPacket, tagXRFWriteDataRequest{
                                                  hFile, reinterpret_cast<const BYTE*>(strData.data()),
                                                  static_cast<DWORD>(strData.size())});
        std::vector<BYTE> vecReply = Exchange(vecPacket, XRF_CMD_WRITE_DATA);
        tagXRFWriteReply reply{~0u, -1, 0, ~0u};
        EXPECT_EQ(XfnRFParseWriteReply(vecReply.data(), vecReply.size(), reply), XRF_WIRE_OK);
        return reply;
    }

    // A find file list: the items' names (at offset 40), and the error word
    // of the last head.
    std::vector<std::string> List(const std::string& strPath, DWORD nFlag, DWORD& nError)
    {
        std::vector<BYTE> vecRequest, vecHead, vecItem;
        XfnRFBuildPathRequest(vecRequest, tagXRFPathRequest{XRF_CMD_FIND_FILE_LIST, strPath, nFlag});
        EXPECT_TRUE(Send(vecRequest));
        std::vector<std::string> vecNames;
        tagXRFFileListHead head{};
        nError = ~0u;
        while (Recv(XRF_FILE_LIST_HEAD_SIZE, vecHead) &&
               XfnRFParseFileListHead(vecHead.data(), vecHead.size(), head) == XRF_WIRE_OK) {
            nError = head.nError;
            if (head.nItemSize == 0 || head.nError || !Recv(head.nItemSize, vecItem))
                return vecNames;
            EXPECT_EQ(head.nItemSize, XRF_FILE_INFO_ITEM_SIZE);
            vecNames.emplace_back(reinterpret_cast<const char*>(vecItem.data() + 40));
        }
        ADD_FAILURE() << "bad list head";
        return vecNames;
    }

    // A read: the error word, and the data in strData.
    DWORD Read(DWORD hFile, int64_t nPosition, DWORD nCount, std::string& strData)
    {
        std::vector<BYTE> vecPacket, vecHead, vecData;
        XfnRFBuildTransferRequest(vecPacket, XRF_CMD_READ_FILE, tagXRFTransferRequest{nPosition, hFile, nCount});
        tagXRFReply reply{};
        if (!Send(vecPacket) || !Recv(16, vecHead) ||
            XfnRFParseReadReply(vecHead.data(), vecHead.size(), nCount, reply) != XRF_WIRE_OK ||
            !Recv(reply.nValue, vecData))
            return ~0u;
        strData.assign(vecData.begin(), vecData.end());
        return reply.nError;
    }

    tagXRFGreeting greeting{};

private:
    XSysSocket s = XSYS_INVALID_SOCKET;
};

// Log lines captured while a test runs (XfnRFPSetLogSink(&CaptureLog)).
struct tagCapturedLog {
    std::mutex lock;
    std::vector<std::string> vecLines;
};

inline tagCapturedLog& CapturedLog()
{
    static tagCapturedLog log;
    return log;
}

inline void CaptureLog(const std::string& strLine)
{
    std::lock_guard<std::mutex> guard(CapturedLog().lock);
    CapturedLog().vecLines.push_back(strLine);
}

inline size_t CountLogLines(const std::string& strText)
{
    std::lock_guard<std::mutex> guard(CapturedLog().lock);
    size_t n = 0;
    for (const std::string& strLine : CapturedLog().vecLines)
        n += strLine.find(strText) != std::string::npos;
    return n;
}

// A client of a test server, logged in as the user given.
inline std::unique_ptr<RawClient> LoggedIn(TestServer& server, const std::string& strUser = "alice",
                                           const std::string& strPassword = "secret1")
{
    auto pClient = std::make_unique<RawClient>();
    EXPECT_TRUE(pClient->Connect(server.Port()));
    EXPECT_EQ(pClient->Login(strUser, strPassword), 0u);
    return pClient;
}

} // namespace xrftest
