// Remote file throughput on loopback, against the limit of the same bytes
// sent over a plain TCP connection: sequential reads and writes of 256 MiB
// through a remote XFile, and random 4 KiB reads. The project's server runs
// in this program; each remote benchmark reports its share of the loopback
// rate as "ofLoopback" (the aim: 0.7 for reads, 0.5 for writes).

#include <benchmark/benchmark.h>

#if __has_include("XRFPServer.h")
#include "XRFPServer.h"

#include "KVDbase/crypto/XRSA.h"
#include "KVDbase/files/XFile.h"
#include "platform/XSysSocket.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

const size_t kTotal = size_t(256) << 20;
const unsigned int kChunk = 1u << 20;

// One server for the whole run, with a 256 MiB file to read, and the pool.
class BenchServer {
public:
    BenchServer()
    {
        dir = fs::temp_directory_path() / ("kvd_remote_bench_" + std::to_string(std::random_device{}()));
        fs::create_directories(dir / "root");
        XString strPrivate, strPublic;
        XfnGenerateRSAKey(1024, strPrivate, strPublic, "remote bench");
        std::ofstream(dir / "key") << static_cast<const char*>(strPrivate) << "\n";
        // The server refuses a private key that others may read.
        fs::permissions(dir / "key", fs::perms::owner_read | fs::perms::owner_write);
        tagXRFPSettings settings;
        settings.nPort = 0;
        settings.strKeyFile = (dir / "key").string();
        settings.vecUsers = {"bench:bench:" + (dir / "root").string()};
        pServer = std::make_unique<XRFPServer>(settings);
        std::string strError;
        bStarted = pServer->Start(strError);
        std::vector<char> vecChunk(kChunk);
        for (size_t i = 0; i < vecChunk.size(); ++i)
            vecChunk[i] = static_cast<char>(i * 131 + 7);
        std::ofstream out(dir / "root" / "read.bin", std::ios::binary);
        for (size_t n = 0; n < kTotal; n += kChunk)
            out.write(vecChunk.data(), kChunk);
        XFile::XRFInit();
    }
    ~BenchServer()
    {
        XFile::XRFClean();
        pServer.reset();
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    // The file as the server stores it.
    fs::path Local(const char* pszName) const { return dir / "root" / pszName; }
    std::string Path(const char* pszName) const
    {
        return "xrfp:\\\\bench:bench@127.0.0.1:" + std::to_string(pServer->Port()) + "\\" + pszName;
    }
    bool Started() const { return bStarted; }

private:
    fs::path dir;
    std::unique_ptr<XRFPServer> pServer;
    bool bStarted = false;
};

BenchServer& Server()
{
    static BenchServer server;
    return server;
}

// Seconds to move kTotal bytes over one loopback TCP connection, in chunks
// of kChunk, received into a buffer as the client receives its reads.
double PlainTransferSeconds()
{
    uint16_t nPort = 0;
    uint32_t nError = 0;
    XSysSocket sListen = XfnSysSocketListen("127.0.0.1", nPort, nError);
    if (sListen == XSYS_INVALID_SOCKET)
        return 0;
    std::thread receiver([&] {
        uint32_t nAcceptError = 0;
        XSysSocket s = XfnSysSocketAccept(sListen, nAcceptError);
        std::vector<char> vecBuffer(kChunk);
        for (size_t nDone = 0; nDone < kTotal;) {
            uint32_t nRecvError = 0;
            long n = XfnSysSocketRecv(s, vecBuffer.data(), vecBuffer.size(), nRecvError);
            if (n <= 0)
                break;
            nDone += static_cast<size_t>(n);
        }
        XfnSysSocketClose(s);
    });
    std::vector<char> vecChunk(kChunk, 'x');
    XSysSocket s = XfnSysSocketOpen(nError);
    auto start = std::chrono::steady_clock::now();
    XfnSysSocketConnect(s, "127.0.0.1", nPort);
    for (size_t nDone = 0; nDone < kTotal;) {
        long n = XfnSysSocketSend(s, vecChunk.data(), vecChunk.size(), nError);
        if (n <= 0)
            break;
        nDone += static_cast<size_t>(n);
    }
    receiver.join();
    double dSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    XfnSysSocketClose(s);
    XfnSysSocketClose(sListen);
    return dSeconds;
}

// The loopback limit in bytes per second: the median of five transfers,
// measured once.
double LoopbackRate()
{
    static const double dRate = [] {
        std::vector<double> vecSeconds;
        for (int i = 0; i < 5; ++i)
            vecSeconds.push_back(PlainTransferSeconds());
        std::sort(vecSeconds.begin(), vecSeconds.end());
        return static_cast<double>(kTotal) / vecSeconds[2];
    }();
    return dRate;
}

void Report(benchmark::State& state, double dSeconds)
{
    double dRate = static_cast<double>(kTotal) * static_cast<double>(state.iterations()) / dSeconds;
    state.SetBytesProcessed(static_cast<int64_t>(kTotal) * state.iterations());
    state.counters["ofLoopback"] = dRate / LoopbackRate();
}

void BM_LoopbackTcp256MiB(benchmark::State& state)
{
    double dSeconds = 0;
    for (auto _ : state)
        dSeconds += PlainTransferSeconds();
    state.SetBytesProcessed(static_cast<int64_t>(kTotal) * state.iterations());
    state.counters["ofLoopback"] = static_cast<double>(kTotal) * static_cast<double>(state.iterations()) /
                                   dSeconds / LoopbackRate();
}
BENCHMARK(BM_LoopbackTcp256MiB)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_RemoteSequentialRead256MiB(benchmark::State& state)
{
    if (!Server().Started()) {
        state.SkipWithError("the server did not start");
        return;
    }
    std::vector<char> vecBuffer(kChunk);
    double dSeconds = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        XFile file(Server().Path("read.bin").c_str(), XFile::flagRead);
        size_t nDone = 0;
        while (unsigned int n = file.Read(vecBuffer.data(), kChunk))
            nDone += n;
        file.Close();
        dSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (nDone != kTotal)
            state.SkipWithError("short read");
    }
    Report(state, dSeconds);
}
BENCHMARK(BM_RemoteSequentialRead256MiB)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_RemoteSequentialWrite256MiB(benchmark::State& state)
{
    if (!Server().Started()) {
        state.SkipWithError("the server did not start");
        return;
    }
    std::vector<char> vecChunk(kChunk, 'w');
    double dSeconds = 0;
    // The same file is written over each time, so that its pages are in
    // memory on the server as the read benchmark's are: what is measured is
    // the transfer, not the server's file system growing a file. So the file
    // is made at its full size and flushed to disk before the clock starts
    // (the first pass used to grow it, and took up to five times as long).
    {
        XFile local(Server().Local("write.bin").c_str(), XFile::flagWrite | XFile::flagCreate);
        for (size_t nDone = 0; nDone < kTotal; nDone += kChunk)
            local.Write(vecChunk.data(), kChunk);
        local.Flush();
    }
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        XFile file(Server().Path("write.bin").c_str(), XFile::flagWrite | XFile::flagCreate | XFile::flagNoTruncate);
        for (size_t nDone = 0; nDone < kTotal; nDone += kChunk)
            file.Write(vecChunk.data(), kChunk);
        file.Close();
        dSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    Report(state, dSeconds);
}
BENCHMARK(BM_RemoteSequentialWrite256MiB)->Iterations(4)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_RemoteRandomRead4KiB(benchmark::State& state)
{
    if (!Server().Started()) {
        state.SkipWithError("the server did not start");
        return;
    }
    XFile file(Server().Path("read.bin").c_str(), XFile::flagRead);
    std::mt19937_64 rng(7);
    std::uniform_int_distribution<int64_t> block(0, static_cast<int64_t>(kTotal / 4096) - 1);
    char abBuffer[4096];
    for (auto _ : state) {
        file.Seek(block(rng) * 4096, XFile::begin);
        benchmark::DoNotOptimize(file.Read(abBuffer, sizeof abBuffer));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 4096);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_RemoteRandomRead4KiB)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace

#else

namespace {

// The remote benchmarks run the project's server in this program.
void BM_RemoteNeedsTheServer(benchmark::State& state)
{
    state.SkipWithError("remote_bench must link xrfpd_core");
    for (auto _ : state) {
    }
}
BENCHMARK(BM_RemoteNeedsTheServer);

} // namespace

#endif

BENCHMARK_MAIN();
