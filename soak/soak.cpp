// kvd_soak: the remote file client and the xrfpd server under load for a
// bounded time. Worker threads create, write, read, seek, rename and delete
// files of their own through XFile remote paths and check every byte they read
// against a local model of the content, while the server is stopped and
// started again. Prints a summary and exits non-zero when content was lost or
// an error came that the restarts do not explain. See docs/soak.md.
#include "KVDbase/core/XException.h"
#include "KVDbase/files/XFile.h"

// Starting and stopping the server as a child process; this program is a
// test driver, not part of the library.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace fs = std::filesystem;
using SoakClock = std::chrono::steady_clock;

namespace {

// ---- Settings ---------------------------------------------------------------------

struct tagSoakSettings {
    int nSeconds = 600;
    int64_t nMaxOps = 20000000;
    int nThreads = 32;
    int nLogins = 4;          // threads are spread over this many users
    int nSlots = 4;           // files per thread
    int nRestarts = 2;
    int nMaxFileSize = 256 * 1024;
    int nGraceSeconds = 10;   // after the server is back, restart errors still count as the restart's
    uint64_t nSeed = 0;
    bool bKeep = false;
    std::string strServer = XRFPD_PROGRAM;
};

void PrintUsage()
{
    std::printf("usage: kvd_soak [--seconds N] [--max-ops N] [--threads N] [--logins N] [--files N]\n"
                "                [--restarts N] [--max-file-size BYTES] [--grace SECONDS] [--seed N]\n"
                "                [--server PATH] [--keep]\n");
}

bool ParseSettings(int argc, char** argv, tagSoakSettings& s)
{
    for (int i = 1; i < argc; ++i) {
        std::string strArg = argv[i];
        if (strArg == "--keep") {
            s.bKeep = true;
            continue;
        }
        if (i + 1 >= argc)
            return false;
        std::string strValue = argv[++i];
        char* pEnd = nullptr;
        long long nValue = std::strtoll(strValue.c_str(), &pEnd, 10);
        bool bNumber = pEnd != strValue.c_str() && *pEnd == '\0' && nValue >= 0;
        if (strArg == "--server")
            s.strServer = strValue;
        else if (!bNumber)
            return false;
        else if (strArg == "--seconds")
            s.nSeconds = static_cast<int>(nValue);
        else if (strArg == "--max-ops")
            s.nMaxOps = nValue;
        else if (strArg == "--threads" && nValue > 0)
            s.nThreads = static_cast<int>(nValue);
        else if (strArg == "--logins" && nValue > 0)
            s.nLogins = static_cast<int>(nValue);
        else if (strArg == "--files" && nValue > 0)
            s.nSlots = static_cast<int>(nValue);
        else if (strArg == "--restarts")
            s.nRestarts = static_cast<int>(nValue);
        else if (strArg == "--max-file-size" && nValue >= 1024)
            s.nMaxFileSize = static_cast<int>(nValue);
        else if (strArg == "--grace")
            s.nGraceSeconds = static_cast<int>(nValue);
        else if (strArg == "--seed")
            s.nSeed = static_cast<uint64_t>(nValue);
        else
            return false;
    }
    return true;
}

// ---- Counters shared by the workers ------------------------------------------------

enum SoakOp { opCreate, opWrite, opRead, opSeek, opRename, opDelete, opVerify, opRecover, opKinds };
const char* const kOpNames[opKinds] = {"create", "write", "read", "seek", "rename", "delete", "verify", "recover"};

// Errors that a server going away and coming back explains: the socket
// errors of a cut or refused connection, and a handle of the previous server.
bool IsRestartCode(DWORD nCode)
{
    switch (nCode) {
    case 10053: // connection aborted
    case 10054: // reset by peer
    case 10057: // not connected
    case 10058: // shut down
    case 10060: // timed out
    case 10061: // refused
    case 0x2001001E: // the file handle is not valid
        return true;
    default:
        return false;
    }
}

struct tagSoakWindow {
    int64_t nStartMs;
    int64_t nEndMs; // -1 while the server is down
};

class XSoakStats {
public:
    std::atomic<int64_t> anDone[opKinds] = {};
    std::atomic<int64_t> anFailed[opKinds] = {};
    std::atomic<int64_t> nOps{0};
    std::atomic<int64_t> nBytesWritten{0};
    std::atomic<int64_t> nBytesRead{0};
    std::atomic<int64_t> nBytesChecked{0};
    std::atomic<int64_t> nUncertainWrites{0};   // failed writes found landed
    std::atomic<int64_t> nUncertainKept{0};     // failed writes found not landed

