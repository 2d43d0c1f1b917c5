// XFile on paths of the remote form, end to end against the project's
// server on loopback: every operation, the static ones, renames between
// local and remote files and between servers, many threads on one pool,
// refused logins, and a server that stops in the middle of a read and comes
// back. (The demo puts an archive and a tiled raster on a remote file.)

#include <gtest/gtest.h>

#include "KVDbase/remote/XRFConnectionPool.h"
#include "remote/XRFTestServer.h"

#include <atomic>
#include <chrono>

using namespace xrftest;

namespace {

std::string Pattern(size_t nSize, unsigned int nSeed)
{
    std::string strData(nSize, '\0');
    uint32_t n = nSeed * 2654435761u + 1;
    for (char& c : strData) {
        n = n * 1103515245u + 12345u;
        c = static_cast<char>(n >> 16);
    }
    return strData;
}

// The code of the XFileException that f throws, or ~0 when it throws none.
template <class F>
DWORD ThrownCode(F f, XString* pName = nullptr)
{
    try {
        f();
    } catch (const XFileException& e) {
        if (pName)
            *pName = e.GetFileName();
        return e.GetErrCode();
    }
    return ~0u;
}

class XFileRemoteTest : public ::testing::Test {
protected:
    TestServer server;
    PoolScope pool;
    std::string strName = "xrfp:\\\\127.0.0.1\\";  // a remote name as errors carry it
};

TEST_F(XFileRemoteTest, EveryOperationOfAnOpenFile)
{
    const std::string strPath = server.Path("dir\\data.bin");
    fs::create_directories(server.Root() / "dir");
    XFile file;
    XFileException error;
    ASSERT_TRUE(file.Open(strPath.c_str(), XFile::flagReadWrite | XFile::flagShareDenyNone | XFile::flagCreate, &error))
        << error.GetErrCode();
    EXPECT_STREQ(file.GetFilePath(), strPath.c_str());
    EXPECT_STREQ(file.GetRFName(), (strName + "dir\\data.bin").c_str());

    // More than one read slice and one write packet at a time.
    std::string strData = Pattern(700001, 1), strBack(strData.size(), '\0');
    file.Write(strData.data(), static_cast<unsigned int>(strData.size()));
    EXPECT_EQ(file.GetLength(), 700001);
    file.Flush();
    EXPECT_EQ(ReadBytes(server.Root() / "dir" / "data.bin"), strData);

    // From the end a positive offset moves back.
    EXPECT_EQ(file.Seek(10, XFile::end), 700001 - 10);
    EXPECT_EQ(file.Seek(-5, XFile::current), 700001 - 15);
    EXPECT_EQ(file.Read(strBack.data(), 100), 15u);
    EXPECT_EQ(strBack.substr(0, 15), strData.substr(700001 - 15));
    EXPECT_EQ(file.Read(strBack.data(), 100), 0u);
    file.SeekToBegin();
    EXPECT_EQ(file.Read(strBack.data(), static_cast<unsigned int>(strBack.size())), strData.size());
    EXPECT_EQ(strBack, strData);

    // Record locks mean nothing remotely. The server ends the file where its
    // last transfer left it, whatever length was asked for.
    file.LockRange(0, 10);
    file.UnlockRange(0, 10);
    file.Seek(1000, XFile::begin);
    file.Read(strBack.data(), 24);
    file.SetLength(5);
    EXPECT_EQ(file.GetPosition(), 5);
    EXPECT_EQ(file.GetLength(), 1024);

    XFileStatus status;
    ASSERT_EQ(file.GetStatus(status), 1);
    EXPECT_EQ(status.nSize, 700001);  // the length known to the client
    EXPECT_EQ(status.nAttribute, 0x80);
    EXPECT_STREQ(status.szFullPath, strPath.c_str());

    // A duplicate is a new handle, for reading, at position 0.
    std::unique_ptr<XFile> pCopy(file.Duplicate());
    EXPECT_EQ(pCopy->GetPosition(), 0);
    EXPECT_EQ(pCopy->Read(strBack.data(), 4), 4u);
    EXPECT_EQ(strBack.substr(0, 4), strData.substr(0, 4));
    EXPECT_NE(ThrownCode([&] { pCopy->Write("x", 1); }), ~0u);
    EXPECT_NE(static_cast<int>(*pCopy), static_cast<int>(file));

    XRFConnectionOpenParam param;
    param.strHost = "left alone";
    EXPECT_EQ(file.GetXRFConnectionInfo(&param), 0);
    EXPECT_STREQ(param.strHost, "left alone");

    // After Close only the closed-object answers remain, and the remote
    // operations say that no connection exists.
    file.Close();
    ASSERT_EQ(file.GetStatus(status), 1);
    EXPECT_STREQ(status.szFullPath, "");
    XString strThrown;
    EXPECT_EQ(ThrownCode([&] { file.Read(strBack.data(), 1); }, &strThrown), 0x2001001Du);
    EXPECT_STREQ(strThrown, (strName + "dir\\data.bin").c_str());
    EXPECT_EQ(ThrownCode([&] { file.GetPosition(); }), 0x2001001Du);
    file.Flush();  // nothing open, nothing to do
}

TEST_F(XFileRemoteTest, FailedOpens)
{
    XFile file;
    XFileException error;
    EXPECT_FALSE(file.Open(server.Path("missing.bin").c_str(), XFile::flagRead, &error));
    EXPECT_EQ(error.GetErrCode(), 2u);
    EXPECT_STREQ(error.GetFileName(), (strName + "missing.bin").c_str());
    // The constructor throws what Open reported.
    XString strThrown;
    auto construct = [&] { XFile bad(server.Path("missing.bin", "bob:wrong").c_str(), XFile::flagRead); };
    EXPECT_EQ(ThrownCode(construct, &strThrown), 0x20010011u);
    EXPECT_STREQ(strThrown, (strName + "missing.bin").c_str());
    // Without an exception to report to, a failed open answers true and
    // leaves the object closed.
    EXPECT_TRUE(file.Open(server.Path("missing.bin").c_str(), XFile::flagRead));
    EXPECT_EQ(static_cast<int>(file), -1);
}

TEST_F(XFileRemoteTest, StaticStatusRemoveAndSetStatus)
{
    WriteBytes(server.Root() / "s.txt", "status");
    const std::string strPath = server.Path("s.txt");
    XFileStatus status{};
    ASSERT_EQ(XFile::GetStatus(strPath.c_str(), status), 1);
    EXPECT_EQ(status.nSize, 6);
    EXPECT_EQ(status.nAttribute, 0x80 & 0x7F);
    EXPECT_EQ(XFile::GetStatus(server.Path("none.txt").c_str(), status), 0);

    // All three times: written, and the attribute change that follows
    // succeeds and is reported as an exception with code 0.
    XFileStatus wanted{};
    wanted.timeModified = XTime(2001, 2, 3, 4, 5, 6);
    wanted.timeAccessed = wanted.timeModified;
    wanted.timeCreated = wanted.timeModified;
    wanted.nAttribute = FILE_ATTRIBUTE_READONLY;
    auto setStatus = [&] { XFile::SetStatus(strPath.c_str(), wanted); };
    EXPECT_EQ(ThrownCode(setStatus), 0u);
    ASSERT_EQ(XFile::GetStatus(strPath.c_str(), status), 1);
    EXPECT_EQ(status.timeModified.GetTime(), wanted.timeModified.GetTime());
    EXPECT_EQ(status.nAttribute, FILE_ATTRIBUTE_READONLY);
    // Unchanged attributes and all times: no exception.
    EXPECT_EQ(ThrownCode(setStatus), ~0u);
    // One time missing: nothing is sent for the times, and code 0 again.
    wanted.timeAccessed = XTime();
    EXPECT_EQ(ThrownCode(setStatus), 0u);
    wanted.nAttribute = 0x80;
    wanted.timeModified = XTime();
    EXPECT_EQ(ThrownCode(setStatus), ~0u);
    EXPECT_EQ(XFile::GetStatus(strPath.c_str(), status), 1);
    EXPECT_EQ(status.nAttribute, 0x80 & 0x7F);

    XFile::Remove(strPath.c_str());
    EXPECT_FALSE(fs::exists(server.Root() / "s.txt"));
    EXPECT_NE(ThrownCode(setStatus), ~0u);
}

TEST_F(XFileRemoteTest, RenameBetweenLocalRemoteAndServers)
{
    fs::path localDir = ScratchDir("local");
    std::string strData = Pattern(300000, 2);
    WriteBytes(localDir / "a.bin", strData);

    // Local to remote, to another server, then back to a local file: copied
    // and the source removed.
    TestServer other;
    const std::string steps[] = {(localDir / "a.bin").string(), server.Path("a.bin"),
                                 other.Path("b.bin", "bob:secret2"), (localDir / "c.bin").string()};
    const fs::path places[] = {localDir / "a.bin", server.Root() / "a.bin", other.Root("bob") / "b.bin",
                               localDir / "c.bin"};
    for (int i = 0; i < 3; ++i) {
        XFile::Rename(steps[i].c_str(), steps[i + 1].c_str());
        EXPECT_FALSE(fs::exists(places[i])) << i;
        EXPECT_EQ(ReadBytes(places[i + 1]), strData) << i;
    }

    // On one server the server moves it, whatever the new name's password:
    // a directory, which no copy could take.
    fs::create_directories(server.Root() / "d1");
    XFile::Rename(server.Path("d1").c_str(), server.Path("d2", "alice:other").c_str());
    EXPECT_TRUE(fs::is_directory(server.Root() / "d2"));
    XString strThrown;
    EXPECT_EQ(ThrownCode([&] { XFile::Rename(server.Path("d1").c_str(), server.Path("d3").c_str()); }, &strThrown),
              2u);
    EXPECT_STREQ(strThrown, (strName + "d3").c_str());
    // A source that cannot be opened stops a copy before anything is made.
    EXPECT_EQ(ThrownCode([&] { XFile::Rename(server.Path("none").c_str(), (localDir / "x").string().c_str()); }), 2u);
    EXPECT_FALSE(fs::exists(localDir / "x"));
    fs::remove_all(localDir);
}

TEST_F(XFileRemoteTest, SixteenThreadsShareOnePool)
{
    std::atomic<int> nGood{0};
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 16; ++t)
        vecThreads.emplace_back([&, t] {
            try {
                std::string strData = Pattern(400000 + static_cast<size_t>(t) * 1000, 10 + t);
                XFile file(server.Path("t" + std::to_string(t) + ".bin").c_str(),
                           XFile::flagReadWrite | XFile::flagCreate);
                for (size_t nDone = 0; nDone < strData.size(); nDone += 70000) {
                    size_t nPart = std::min<size_t>(strData.size() - nDone, 70000);
                    file.Write(strData.data() + nDone, static_cast<unsigned int>(nPart));
                }
                std::string strBack(strData.size(), '\0');
                for (int i = 0; i < 3; ++i) {
                    file.Seek(0, XFile::begin);
                    if (file.Read(strBack.data(), static_cast<unsigned int>(strBack.size())) != strData.size())
                        return;
                }
                if (strBack == strData && file.GetLength() == static_cast<int64_t>(strData.size()))
                    ++nGood;
            } catch (const XFileException& e) {
                ADD_FAILURE() << "thread " << t << ": " << e.GetErrCode();
            }
        });
    for (std::thread& thread : vecThreads)
        thread.join();
    EXPECT_EQ(nGood, 16);
    XRFConnectionPool* pPool = XFile::GetRFConnectionPool();
    EXPECT_EQ(pPool->GetGroupCount(), 1);
    int nIdle = 0;
    int nAll = pPool->GetConnectionCount(XRFConnectionPool::MakeConnectionKey(server.Param()), &nIdle);
    EXPECT_GE(nAll, 1);
    EXPECT_LE(nAll, 16);
    EXPECT_EQ(nIdle, nAll);
}

