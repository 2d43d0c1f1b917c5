// Test support shared by the server's and the remote client's tests: the
// project's server started in this process on a free loopback port, with
// users alice (secret1) and bob (secret2) in a scratch directory and one key
// for every server of the process; a scope that opens the connection pool;
// and a scripted fake server for what the real one never does. Everything is
// stopped and removed when the objects go, on failure too.
#pragma once

#include "XRFPServer.h"

#include "KVDbase/crypto/XRSA.h"
#include "KVDbase/files/XFile.h"
#include "KVDbase/remote/XRFConnection.h"
#include "KVDbase/remote/XRFFile.h"
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
    std::string strName = "kvd_xrf_" + strTag + "_" + std::to_string(rng());
    std::error_code ec;
    if (fs::create_directories(fs::path("/dev/shm") / strName, ec))
        return fs::path("/dev/shm") / strName;
    fs::create_directories(fs::temp_directory_path() / strName);
    return fs::temp_directory_path() / strName;
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
            XfnGenerateRSAKey(1024, strPrivate, strPublic, "test server key");
            WriteBytes(strFile, std::string(strPrivate) + "\n");
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

// Whole sends and receives on a socket; false when the stream fails or ends.
inline bool SendAll(XSysSocket s, const std::vector<BYTE>& vecData)
{
    for (size_t nDone = 0; nDone < vecData.size();) {
        uint32_t nError = 0;
        long n = XfnSysSocketSend(s, vecData.data() + nDone, vecData.size() - nDone, nError);
        if (n <= 0)
            return false;
        nDone += static_cast<size_t>(n);
    }
    return true;
}

inline bool RecvAll(XSysSocket s, size_t nSize, std::vector<BYTE>& vecData)
{
    vecData.assign(nSize, 0);
    for (size_t nDone = 0; nDone < nSize;) {
        uint32_t nError = 0;
        long n = XfnSysSocketRecv(s, vecData.data() + nDone, nSize - nDone, nError);
        if (n <= 0)
            return false;
        nDone += static_cast<size_t>(n);
    }
    return true;
}

// The login of a client on the loopback port given.
inline XRFConnectionOpenParam LocalParam(uint16_t nPort, const char* pszUser = "alice",
                                         const char* pszPassword = "secret1")
{
    XRFConnectionOpenParam param;
    param.strHost = "127.0.0.1";
    param.nPort = nPort;
    param.strUser = pszUser;
    param.strPassword = pszPassword;
    return param;
}