    explicit XSoakStats(SoakClock::time_point tStart) : tStart(tStart) {}

    int64_t NowMs() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(SoakClock::now() - tStart).count();
    }

    void OpenWindow()
    {
        std::lock_guard<std::mutex> lock(mtx);
        vecWindows.push_back({NowMs(), -1});
    }
    void CloseWindow()
    {
        std::lock_guard<std::mutex> lock(mtx);
        vecWindows.back().nEndMs = NowMs();
    }
    std::vector<tagSoakWindow> Windows()
    {
        std::lock_guard<std::mutex> lock(mtx);
        return vecWindows;
    }

    // Files the error under the restart when its code is one of a restart's
    // and it came while the server was down or within the grace after.
    bool RecordError(DWORD nCode, int nGraceMs)
    {
        int64_t nNow = NowMs();
        std::lock_guard<std::mutex> lock(mtx);
        bool bRestart = false;
        // The last restart that began before the error is the one to blame.
        const tagSoakWindow* pWindow = nullptr;
        for (const tagSoakWindow& w : vecWindows)
            if (nNow >= w.nStartMs)
                pWindow = &w;
        if (IsRestartCode(nCode) && pWindow != nullptr &&
            (pWindow->nEndMs < 0 || nNow <= pWindow->nEndMs + nGraceMs)) {
            bRestart = true;
            if (pWindow->nEndMs >= 0)
                nLatestAfterRestartMs = std::max(nLatestAfterRestartMs, nNow - pWindow->nEndMs);
        }
        (bRestart ? mapRestartErrors : mapOtherErrors)[nCode]++;
        return bRestart;
    }

    void RecordLost(const std::string& strWhat)
    {
        std::lock_guard<std::mutex> lock(mtx);
        vecLost.push_back(strWhat);
        std::fprintf(stderr, "LOST: %s\n", strWhat.c_str());
    }

    void RecordOtherError(const std::string& strWhat)
    {
        std::lock_guard<std::mutex> lock(mtx);
        if (vecOtherErrorSamples.size() < 20)
            vecOtherErrorSamples.push_back(strWhat);
        std::fprintf(stderr, "ERROR: %s\n", strWhat.c_str());
    }

    std::mutex mtx;
    SoakClock::time_point tStart;
    std::vector<tagSoakWindow> vecWindows;
    std::map<DWORD, int64_t> mapRestartErrors;
    std::map<DWORD, int64_t> mapOtherErrors;
    std::vector<std::string> vecLost;
    std::vector<std::string> vecOtherErrorSamples;
    int64_t nLatestAfterRestartMs = 0;
};

std::string ErrorText(DWORD nCode)
{
    XString strModule, strGroup;
    XString strText = XfnGetErrorString(nCode, strModule, strGroup);
    return std::string(static_cast<const char*>(strText));
}

// ---- One worker ---------------------------------------------------------------------

// One file of a worker: where it is, whether it exists, and what it holds.
struct tagSoakSlot {
    bool bExists = false;
    std::string strName; // server path
    std::vector<BYTE> vecModel;
    std::unique_ptr<XFile> pFile;
};

// The operation that was in flight when a call failed: its outcome is not
// known until the worker looks at the server again.
struct tagSoakPending {
    int nKind = -1;
    int nSlot = 0;
    int64_t nPos = 0;
    std::vector<BYTE> vecData;  // a write's bytes
    std::string strNewName;     // a rename's target
};

class XSoakWorker {
public:
    XSoakWorker(int nIndex, const std::string& strPrefix, const tagSoakSettings& settings, XSoakStats& stats,
                const std::atomic<bool>& bStop)
        : nIndex(nIndex), strPrefix(strPrefix), settings(settings), stats(stats), bStop(bStop),
          rng(settings.nSeed * 1000003u + static_cast<uint64_t>(nIndex) + 1), vecSlots(settings.nSlots)
    {
    }