TEST_F(XFileRemoteTest, AServerStoppedInTheMiddleOfAReadAndStartedAgain)
{
    // A sparse file far larger than can be read before the server stops.
    WriteBytes(server.Root() / "big.bin", "");
    fs::resize_file(server.Root() / "big.bin", int64_t(8) << 30);
    const std::string strPath = server.Path("big.bin");
    XFile file(strPath.c_str(), XFile::flagRead);

    std::atomic<int64_t> nRead{0};
    std::atomic<bool> bDone{false};
    DWORD nCode = ~0u;
    std::thread reader([&] {
        std::vector<BYTE> vecBuffer(1 << 20);
        nCode = ThrownCode([&] {
            while (file.Read(vecBuffer.data(), static_cast<unsigned int>(vecBuffer.size())) > 0)
                nRead += static_cast<int64_t>(vecBuffer.size());
        });
        bDone = true;
    });
    while (nRead < (int64_t(8) << 20) && !bDone)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    server.Stop();
    reader.join();
    // A reset fails the read; a close between or inside replies ends it with
    // the bytes that came (nothing thrown) or fails the next request on the
    // closed connection, or the new connection that replaces it.
    EXPECT_TRUE(nCode == ~0u || nCode == 10054 || nCode == 10057 || nCode == 10061) << nCode;
    EXPECT_LT(nRead, int64_t(8) << 30);
    const XString key = XRFConnectionPool::MakeConnectionKey(server.Param());
    EXPECT_EQ(XFile::GetRFConnectionPool()->GetConnectionCount(key), 0);

    // Once it is back the pool opens a new one.
    XFileException error;
    XFile again;
    server.Start();
    ASSERT_TRUE(again.Open(strPath.c_str(), XFile::flagRead, &error)) << error.GetErrCode();
    std::vector<BYTE> vecBuffer(4096, 1);
    EXPECT_EQ(again.Read(vecBuffer.data(), 4096), 4096u);
    EXPECT_EQ(vecBuffer, std::vector<BYTE>(4096, 0));
    EXPECT_EQ(XFile::GetRFConnectionPool()->GetConnectionCount(key), 1);
}

// Without XRFInit there is no pool; paired calls keep it until the last
// XRFClean.
TEST(XFileRemote, PairedInitAndClean)
{
    EXPECT_EQ(XFile::GetRFConnectionPool(), nullptr);
    XFile::XRFInit();
    XRFConnectionPool* pPool = XFile::GetRFConnectionPool();
    XFile::XRFInit();
    XFile::XRFClean();
    EXPECT_EQ(XFile::GetRFConnectionPool(), pPool);
    XFile::XRFClean();
    EXPECT_EQ(XFile::GetRFConnectionPool(), nullptr);
}

} // namespace
