// The file server on loopback, measured from a raw client: a whole login
// (connect, greeting, RSA encryption of user and password, the server's
// decryption and password check), a small request and its reply, a 64 KiB
// read, and as the floor a plain TCP echo of the same small size on loopback
// in the same run. The parts of a login are measured on their own as well.
// Times are wall-clock: the server works on threads of its own.
#include "XRFPServer.h"
#include "XRFPUsers.h"

#include "KVDbase/crypto/XRSA.h"
#include "KVDbase/remote/XRFWire.h"
#include "platform/XSysSocket.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

bool SendAll(XSysSocket s, const BYTE* p, size_t n)
{
    uint32_t nError = 0;
    while (n) {
        long nSent = XfnSysSocketSend(s, p, n, nError);
        if (nSent <= 0)
            return false;
        p += nSent;
        n -= static_cast<size_t>(nSent);
    }
    return true;
}

bool RecvAll(XSysSocket s, BYTE* p, size_t n)
{
    uint32_t nError = 0;
    while (n) {
        long nGot = XfnSysSocketRecv(s, p, n, nError);
        if (nGot <= 0)
            return false;
        p += nGot;
        n -= static_cast<size_t>(nGot);
    }
    return true;
}

XSysSocket ConnectTo(uint16_t nPort)
{
    uint32_t nError = 0;
    XSysSocket s = XfnSysSocketOpen(nError);
    if (s == XSYS_INVALID_SOCKET || XfnSysSocketConnect(s, "127.0.0.1", nPort) != 0)
        return XSYS_INVALID_SOCKET;
    XfnSysSocketSetNoDelay(s, true);
    XfnSysSocketSetTimeout(s, true, 10000);
    return s;
}

// One throwaway server with a 2048-bit key for the whole run.
XRFPServer& Server()
{
    static std::unique_ptr<XRFPServer> pServer = [] {
        tagXRFPSettings settings;
        settings.nPort = 0;
        settings.bThrowaway = true;
        settings.vecUsers = {"bench:benchpass"};
        auto p = std::make_unique<XRFPServer>(settings);
        std::string strError;
        if (!p->Start(strError))
            std::abort();
        return p;
    }();
    return *pServer;
}

// Connects and logs in; XSYS_INVALID_SOCKET on any failure.
XSysSocket Login(uint16_t nPort)
{
    XSysSocket s = ConnectTo(nPort);
    std::vector<BYTE> vecGreeting(XRF_GREETING_SIZE), vecReply(16), vecPacket;
    tagXRFGreeting greeting{};
    if (s == XSYS_INVALID_SOCKET || !RecvAll(s, vecGreeting.data(), vecGreeting.size()) ||
        XfnRFParseGreeting(vecGreeting.data(), vecGreeting.size(), greeting) != XRF_WIRE_OK)
        return XSYS_INVALID_SOCKET;
    XString strKey(greeting.strPublicKey.c_str());
    XfnRFBuildLoginRequest(vecPacket, tagXRFLoginRequest{std::string(XfnRSAEncryptStringByKey(strKey, "bench")),
                                                         std::string(XfnRSAEncryptStringByKey(strKey, "benchpass"))});
    tagXRFReply reply{};
    if (!SendAll(s, vecPacket.data(), vecPacket.size()) || !RecvAll(s, vecReply.data(), vecReply.size()) ||
        XfnRFParseReply(vecReply.data(), vecReply.size(), XRF_CMD_LOGIN, reply) != XRF_WIRE_OK || reply.nError) {
        XfnSysSocketClose(s);
        return XSYS_INVALID_SOCKET;
    }
    return s;
}

// A handle on a 1 MiB file of the logged-in connection.
DWORD OpenBenchFile(XSysSocket s)
{
    std::vector<BYTE> vecPacket, vecReply(32);
    XfnRFBuildCreateFileRequest(vecPacket, tagXRFCreateFileRequest{"bench.bin", 0xC0000000u, 3, 2, 0});
    tagXRFCreateFileReply created{};
    if (!SendAll(s, vecPacket.data(), vecPacket.size()) || !RecvAll(s, vecReply.data(), vecReply.size()) ||
        XfnRFParseCreateFileReply(vecReply.data(), vecReply.size(), created) != XRF_WIRE_OK || created.nError)
        return 0xFFFFFFFFu;
    std::vector<BYTE> vecData(XRF_MAX_WRITE, 0x5A);
    for (int64_t nPosition = 0; nPosition < (1 << 20); nPosition += XRF_MAX_WRITE) {
        vecPacket.clear();
        XfnRFBuildTransferRequest(vecPacket, XRF_CMD_WRITE_ANNOUNCE,
                                  tagXRFTransferRequest{nPosition, created.hFile, XRF_MAX_WRITE});
        XfnRFBuildWriteDataRequest(vecPacket, tagXRFWriteDataRequest{created.hFile, vecData.data(), XRF_MAX_WRITE});
        vecReply.resize(24);
        if (!SendAll(s, vecPacket.data(), vecPacket.size()) || !RecvAll(s, vecReply.data(), 24))
            return 0xFFFFFFFFu;
    }
    return created.hFile;
}

