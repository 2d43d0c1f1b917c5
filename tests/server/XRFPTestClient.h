// A raw client of the file server for what the library's client never sends:
// packets built with the wire module, sent over the platform's client sockets,
// replies read by size; and a sink that captures the server's log lines.
#pragma once

#include "remote/XRFTestServer.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <mutex>

namespace xrftest {

const DWORD kRead = 0x80000000u;
const DWORD kWrite = 0x40000000u;
enum : DWORD { kCreateNew = 1, kCreateAlways = 2, kOpenExisting = 3 };

class RawClient {
public:
    ~RawClient()
    {
        if (s != XSYS_INVALID_SOCKET)
            XfnSysSocketClose(s);
    }

    // Connects without reading anything; false on failure.
    bool ConnectOnly(uint16_t nPort)
    {
        uint32_t nError = 0;
        s = XfnSysSocketOpen(nError);
        if (s == XSYS_INVALID_SOCKET || XfnSysSocketConnect(s, "127.0.0.1", nPort) != 0)
            return false;
        XfnSysSocketSetTimeout(s, true, 10000);
        XfnSysSocketSetNoDelay(s, true);
        return true;
    }

    // Connects and reads the greeting; false on any failure.
    bool Connect(uint16_t nPort)
    {
        std::vector<BYTE> vecGreeting;
        return ConnectOnly(nPort) && Recv(XRF_GREETING_SIZE, vecGreeting) &&
               XfnRFParseGreeting(vecGreeting.data(), vecGreeting.size(), greeting) == XRF_WIRE_OK;
    }

    bool Send(const std::vector<BYTE>& vecData) { return SendAll(s, vecData); }
    bool Recv(size_t nSize, std::vector<BYTE>& vecData) { return RecvAll(s, nSize, vecData); }

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

    DWORD SendLogin(const std::vector<BYTE>& vecPacket)
    {
        tagXRFReply reply{0, 0, 0, ~0u};
        std::vector<BYTE> vecReply;
        if (Send(vecPacket) && Recv(XfnRFReplySize(XRF_CMD_LOGIN), vecReply))
            XfnRFParseReply(vecReply.data(), vecReply.size(), XRF_CMD_LOGIN, reply);
        return reply.nError;
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
inline std::mutex g_logLock;
inline std::vector<std::string> g_vecLogLines;

inline void CaptureLog(const std::string& strLine)
{
    std::lock_guard<std::mutex> guard(g_logLock);
    g_vecLogLines.push_back(strLine);
}

inline size_t CountLogLines(const std::string& strText)
{
    std::lock_guard<std::mutex> guard(g_logLock);
    return std::count_if(g_vecLogLines.begin(), g_vecLogLines.end(),
                         [&](const std::string& strLine) { return strLine.find(strText) != std::string::npos; });
}

// The built program, started by the shell in the background (after the
// shell words given, such as a ulimit) on a free port that it writes to a
// file; Stop sends SIGTERM and gives its exit status.
class ProgramRun {
public:
    ProgramRun(const std::string& strShell, const std::string& strArgs) : dir(ScratchDir("program"))
    {
        std::string strCommand = "(" + strShell + " '" XRFPD_PROGRAM "' --port 0 --port-file '" + File("port") +
                                 "' --key-bits 1024 --allow-root " + strArgs + " 2>'" + File("log") +
                                 "' & echo $! >'" + File("pid") + "'; wait $!; echo $? >'" + File("status") + "') &";
        EXPECT_EQ(std::system(strCommand.c_str()), 0);
        for (int i = 0; i < 200 && nPort == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            std::ifstream(File("port")) >> nPort;
        }
        EXPECT_GT(nPort, 0) << Log();
    }
    ~ProgramRun()
    {
        Stop();
        fs::remove_all(dir);
    }
    int Stop()
    {
        int nStatus = -1;
        std::system(("kill $(cat '" + File("pid") + "') 2>/dev/null").c_str());
        for (int i = 0; i < 200 && !(std::ifstream(File("status")) >> nStatus); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return nStatus;
    }
    uint16_t Port() const { return static_cast<uint16_t>(nPort); }
    std::string Log() const { return ReadBytes(dir / "log"); }

private:
    std::string File(const char* pszName) const { return (dir / pszName).string(); }
    fs::path dir;
    int nPort = 0;
};

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
