// Test support for the remote file client: the project's server started in
// this process on a free loopback port, with a scratch directory for the
// users alice and bob and one key shared by every server of the process; a
// scope that opens and closes the connection pool; and a scripted fake
// server for what the real one never does. Everything is stopped and removed
// when the objects go, on failure too.
#pragma once

// The server's sources come with the xrfpd_core library; a test program
// built without it has only the check in XRFTestSetup_test.cpp.
#if __has_include("XRFPServer.h")
#define XRF_TEST_WITH_SERVER 1
#else
#define XRF_TEST_WITH_SERVER 0
#endif

#if XRF_TEST_WITH_SERVER
#include "XRFPServer.h"

#include "KVDbase/crypto/XRSA.h"
#include "KVDbase/files/XFile.h"
#include "KVDbase/remote/XRFConnection.h"
#include "KVDbase/remote/XRFWire.h"
#include "platform/XSysSocket.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace xrftest {

namespace fs = std::filesystem;

inline fs::path ScratchDir(const std::string& strTag)
{
    static std::mt19937 rng(std::random_device{}());
    fs::path dir = fs::temp_directory_path() / ("kvd_remote_" + strTag + "_" + std::to_string(rng()));
    fs::create_directories(dir);
    return dir;
}

inline void WriteBytes(const fs::path& path, const std::string& strBytes)
{
    std::ofstream(path, std::ios::binary) << strBytes;
}

inline std::string ReadBytes(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Making a key is the slow part of a start: one small key serves all.
inline const std::string& KeyFile()
{
    struct tagKeyDir {
        fs::path dir = ScratchDir("key");
        std::string strFile = (dir / "xrfpd.key").string();
        tagKeyDir()
        {
            XString strPrivate, strPublic;
            XfnGenerateRSAKey(1024, strPrivate, strPublic, "remote client tests");
            std::ofstream(strFile) << static_cast<const char*>(strPrivate) << "\n";
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

// The server with users alice (secret1) and bob (secret2). Stop and Start
// keep the port and the roots, as a restarted server would.
class TestServer {
public:
    explicit TestServer(int nIdleSeconds = 30) : dir(ScratchDir("srv"))
    {
        fs::create_directories(dir / "alice");
        fs::create_directories(dir / "bob");
        settings.strListen = "127.0.0.1";
        settings.nPort = 0;
        settings.strKeyFile = KeyFile();
        settings.nIdleSeconds = nIdleSeconds;
        settings.vecUsers = {"alice:secret1:" + (dir / "alice").string(), "bob:secret2:" + (dir / "bob").string()};
        Start();
    }
    ~TestServer()
    {
        pServer.reset();
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    void Start()
    {
        pServer = std::make_unique<XRFPServer>(settings);
        std::string strError;
        bool bStarted = pServer->Start(strError);
        EXPECT_TRUE(bStarted) << strError;
        if (bStarted)
            settings.nPort = pServer->Port();
    }
    void Stop() { pServer->Stop(); }
    uint16_t Port() const { return static_cast<uint16_t>(settings.nPort); }
    XRFPServer& Server() { return *pServer; }
    fs::path Root(const std::string& strUser = "alice") const { return dir / strUser; }

    // The remote path of a server path for alice, or for another login.
    std::string Path(const std::string& strServerPath, const std::string& strLogin = "alice:secret1") const
    {
        return "xrfp:\\\\" + strLogin + "@127.0.0.1:" + std::to_string(Port()) + "\\" + strServerPath;
    }
    XRFConnectionOpenParam Param(const char* pszUser = "alice", const char* pszPassword = "secret1") const
    {
        XRFConnectionOpenParam param;
        param.strHost = "127.0.0.1";
        param.nPort = Port();
        param.strUser = pszUser;
        param.strPassword = pszPassword;
        return param;
    }

private:
    fs::path dir;
    tagXRFPSettings settings;
    std::unique_ptr<XRFPServer> pServer;
};

// The process's connection pool, open for the scope.
struct PoolScope {
    PoolScope() { XFile::XRFInit(); }
    ~PoolScope() { XFile::XRFClean(); }
    PoolScope(const PoolScope&) = delete;
    PoolScope& operator=(const PoolScope&) = delete;
};

// A server that accepts one connection and runs a script on it.
class FakeServer {
public:
    explicit FakeServer(std::function<void(XSysSocket)> script)
    {
        uint32_t nError = 0;
        nPort = 0;
        sListen = XfnSysSocketListen("127.0.0.1", nPort, nError);
        EXPECT_NE(sListen, XSYS_INVALID_SOCKET) << nError;
        thread = std::thread([this, script] {
            uint32_t nAcceptError = 0;
            XSysSocket s = XfnSysSocketAccept(sListen, nAcceptError);
            if (s == XSYS_INVALID_SOCKET)
                return;
            XfnSysSocketSetTimeout(s, true, 5000);
            script(s);
            XfnSysSocketClose(s);
        });
    }
    ~FakeServer()
    {
        // A client that never came would leave the accept waiting: come
        // once ourselves (a later connection is simply never accepted).
        uint32_t nError = 0;
        XSysSocket s = XfnSysSocketOpen(nError);
        if (s != XSYS_INVALID_SOCKET) {
            XfnSysSocketConnect(s, "127.0.0.1", nPort);
            XfnSysSocketClose(s);
        }
        thread.join();
        XfnSysSocketClose(sListen);
    }
    uint16_t Port() const { return nPort; }

    static bool SendAll(XSysSocket s, const std::vector<BYTE>& vecData)
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
    static bool RecvAll(XSysSocket s, size_t nSize, std::vector<BYTE>& vecData)
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
    // A greeting of the given version and key, then, when bLogin, a login
    // read and answered with nLoginError.
    static void Greet(XSysSocket s, const char* pszVersion, const std::string& strKey, bool bLogin = false,
                      DWORD nLoginError = 0)
    {
        std::vector<BYTE> vecGreeting(XRF_GREETING_SIZE, 0);
        std::memcpy(vecGreeting.data(), pszVersion, 4);
        DWORD nLength = static_cast<DWORD>(strKey.size());
        for (int i = 0; i < 4; ++i)
            vecGreeting[4 + i] = static_cast<BYTE>(nLength >> (8 * i));
        std::memcpy(vecGreeting.data() + 8, strKey.data(), strKey.size() < 1452 ? strKey.size() : 1452);
        SendAll(s, vecGreeting);
        if (!bLogin)
            return;
        std::vector<BYTE> vecLogin, vecReply;
        if (!RecvAll(s, 8200, vecLogin))
            return;
        XfnRFBuildReply(vecReply, XRF_CMD_LOGIN, tagXRFReply{40, 0, 0, nLoginError});
        SendAll(s, vecReply);
    }
    // The public key of the shared test key, as a server greets with it.
    static std::string PublicKey()
    {
        static const std::string strKey = [] {
            XString strPrivate, strPublic;
            XfnGenerateRSAKey(1024, strPrivate, strPublic, "fake server");
            return std::string(static_cast<const char*>(strPublic));
        }();
        return strKey;
    }

private:
    XSysSocket sListen;
    uint16_t nPort;
    std::thread thread;
};

} // namespace xrftest

#endif // XRF_TEST_WITH_SERVER