    void Run()
    {
        while (!bStop.load() && stats.nOps.fetch_add(1) < settings.nMaxOps) {
            SoakOp op = PickOp();
            try {
                Do(op);
                stats.anDone[op]++;
            } catch (XFileException& e) {
                stats.anFailed[op]++;
                Failed(e.GetErrCode(), kOpNames[op]);
                Recover();
            }
        }
        for (tagSoakSlot& slot : vecSlots)
            if (slot.pFile)
                slot.pFile->Close();
    }

private:
    int nIndex;
    std::string strPrefix; // "xrfp:\\user:password@host:port\"
    const tagSoakSettings& settings;
    XSoakStats& stats;
    const std::atomic<bool>& bStop;
    std::mt19937_64 rng;
    std::vector<tagSoakSlot> vecSlots;
    tagSoakPending pending;
    int nNameCounter = 0;

    int Random(int nLow, int nHigh) // inclusive
    {
        return std::uniform_int_distribution<int>(nLow, nHigh)(rng);
    }

    std::string Path(const std::string& strName) const { return strPrefix + strName; }

    std::string NewName(int nSlot)
    {
        char sz[64];
        std::snprintf(sz, sizeof sz, "t%02d_f%d_%d", nIndex, nSlot, nNameCounter++);
        return sz;
    }

    std::string Where(const tagSoakSlot& slot) const
    {
        return "thread " + std::to_string(nIndex) + " file " + slot.strName;
    }

    void Failed(DWORD nCode, const char* pszDuring)
    {
        if (!stats.RecordError(nCode, settings.nGraceSeconds * 1000))
            stats.RecordOtherError("thread " + std::to_string(nIndex) + " " + pszDuring + ": " +
                                   std::to_string(nCode) + " " + ErrorText(nCode));
    }

    SoakOp PickOp()
    {
        // Without a file there is only creating; otherwise mostly writes and
        // reads, and now and then a whole-file check.
        int n = Random(0, 99);
        if (n < 4)
            return opCreate;
        if (n < 34)
            return opWrite;
        if (n < 69)
            return opRead;
        if (n < 84)
            return opSeek;
        if (n < 90)
            return opRename;
        if (n < 93)
            return opDelete;
        return opVerify;
    }

    static void Open(XFile& file, const std::string& strPath, unsigned int nFlags)
    {
        XFileException error;
        if (!file.Open(strPath.c_str(), nFlags, &error))
            XFileException::ThrowError(error.GetErrCode(), error.GetFileName());
    }

    void OpenSlot(tagSoakSlot& slot, bool bCreate)
    {
        slot.pFile.reset(new XFile);
        unsigned int nFlags = XFile::flagReadWrite | XFile::flagShareDenyNone;
        if (bCreate)
            nFlags |= XFile::flagCreate;
        Open(*slot.pFile, Path(slot.strName), nFlags);
    }

    // Reads nCount bytes at nPos and compares them with the model; a
    // difference is content lost.
    void ReadAndCheck(tagSoakSlot& slot, int64_t nPos, unsigned int nCount)
    {
        std::vector<BYTE> vecBuffer(nCount);
        slot.pFile->Seek(nPos, XFile::begin);
        unsigned int nRead = slot.pFile->Read(vecBuffer.data(), nCount);
        stats.nBytesRead += nRead;
        int64_t nSize = static_cast<int64_t>(slot.vecModel.size());
        unsigned int nExpected = static_cast<unsigned int>(std::max<int64_t>(0, std::min<int64_t>(nCount, nSize - nPos)));
        unsigned int nSame = std::min(nRead, nExpected);
        const BYTE* pModel = slot.vecModel.data() + nPos;
        if (nRead != nExpected || (nSame > 0 && std::memcmp(vecBuffer.data(), pModel, nSame) != 0)) {
            unsigned int nAt = 0;
            while (nAt < nSame && vecBuffer[nAt] == pModel[nAt])
                ++nAt;
            stats.RecordLost(Where(slot) + ": read of " + std::to_string(nCount) + " at " + std::to_string(nPos) +
                             " gave " + std::to_string(nRead) + " bytes, expected " + std::to_string(nExpected) +
                             ", first difference at " + std::to_string(nPos + nAt));
            Resync(slot);
            return;
        }
        stats.nBytesChecked += nRead;
    }