// The server with users alice and bob, each with a root of their own. Stop
// and Start keep the port and the roots, as a restarted server would.
class TestServer {
public:
    explicit TestServer(tagXRFPSettings settingsIn = tagXRFPSettings()) : dir(ScratchDir("srv")), settings(settingsIn)
    {
        fs::create_directories(dir / "alice");
        fs::create_directories(dir / "bob");
        settings.strListen = "127.0.0.1";
        settings.nPort = 0;
        settings.strKeyFile = KeyFile();
        settings.nKeyBits = 1024;
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
    fs::path Dir() const { return dir; }
    fs::path Root(const std::string& strUser = "alice") const { return dir / strUser; }

    // The remote path of a server path for alice, or for another login.
    std::string Path(const std::string& strServerPath, const std::string& strLogin = "alice:secret1") const
    {
        return "xrfp:\\\\" + strLogin + "@127.0.0.1:" + std::to_string(Port()) + "\\" + strServerPath;
    }
    XRFConnectionOpenParam Param(const char* pszUser = "alice", const char* pszPassword = "secret1") const
    {
        return LocalParam(Port(), pszUser, pszPassword);
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

// The server's commands sent through the library's remote operations, for a
// login given by param: each gives the error word and keeps it in error.
struct RemoteOps {
    explicit RemoteOps(const XRFConnectionOpenParam& paramIn = XRFConnectionOpenParam()) : param(paramIn) {}
    XRFConnectionOpenParam param;
    XString key;
    DWORD error = 0xDEAD;

    DWORD Create(const std::string& strPath, DWORD nDisposition, DWORD nAccess = 0xC0000000u, int64_t* pSize = nullptr,
                 DWORD nShare = 3)
    {
        LARGE_INTEGER size;
        size.QuadPart = -7;
        DWORD h = XRFCreateFile(param, strPath.c_str(), nAccess, nShare, nullptr, nDisposition, 0x80, nullptr, size,
                                error, key);
        if (pSize)
            *pSize = size.QuadPart;
        return h;
    }
    DWORD Write(DWORD h, int64_t nPosition, const std::string& strData, int64_t* pLength = nullptr)
    {
        LARGE_INTEGER length;
        XRFWriteFile(param, h, strData.data(), static_cast<DWORD>(strData.size()), nullptr, nullptr, nPosition,
                     length, error, key);
        if (pLength)
            *pLength = length.QuadPart;
        return error;
    }
    DWORD Read(DWORD h, int64_t nPosition, DWORD nCount, std::string& strData)
    {
        strData.assign(nCount, '\0');
        DWORD nRead = 0;
        XRFReadFile(param, h, strData.data(), nCount, &nRead, nullptr, nPosition, error, key);
        strData.resize(error ? 0 : nRead);
        return error;
    }
    // The error word of a path command, sent through its remote operation.
    DWORD Path(DWORD nCommand, const std::string& strPath, DWORD nArgument = 0)
    {
        const char* pszPath = strPath.c_str();
        error = 0xDEAD;
        switch (nCommand) {
        case XRF_CMD_SET_FILE_ATTRIBUTES: XRFSetFileAttributes(param, pszPath, nArgument, error, key); break;
        case XRF_CMD_DELETE_FILE: XRFDeleteFile(param, pszPath, error, key); break;
        case XRF_CMD_CREATE_DIRECTORY: XRFCreateDirectory(param, pszPath, nullptr, error, key); break;
        case XRF_CMD_REMOVE_DIRECTORY: XRFRemoveDirectory(param, pszPath, int(nArgument), error, key); break;
        default: XRFGetFileAttributes(param, pszPath, error, key);
        }
        return error;
    }
    DWORD Move(const std::string& strOld, const std::string& strNew)
    {
        XRFMoveFile(param, strOld.c_str(), strNew.c_str(), error, key);
        return error;
    }
    DWORD Close(DWORD h)
    {
        XRFCloseHandle(param, h, error, key);
        return error;
    }
};

// A server that accepts one connection and runs a script on it.
class FakeServer {
public:
    explicit FakeServer(std::function<void(XSysSocket)> script)
    {
        uint32_t nError = 0;
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
    XRFConnectionOpenParam Param() const { return LocalParam(nPort); }

    // A greeting of the given version and key, then, when bLogin, a login
    // read and accepted.
    static void Greet(XSysSocket s, const char* pszVersion, const std::string& strKey, bool bLogin)
    {
        std::vector<BYTE> vecGreeting(XRF_GREETING_SIZE, 0);
        std::memcpy(vecGreeting.data(), pszVersion, 4);
        DWORD nLength = static_cast<DWORD>(strKey.size());
        for (int i = 0; i < 4; ++i)
            vecGreeting[4 + i] = static_cast<BYTE>(nLength >> (8 * i));
        std::memcpy(vecGreeting.data() + 8, strKey.data(), strKey.size() < 1452 ? strKey.size() : 1452);
        SendAll(s, vecGreeting);
        std::vector<BYTE> vecLogin, vecReply;
        if (!bLogin || !RecvAll(s, 8200, vecLogin))
            return;
        XfnRFBuildReply(vecReply, XRF_CMD_LOGIN, tagXRFReply{40, 0, 0, 0});
        SendAll(s, vecReply);
    }
    // A public key of the process, as a server greets with it.
    static std::string PublicKey()
    {
        static const std::string strKey = [] {
            XString strPrivate, strPublic;
            XfnGenerateRSAKey(1024, strPrivate, strPublic, "fake server");
            return std::string(static_cast<const char*>(strPublic));
        }();
        return strKey;
    }

    // A script that logs the client in, reads a request of nRequest bytes,
    // sends vecReply and closes.
    static std::function<void(XSysSocket)> Answer(size_t nRequest, std::vector<BYTE> vecReply)
    {
        return [=](XSysSocket s) {
            Greet(s, "1.00", PublicKey(), true);
            std::vector<BYTE> vecRequest;
            if (RecvAll(s, nRequest, vecRequest))
                SendAll(s, vecReply);
        };
    }

private:
    XSysSocket sListen;
    uint16_t nPort = 0;
    std::thread thread;
};

} // namespace xrftest
