// Test support for the file server: a server started in this process on a
// free loopback port with a scratch root, and a raw client that speaks the
// wire module's packets over the platform's client sockets. Everything is
// removed and stopped when the objects go.
#pragma once

#include "XRFPServer.h"

#include "KVDbase/crypto/XRSA.h"
#include "KVDbase/remote/XRFWire.h"
#include "platform/XSysSocket.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

namespace xrfptest {

namespace fs = std::filesystem;

// Under the address sanitizer resident sizes grow with its quarantine and
// shadow, and its runtime needs descriptors of its own: tests of those skip.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

// In memory where the machine offers it: some tests make thousands of files.
inline fs::path ScratchDir(const std::string& strTag)
{
    static std::mt19937 rng(std::random_device{}());
    std::string strName = "kvd_xrfpd_" + strTag + "_" + std::to_string(rng());
    std::error_code ec;
    if (fs::create_directories(fs::path("/dev/shm") / strName, ec))
        return fs::path("/dev/shm") / strName;
    fs::path dir = fs::temp_directory_path() / strName;
    fs::create_directories(dir);
    return dir;
}

inline void WriteText(const fs::path& path, const std::string& strText)
{
    std::ofstream(path, std::ios::binary) << strText;
}

inline std::string ReadText(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// One key for every test server of the process, removed at exit: key
// generation is the slow part of a start.
inline const std::string& TestKeyFile()
{
    struct tagKeyDir {
        fs::path dir = ScratchDir("key");
        std::string strFile = (dir / "xrfpd.key").string();
        tagKeyDir()
        {
            XString strPrivate, strPublic;
            XfnGenerateRSAKey(1024, strPrivate, strPublic, "test server key");
            WriteText(strFile, std::string(strPrivate) + "\n");
            fs::permissions(strFile, fs::perms::owner_read | fs::perms::owner_write);
        }
        ~tagKeyDir()
        {
            std::error_code ec;
            fs::remove_all(dir, ec);
        }
    };
    static const tagKeyDir keyDir;
    return keyDir.strFile;
}

// A server with users alice and bob, each with a root of their own below
// one scratch directory.
class TestServer {
public:
    explicit TestServer(tagXRFPSettings settings = tagXRFPSettings())
    {
        dir = ScratchDir("srv");
        fs::create_directories(dir / "alice");
        fs::create_directories(dir / "bob");
        settings.strListen = "127.0.0.1";
        settings.nPort = 0;
        settings.strKeyFile = TestKeyFile();
        settings.nKeyBits = 1024;
        settings.vecUsers = {"alice:secret1:" + (dir / "alice").string(), "bob:secret2:" + (dir / "bob").string()};
        pServer = std::make_unique<XRFPServer>(settings);
        std::string strError;
        bStarted = pServer->Start(strError);
        EXPECT_TRUE(bStarted) << strError;
    }
    ~TestServer()
    {
        pServer.reset();
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    uint16_t Port() const { return pServer->Port(); }
    XRFPServer& Server() { return *pServer; }
    fs::path Root(const std::string& strUser) const { return dir / strUser; }
    fs::path Dir() const { return dir; }
    bool Started() const { return bStarted; }

private:
    fs::path dir;
    std::unique_ptr<XRFPServer> pServer;
    bool bStarted = false;
};

// A raw connection: packets built with the wire module, replies read by size.
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
        if (!ConnectOnly(nPort, nTimeoutMs))
            return false;
        std::vector<BYTE> vecGreeting;
        return Recv(XRF_GREETING_SIZE, vecGreeting) &&
               XfnRFParseGreeting(vecGreeting.data(), vecGreeting.size(), greeting) == XRF_WIRE_OK;
    }

    void Close()
    {
        if (s != XSYS_INVALID_SOCKET)
            XfnSysSocketClose(s);
        s = XSYS_INVALID_SOCKET;
    }

    bool Send(const std::vector<BYTE>& vecData)
    {
        size_t nDone = 0;
        while (nDone < vecData.size()) {
            uint32_t nError = 0;
            long n = XfnSysSocketSend(s, vecData.data() + nDone, vecData.size() - nDone, nError);
            if (n <= 0)
                return false;
            nDone += static_cast<size_t>(n);
        }
        return true;
    }

    bool Recv(size_t nSize, std::vector<BYTE>& vecData)
    {
        vecData.assign(nSize, 0);
        size_t nDone = 0;
        while (nDone < nSize) {
            uint32_t nError = 0;
            long n = XfnSysSocketRecv(s, vecData.data() + nDone, nSize - nDone, nError);
            if (n <= 0)
                return false;
            nDone += static_cast<size_t>(n);
        }
        return true;
    }

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

    DWORD SendLogin(const std::vector<BYTE>& vecPacket)
    {
        std::vector<BYTE> vecReply;
        tagXRFReply reply{};
        if (!Send(vecPacket) || !Recv(16, vecReply) ||
            XfnRFParseReply(vecReply.data(), vecReply.size(), XRF_CMD_LOGIN, reply) != XRF_WIRE_OK)
            return ~0u;
        return reply.nError;
    }

    // Sends a packet and reads the fixed reply of nCommand; empty on failure.
    std::vector<BYTE> Exchange(const std::vector<BYTE>& vecPacket, DWORD nCommand)
    {
        std::vector<BYTE> vecReply;
        if (!Send(vecPacket) || !Recv(XfnRFReplySize(nCommand), vecReply))
            vecReply.clear();
        return vecReply;
    }

    // The small replies: code, value words and error.
    tagXRFReply Small(const std::vector<BYTE>& vecPacket, DWORD nCommand)
    {
        tagXRFReply reply{~0u, 0, 0, ~0u};
        std::vector<BYTE> vecReply = Exchange(vecPacket, nCommand);
        EXPECT_EQ(XfnRFParseReply(vecReply.data(), vecReply.size(), nCommand, reply), XRF_WIRE_OK);
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

    // A find file list: the items' names (at offset 40) and bytes, and the
    // error word of the last head.
    std::vector<std::pair<std::string, std::vector<BYTE>>> List(const std::string& strPath, DWORD nFlag,
                                                                 DWORD& nError)
    {
        std::vector<BYTE> vecRequest;
        XfnRFBuildPathRequest(vecRequest, tagXRFPathRequest{XRF_CMD_FIND_FILE_LIST, strPath, nFlag});
        EXPECT_TRUE(Send(vecRequest));
        std::vector<std::pair<std::string, std::vector<BYTE>>> vecItems;
        nError = ~0u;
        for (;;) {
            std::vector<BYTE> vecHead, vecItem;
            tagXRFFileListHead head{};
            if (!Recv(XRF_FILE_LIST_HEAD_SIZE, vecHead) ||
                XfnRFParseFileListHead(vecHead.data(), vecHead.size(), head) != XRF_WIRE_OK) {
                ADD_FAILURE() << "bad list head";
                break;
            }
            nError = head.nError;
            if (head.nItemSize == 0 || head.nError)
                break;
            EXPECT_EQ(head.nItemSize, XRF_FILE_INFO_ITEM_SIZE);
            Recv(head.nItemSize, vecItem);
            vecItems.emplace_back(reinterpret_cast<const char*>(vecItem.data() + 40), vecItem);
        }
        return vecItems;
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
inline std::unique_ptr<RawClient> LoggedIn(TestServer& server, const std::string& strUser,
                                           const std::string& strPassword)
{
    auto pClient = std::make_unique<RawClient>();
    EXPECT_TRUE(pClient->Connect(server.Port()));
    EXPECT_EQ(pClient->Login(strUser, strPassword), 0u);
    return pClient;
}

} // namespace xrfptest