    // After a reported loss the server's content becomes the model, so that
    // one loss is reported once.
    void Resync(tagSoakSlot& slot)
    {
        std::vector<BYTE> vecActual;
        ReadWhole(slot, vecActual);
        slot.vecModel.swap(vecActual);
    }

    // The whole file, read until the server has no more (the length call
    // has no way to report a failure, so it is not used to size this).
    void ReadWhole(tagSoakSlot& slot, std::vector<BYTE>& vecOut)
    {
        const unsigned int kChunk = 0x40000;
        vecOut.clear();
        slot.pFile->Seek(0, XFile::begin);
        while (true) {
            size_t nHave = vecOut.size();
            vecOut.resize(nHave + kChunk);
            unsigned int nRead = slot.pFile->Read(vecOut.data() + nHave, kChunk);
            vecOut.resize(nHave + nRead);
            stats.nBytesRead += nRead;
            if (nRead < kChunk)
                break;
        }
    }

    tagSoakSlot* PickSlot(bool bExisting)
    {
        int nStart = Random(0, settings.nSlots - 1);
        for (int i = 0; i < settings.nSlots; ++i) {
            tagSoakSlot& slot = vecSlots[(nStart + i) % settings.nSlots];
            if (slot.bExists == bExisting)
                return &slot;
        }
        return nullptr;
    }

    void Do(SoakOp& op)
    {
        tagSoakSlot* pSlot = PickSlot(op != opCreate);
        if (pSlot == nullptr) {
            op = op == opCreate ? opWrite : opCreate;
            pSlot = PickSlot(op != opCreate);
        }
        tagSoakSlot& slot = *pSlot;
        const int nSlot = static_cast<int>(pSlot - vecSlots.data());
        // A recovery that gave up leaves files without a handle.
        if (slot.bExists && !slot.pFile)
            OpenSlot(slot, false);
        pending = tagSoakPending();
        pending.nSlot = nSlot;
        const int64_t nSize = static_cast<int64_t>(slot.vecModel.size());
        switch (op) {
        case opCreate:
            slot.strName = NewName(nSlot);
            pending.nKind = opCreate;
            OpenSlot(slot, true);
            slot.bExists = true;
            slot.vecModel.clear();
            break;
        case opWrite: {
            int nCount = Random(0, 9) == 0 ? Random(65536, 131072) : Random(1, 16384);
            nCount = std::min(nCount, settings.nMaxFileSize);
            int64_t nPos = Random(0, 4) == 0 ? nSize : Random(0, static_cast<int>(nSize));
            if (nPos + nCount > settings.nMaxFileSize)
                nPos = Random(0, settings.nMaxFileSize - nCount);
            nPos = std::min(nPos, nSize); // no holes: the model is the bytes written
            pending.nKind = opWrite;
            pending.nPos = nPos;
            pending.vecData.resize(static_cast<size_t>(nCount));
            for (BYTE& b : pending.vecData)
                b = static_cast<BYTE>(rng());
            slot.pFile->Seek(nPos, XFile::begin);
            slot.pFile->Write(pending.vecData.data(), static_cast<unsigned int>(nCount));
            ApplyWrite(slot.vecModel, nPos, pending.vecData);
            stats.nBytesWritten += nCount;
            break;
        }
        case opRead: {
            unsigned int nCount = static_cast<unsigned int>(Random(0, 9) == 0 ? Random(200000, 300000) : Random(1, 32768));
            ReadAndCheck(slot, Random(0, static_cast<int>(nSize)), nCount);
            break;
        }
        case opSeek: {
            // The position is the client's; each way of moving it is checked
            // by reading where it landed.
            int64_t nTarget = Random(0, static_cast<int>(nSize));
            int64_t nGot = 0;
            int nFrom = Random(0, 2);
            if (nFrom == 0) {
                nGot = slot.pFile->Seek(nTarget, XFile::begin);
            } else if (nFrom == 1) {
                int64_t nHere = slot.pFile->Seek(Random(0, static_cast<int>(nSize)), XFile::begin);
                nGot = slot.pFile->Seek(nTarget - nHere, XFile::current);
            } else {
                // From the end the offset counts back towards the start.
                nGot = slot.pFile->Seek(nSize - nTarget, XFile::end);
            }
            if (nGot != nTarget || slot.pFile->GetPosition() != nTarget)
                stats.RecordOtherError(Where(slot) + ": seek (" + std::to_string(nFrom) + ") to " +
                                       std::to_string(nTarget) + " gave " + std::to_string(nGot));
            ReadAndCheck(slot, nTarget, static_cast<unsigned int>(Random(1, 4096)));
            break;
        }
        case opRename: {
            pending.nKind = opRename;
            pending.strNewName = NewName(nSlot);
            slot.pFile->Close();
            slot.pFile.reset();
            XFile::Rename(Path(slot.strName).c_str(), Path(pending.strNewName).c_str());
            slot.strName = pending.strNewName;
            pending.nKind = -1;
            OpenSlot(slot, false);
            break;
        }
        case opDelete:
            pending.nKind = opDelete;
            slot.pFile->Close();
            slot.pFile.reset();
            XFile::Remove(Path(slot.strName).c_str());
            slot.bExists = false;
            slot.vecModel.clear();
            break;
        case opVerify: {
            // The length call cannot report a failure, so a wrong answer is
            // asked again after a read has shown the connection to work.
            int64_t nLength = slot.pFile->GetLength();
            ReadAndCheck(slot, 0, static_cast<unsigned int>(nSize + 1));
            if (nLength != nSize && (nLength = slot.pFile->GetLength()) != nSize)
                stats.RecordOtherError(Where(slot) + ": length " + std::to_string(nLength) + ", expected " +
                                       std::to_string(nSize));
            break;
        }
        default:
            break;
        }
        pending.nKind = -1;
    }