void BM_Login(benchmark::State& state)
{
    uint16_t nPort = Server().Port();
    for (auto _ : state) {
        XSysSocket s = Login(nPort);
        if (s == XSYS_INVALID_SOCKET) {
            state.SkipWithError("login failed");
            break;
        }
        XfnSysSocketClose(s);
    }
}
BENCHMARK(BM_Login)->Unit(benchmark::kMillisecond)->UseRealTime();

// The client's share of a login: two encryptions under the 2048-bit key.
void BM_LoginEncryption(benchmark::State& state)
{
    XString strKey(Server().PublicKey().c_str());
    for (auto _ : state) {
        benchmark::DoNotOptimize(XfnRSAEncryptStringByKey(strKey, "bench"));
        benchmark::DoNotOptimize(XfnRSAEncryptStringByKey(strKey, "benchpass"));
    }
}
BENCHMARK(BM_LoginEncryption)->Unit(benchmark::kMicrosecond);

// The server's share: two decryptions with a 2048-bit private key.
void BM_LoginDecryption(benchmark::State& state)
{
    XString strPrivate, strPublic;
    XfnGenerateRSAKey(2048, strPrivate, strPublic, "bench key");
    XString strUser = XfnRSAEncryptStringByKey(strPublic, "bench");
    XString strPassword = XfnRSAEncryptStringByKey(strPublic, "benchpass");
    for (auto _ : state) {
        benchmark::DoNotOptimize(XfnRSADecryptStringByKey(strPrivate, strUser));
        benchmark::DoNotOptimize(XfnRSADecryptStringByKey(strPrivate, strPassword));
    }
}
BENCHMARK(BM_LoginDecryption)->Unit(benchmark::kMicrosecond);

// The server's password check against its salted hash.
void BM_PasswordCheck(benchmark::State& state)
{
    std::string strHash = XfnRFPHashPassword("benchpass");
    for (auto _ : state)
        benchmark::DoNotOptimize(XfnRFPVerifyPassword("benchpass", strHash));
}
BENCHMARK(BM_PasswordCheck)->Unit(benchmark::kMillisecond)->UseRealTime();

// Get file size: a 24-byte request and a 24-byte reply.
void BM_SmallRequest(benchmark::State& state)
{
    XSysSocket s = Login(Server().Port());
    DWORD hFile = s == XSYS_INVALID_SOCKET ? 0xFFFFFFFFu : OpenBenchFile(s);
    if (hFile == 0xFFFFFFFFu) {
        state.SkipWithError("no connection");
        return;
    }
    std::vector<BYTE> vecPacket, vecReply(24);
    XfnRFBuildHandleRequest(vecPacket, tagXRFHandleRequest{XRF_CMD_GET_FILE_SIZE, hFile});
    for (auto _ : state) {
        if (!SendAll(s, vecPacket.data(), vecPacket.size()) || !RecvAll(s, vecReply.data(), vecReply.size())) {
            state.SkipWithError("exchange failed");
            break;
        }
    }
    XfnSysSocketClose(s);
}
BENCHMARK(BM_SmallRequest)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_Read64K(benchmark::State& state)
{
    XSysSocket s = Login(Server().Port());
    DWORD hFile = s == XSYS_INVALID_SOCKET ? 0xFFFFFFFFu : OpenBenchFile(s);
    if (hFile == 0xFFFFFFFFu) {
        state.SkipWithError("no connection");
        return;
    }
    const DWORD nCount = 65536;
    std::vector<BYTE> vecPacket, vecReply(16 + nCount);
    int64_t nPosition = 0;
    for (auto _ : state) {
        vecPacket.clear();
        XfnRFBuildTransferRequest(vecPacket, XRF_CMD_READ_FILE, tagXRFTransferRequest{nPosition, hFile, nCount});
        if (!SendAll(s, vecPacket.data(), vecPacket.size()) || !RecvAll(s, vecReply.data(), vecReply.size())) {
            state.SkipWithError("read failed");
            break;
        }
        nPosition = (nPosition + nCount) % (1 << 20);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * nCount);
    XfnSysSocketClose(s);
}
BENCHMARK(BM_Read64K)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The floor: 24 bytes to a plain echo thread and back over loopback.
void BM_TcpEcho(benchmark::State& state)
{
    uint16_t nPort = 0;
    uint32_t nError = 0;
    XSysSocket listener = XfnSysSocketListen("127.0.0.1", nPort, nError);
    if (listener == XSYS_INVALID_SOCKET) {
        state.SkipWithError("cannot listen");
        return;
    }
    std::thread echo([listener] {
        uint32_t nAcceptError = 0;
        XSysSocket peer = XfnSysSocketAccept(listener, nAcceptError);
        if (peer == XSYS_INVALID_SOCKET)
            return;
        XfnSysSocketSetNoDelay(peer, true);
        BYTE buf[24];
        while (RecvAll(peer, buf, sizeof buf) && SendAll(peer, buf, sizeof buf)) {
        }
        XfnSysSocketClose(peer);
    });
    XSysSocket s = ConnectTo(nPort);
    BYTE packet[24] = {16, 0, 0, 0, 16};
    for (auto _ : state) {
        if (!SendAll(s, packet, sizeof packet) || !RecvAll(s, packet, sizeof packet)) {
            state.SkipWithError("echo failed");
            break;
        }
    }
    XfnSysSocketClose(s);
    echo.join();
    XfnSysSocketClose(listener);
}
BENCHMARK(BM_TcpEcho)->Unit(benchmark::kMicrosecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