    static void ApplyWrite(std::vector<BYTE>& vecModel, int64_t nPos, const std::vector<BYTE>& vecData)
    {
        size_t nEnd = static_cast<size_t>(nPos) + vecData.size();
        if (vecModel.size() < nEnd)
            vecModel.resize(nEnd);
        std::copy(vecData.begin(), vecData.end(), vecModel.begin() + nPos);
    }

    // Whether a server path names a file: true or false, or throws on any
    // error other than "no such file".
    bool Exists(const std::string& strName)
    {
        XFile file;
        XFileException error;
        if (file.Open(Path(strName).c_str(), XFile::flagRead | XFile::flagShareDenyNone, &error))
            return true;
        if (error.GetErrCode() == 2)
            return false;
        XFileException::ThrowError(error.GetErrCode(), error.GetFileName());
    }

    // After a failure: drop every handle, settle the operation that was in
    // flight, reopen every file and compare it whole with its model. Errors
    // while the server is still away are counted and the worker tries again.
    void Recover()
    {
        const auto tGiveUp = SoakClock::now() + std::chrono::seconds(120);
        while (true) {
            try {
                for (tagSoakSlot& slot : vecSlots) {
                    if (slot.pFile)
                        slot.pFile->Abort();
                    slot.pFile.reset();
                }
                Settle();
                for (tagSoakSlot& slot : vecSlots) {
                    if (!slot.bExists)
                        continue;
                    if (!Exists(slot.strName)) {
                        stats.RecordLost(Where(slot) + ": the file is gone");
                        slot.bExists = false;
                        slot.vecModel.clear();
                        continue;
                    }
                    OpenSlot(slot, false);
                    ReadAndCheck(slot, 0, static_cast<unsigned int>(slot.vecModel.size() + 1));
                }
                stats.anDone[opRecover]++;
                return;
            } catch (XFileException& e) {
                stats.anFailed[opRecover]++;
                Failed(e.GetErrCode(), "recover");
                if (SoakClock::now() > tGiveUp || bStop.load()) {
                    stats.RecordOtherError("thread " + std::to_string(nIndex) + " gave up recovering");
                    for (tagSoakSlot& slot : vecSlots)
                        slot.pFile.reset();
                    return;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
        }
    }

    // The failed operation may or may not have happened: the server's state
    // decides, as long as it is one of the two.
    void Settle()
    {
        if (pending.nKind < 0)
            return;
        tagSoakSlot& slot = vecSlots[pending.nSlot];
        switch (pending.nKind) {
        case opCreate:
            slot.bExists = Exists(slot.strName);
            slot.vecModel.clear();
            break;
        case opDelete:
            slot.bExists = Exists(slot.strName);
            break;
        case opRename:
            if (Exists(pending.strNewName))
                slot.strName = pending.strNewName;
            break;
        case opWrite: {
            OpenSlot(slot, false);
            std::vector<BYTE> vecActual;
            ReadWhole(slot, vecActual);
            std::vector<BYTE> vecNew = slot.vecModel;
            ApplyWrite(vecNew, pending.nPos, pending.vecData);
            if (vecActual == vecNew) {
                slot.vecModel.swap(vecNew);
                stats.nUncertainWrites++;
            } else if (vecActual == slot.vecModel) {
                stats.nUncertainKept++;
            } else {
                stats.RecordLost(Where(slot) + ": after a failed write of " + std::to_string(pending.vecData.size()) +
                                 " at " + std::to_string(pending.nPos) + " the file is neither before nor after");
                slot.vecModel.swap(vecActual);
            }
            stats.nBytesChecked += static_cast<int64_t>(slot.vecModel.size());
            slot.pFile.reset();
            break;
        }
        default:
            break;
        }
        pending.nKind = -1;
    }
};

// ---- The server as a child process ----------------------------------------------

class XSoakServer {
public:
    XSoakServer(const tagSoakSettings& settings, const fs::path& dir) : settings(settings), dir(dir) {}

    // Runs "xrfpd adduser" to put a user in the users file.
    bool AddUser(const std::string& strUser, const std::string& strPassword, const fs::path& root)
    {
        // The password goes in a file, never on a command line.
        fs::path passwordFile = dir / "password";
        std::ofstream(passwordFile) << strPassword << "\n";
        fs::permissions(passwordFile, fs::perms::owner_read | fs::perms::owner_write);
        std::vector<std::string> vecArgs = {settings.strServer, "adduser", "--users", Users(), "--password-file",
                                            passwordFile.string(), strUser, root.string()};
        pid_t pid = Spawn(vecArgs);
        int nStatus = 0;
        return pid > 0 && waitpid(pid, &nStatus, 0) == pid && WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0;
    }

    // Starts the server (on a free port the first time, on the same port
    // after) and waits until it writes its port file.
    bool Start()
    {
        fs::path portFile = dir / "xrfpd.port";
        std::error_code ec;
        fs::remove(portFile, ec);
        std::vector<std::string> vecArgs = {settings.strServer, "--users", Users(), "--key-file",
                                            (dir / "xrfpd.key").string(), "--listen", "127.0.0.1", "--port",
                                            std::to_string(nPort), "--port-file", portFile.string()};
        // Every worker connects from loopback, and after a restart all of
        // them log in again at once.
        for (const char* pszArg : {"--max-per-address", "1024", "--max-unauthenticated", "256"})
            vecArgs.push_back(pszArg);
        if (geteuid() == 0)
            vecArgs.push_back("--allow-root");
        pidServer = Spawn(vecArgs, (dir / "xrfpd.log").string());
        if (pidServer <= 0)
            return false;
        for (int i = 0; i < 600; ++i) {
            std::ifstream in(portFile);
            int nRead = 0;
            if (in >> nRead && nRead > 0) {
                nPort = nRead;
                return true;
            }
            int nStatus = 0;
            if (waitpid(pidServer, &nStatus, WNOHANG) == pidServer) {
                pidServer = -1;
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return false;
    }

    // SIGTERM and wait; true when the server ended by itself with 0.
    bool Stop()
    {
        if (pidServer <= 0)
            return false;
        kill(pidServer, SIGTERM);
        int nStatus = 0;
        pid_t pid = waitpid(pidServer, &nStatus, 0);
        pidServer = -1;
        return pid > 0 && WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0;
    }

    int Port() const { return nPort; }

private:
    const tagSoakSettings& settings;
    fs::path dir;
    int nPort = 0;
    pid_t pidServer = -1;

    std::string Users() const { return (dir / "xrfpd.users").string(); }

    // The program with its arguments; with a log file, through a shell that
    // sends both outputs there and then becomes the program (same process).
    static pid_t Spawn(const std::vector<std::string>& vecArgs, const std::string& strLog = std::string())
    {
        std::vector<std::string> vecRun = vecArgs;
        if (!strLog.empty()) {
            std::string strCommand = "exec";
            for (const std::string& s : vecArgs)
                strCommand += " '" + s + "'";
            strCommand += " >>'" + strLog + "' 2>&1";
            vecRun = {"/bin/sh", "-c", strCommand};
        }
        std::vector<char*> vecArgv;
        for (std::string& s : vecRun)
            vecArgv.push_back(&s[0]);
        vecArgv.push_back(nullptr);
        pid_t pid = -1;
        if (posix_spawn(&pid, vecArgv[0], nullptr, nullptr, vecArgv.data(), environ) != 0)
            return -1;
        return pid;
    }
};

// ---- The run ---------------------------------------------------------------------

void PrintSummary(XSoakStats& stats, const tagSoakSettings& settings, double dSeconds, int nRestartsDone,
                  int nLogins)
{
    std::printf("\n== soak summary: %d threads on %d login(s), %.1f s, %d restart(s) ==\n", settings.nThreads,
                nLogins, dSeconds, nRestartsDone);
    std::printf("%-10s %14s %10s\n", "operation", "done", "failed");
    int64_t nTotal = 0;
    for (int i = 0; i < opKinds; ++i) {
        std::printf("%-10s %14" PRId64 " %10" PRId64 "\n", kOpNames[i], stats.anDone[i].load(),
                    stats.anFailed[i].load());
        nTotal += stats.anDone[i].load() + stats.anFailed[i].load();
    }
    std::printf("%-10s %14" PRId64 "\n", "all calls", nTotal);
    std::printf("bytes written %" PRId64 ", read %" PRId64 ", checked against the model %" PRId64 "\n",
                stats.nBytesWritten.load(), stats.nBytesRead.load(), stats.nBytesChecked.load());
    std::printf("writes cut by a failure: %" PRId64 " had landed, %" PRId64 " had not\n",
                stats.nUncertainWrites.load(), stats.nUncertainKept.load());
    for (const tagSoakWindow& w : stats.Windows())
        std::printf("restart: server down from %.3f s to %.3f s\n", w.nStartMs / 1000.0, w.nEndMs / 1000.0);
    std::printf("latest restart error after the server was back: %" PRId64 " ms\n", stats.nLatestAfterRestartMs);
    std::printf("errors of the restarts:\n");
    for (const auto& e : stats.mapRestartErrors)
        std::printf("  %10u (0x%08X) %10" PRId64 "  %s\n", e.first, e.first, e.second, ErrorText(e.first).c_str());
    std::printf("errors outside the restarts:%s\n", stats.mapOtherErrors.empty() ? " none" : "");
    for (const auto& e : stats.mapOtherErrors)
        std::printf("  %10u (0x%08X) %10" PRId64 "  %s\n", e.first, e.first, e.second, ErrorText(e.first).c_str());
    for (const std::string& s : stats.vecOtherErrorSamples)
        std::printf("  %s\n", s.c_str());
    std::printf("lost: %zu\n", stats.vecLost.size());
    for (size_t i = 0; i < stats.vecLost.size() && i < 20; ++i)
        std::printf("  %s\n", stats.vecLost[i].c_str());
}

} // namespace

int main(int argc, char** argv)
{
    tagSoakSettings settings;
    if (!ParseSettings(argc, argv, settings)) {
        PrintUsage();
        return 2;
    }
    if (settings.nSeed == 0)
        settings.nSeed = std::random_device{}();
    const int nLogins = std::min(settings.nLogins, settings.nThreads);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("kvd_soak: seed %" PRIu64 ", %d s, at most %" PRId64 " operations, server %s\n", settings.nSeed,
                settings.nSeconds, settings.nMaxOps, settings.strServer.c_str());

    fs::path dir = fs::temp_directory_path() / ("kvd_soak_" + std::to_string(settings.nSeed));
    fs::remove_all(dir);
    fs::create_directories(dir);
    XSoakServer server(settings, dir);
    std::vector<std::string> vecPrefixes;
    for (int i = 0; i < nLogins; ++i) {
        std::string strUser = "soak" + std::to_string(i);
        std::string strPassword = "pw" + std::to_string(i) + "x" + std::to_string(settings.nSeed % 100000);
        fs::path root = dir / "root" / strUser;
        fs::create_directories(root);
        if (!server.AddUser(strUser, strPassword, root)) {
            std::fprintf(stderr, "kvd_soak: adding user %s failed\n", strUser.c_str());
            return 1;
        }
        vecPrefixes.push_back(strUser + ":" + strPassword);
    }
    if (!server.Start()) {
        std::fprintf(stderr, "kvd_soak: the server did not start; see %s\n", (dir / "xrfpd.log").c_str());
        return 1;
    }
    for (std::string& s : vecPrefixes)
        s = "xrfp:\\\\" + s + "@127.0.0.1:" + std::to_string(server.Port()) + "\\";
    std::printf("kvd_soak: server on port %d, files in %s\n", server.Port(), dir.c_str());
    std::fflush(stdout);

    XFile::XRFInit();
    const auto tStart = SoakClock::now();
    XSoakStats stats(tStart);
    std::atomic<bool> bStop{false};
    std::vector<std::unique_ptr<XSoakWorker>> vecWorkers;
    std::vector<std::thread> vecThreads;
    for (int i = 0; i < settings.nThreads; ++i) {
        vecWorkers.emplace_back(new XSoakWorker(i, vecPrefixes[i % nLogins], settings, stats, bStop));
        vecThreads.emplace_back(&XSoakWorker::Run, vecWorkers.back().get());
    }

    // The restarts fall at equal parts of the run; the main thread stops
    // early when the operation limit has ended the workers.
    bool bServerOk = true;
    int nRestartsDone = 0;
    const auto tEnd = tStart + std::chrono::seconds(settings.nSeconds);
    auto OpsLeft = [&] { return stats.nOps.load() < settings.nMaxOps; };
    for (int r = 1; r <= settings.nRestarts && bServerOk; ++r) {
        const auto tRestart = tStart + std::chrono::seconds(settings.nSeconds) * r / (settings.nRestarts + 1);
        while (SoakClock::now() < tRestart && OpsLeft())
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (!OpsLeft())
            break;
        stats.OpenWindow();
        if (!server.Stop())
            std::fprintf(stderr, "kvd_soak: the server did not end cleanly on SIGTERM\n");
        bServerOk = server.Start();
        stats.CloseWindow();
        if (!bServerOk)
            std::fprintf(stderr, "kvd_soak: the server did not come back; see %s\n", (dir / "xrfpd.log").c_str());
        ++nRestartsDone;
        std::printf("kvd_soak: restart %d done at %.1f s, %" PRId64 " operations so far\n", r,
                    stats.NowMs() / 1000.0, stats.nOps.load());
        std::fflush(stdout);
    }
    while (SoakClock::now() < tEnd && OpsLeft() && bServerOk)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    bStop = true;
    for (std::thread& t : vecThreads)
        t.join();
    const double dSeconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(SoakClock::now() - tStart).count() / 1000.0;
    XFile::XRFClean();
    bool bStopped = server.Stop();

    PrintSummary(stats, settings, dSeconds, nRestartsDone, nLogins);
    const bool bFailed = !bServerOk || !bStopped || !stats.vecLost.empty() || !stats.mapOtherErrors.empty() ||
                         !stats.vecOtherErrorSamples.empty();
    if (!bStopped)
        std::printf("the server did not end cleanly at the end\n");
    std::printf("result: %s\n", bFailed ? "FAILED" : "passed");
    if (bFailed || settings.bKeep)
        std::printf("files and server log kept in %s\n", dir.c_str());
    else
        fs::remove_all(dir);
    return bFailed ? 1 : 0;
}
