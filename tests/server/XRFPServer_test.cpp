// The server's commands, served to the library's client and, where the
// client never sends such a request, to a raw one: error words and the disk.
#include "XRFPTestClient.h"

#include "XRFPErrors.h"
#include "XRFPLog.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

using namespace xrftest;

namespace {

class ServerTest : public ::testing::Test, protected RemoteOps {
protected:
    ServerTest() { param = server.Param(); }
    TestServer server;
    PoolScope pool;
    fs::path root = server.Root();
    // The error word of an open.
    DWORD Open(const std::string& strPath, DWORD nDisposition, DWORD nAccess, DWORD nShare)
    {
        Create(strPath, nDisposition, nAccess, nullptr, nShare);
        return error;
    }
};

} // namespace

TEST_F(ServerTest, GreetsThenLogsInOrRefusesAndCloses)
{
    RawClient client;
    ASSERT_TRUE(client.Connect(server.Port()));
    EXPECT_EQ(client.Login("alice", "secret1"), 0u);

    const struct {
        const char* pszUser;
        const char* pszPassword;
        DWORD nError;
    } refused[] = {
        {"alice", "secret2", XRFP_ERROR_BAD_PASSWORD},
        {"carol", "secret1", XRFP_ERROR_NO_SUCH_USER},
        {"forged\nlog line", "x", XRFP_ERROR_NO_SUCH_USER},
    };
    XfnRFPSetLogSink(&CaptureLog);
    for (const auto& r : refused) {
        RawClient c;
        ASSERT_TRUE(c.Connect(server.Port()));
        EXPECT_EQ(c.Login(r.pszUser, r.pszPassword), r.nError) << r.pszUser << "/" << r.pszPassword;
        EXPECT_TRUE(c.ClosedByServer());
    }
    XfnRFPSetLogSink(nullptr);
    EXPECT_EQ(CountLogLines("incorrect password"), 1u);
    EXPECT_EQ(CountLogLines("no user carol"), 1u);
    EXPECT_EQ(CountLogLines("no user (15-byte name)"), 1u) << "no name that no user can have reaches the log";
    EXPECT_EQ(CountLogLines("\n"), 0u);

    EXPECT_EQ(server.Server().Logins(), 1);
}

// Share modes hold between handles; a refused truncating open leaves the
// file as it was.
TEST_F(ServerTest, ShareModesHoldBetweenHandles)
{
    WriteBytes(root / "s.txt", "shared text");
    WriteBytes(root / "held.txt", "held");
    const DWORD kShareRead = 1, kShareBoth = 3, kBusy = EBUSY;
    DWORD hWriter = Create("s.txt", kOpenExisting, kRead | kWrite, nullptr, kShareRead);
    ASSERT_EQ(error, 0u);
    EXPECT_EQ(Open("s.txt", kOpenExisting, kRead, kShareRead), kBusy) << "the new reader must share the writing";
    EXPECT_EQ(Open("s.txt", kOpenExisting, kRead, kShareBoth), 0u);
    for (DWORD nDisposition : {kOpenExisting, kCreateAlways})
        EXPECT_EQ(Open("s.txt", nDisposition, kWrite, kShareBoth), kBusy);
    DWORD hHeld = Create("held.txt", kOpenExisting, kRead | kWrite, nullptr, 0);
    for (DWORD nAccess : {kRead, kWrite, kRead | kWrite})
        EXPECT_EQ(Open("held.txt", kCreateAlways, nAccess, kShareBoth), kBusy) << "held exclusively";
    EXPECT_EQ(ReadBytes(root / "s.txt"), "shared text");
    EXPECT_EQ(ReadBytes(root / "held.txt"), "held");
    EXPECT_EQ(Close(hHeld), 0u);
    EXPECT_EQ(Close(hWriter), 0u);
    EXPECT_EQ(Open("s.txt", kOpenExisting, kWrite, kShareBoth), 0u);
}

// A handle is the login's: it outlives the connection that opened it, no
// other user's connection knows it, and a find handle is no file handle.
TEST_F(ServerTest, HandlesBelongToTheLogin)
{
    RemoteOps bob(server.Param("bob", "secret2"));
    DWORD h = Create("shared.txt", kCreateAlways);
    EXPECT_EQ(Write(h, 0, "from the first"), 0u);
    XFile::XRFClean();
    XFile::XRFInit();
    std::string strData;
    EXPECT_EQ(Read(h, 9, 5, strData), 0u);
    EXPECT_EQ(strData, "first");
    EXPECT_EQ(bob.Read(h, 0, 4, strData), XRFP_ERROR_INVALID_HANDLE);
    DWORD hFind = XRFFindFirstFile(param, "*", nullptr, error, key);
    EXPECT_EQ(XRFFindClose(param, h, error, key), 0);
    EXPECT_EQ(error, XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(Close(hFind), XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(XRFFindClose(bob.param, hFind, bob.error, bob.key), 0);
    EXPECT_EQ(XRFFindClose(param, hFind, error, key), 1);
}

TEST_F(ServerTest, ReadsOfAnyCountAreServedToTheEndOfTheFile)
{
    std::string strContent(700000, '\0');
    for (size_t i = 0; i < strContent.size(); ++i)
        strContent[i] = static_cast<char>(i * 31 + i / 997);
    WriteBytes(root / "big.bin", strContent);
    auto pClient = LoggedIn(server);
    DWORD h = Create("big.bin", kOpenExisting, kRead);
    // The largest count served, across the end; an absurd count is refused
    // with an error reply, and the connection stays in step.
    std::string strData;
    EXPECT_EQ(pClient->Read(h, 600000, 1u << 30, strData), 0u);
    EXPECT_TRUE(strData == strContent.substr(600000)) << "gave " << strData.size();
    EXPECT_EQ(pClient->Read(h, 0, 0xFFFFFFFFu, strData), XRFP_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(strData, "");
    EXPECT_EQ(pClient->Read(h, 10, 5, strData), 0u);
    EXPECT_EQ(strData, strContent.substr(10, 5));
}

// Stopped while it sends a large read to a client that takes none of it:
// the data goes out with sendfile, whose broken pipe must not end the
// process hosting the server.
TEST_F(ServerTest, StoppingInTheMiddleOfAReadLeavesTheHostRunning)
{
    WriteBytes(root / "sparse.bin", "");
    fs::resize_file(root / "sparse.bin", int64_t(1) << 30);
    DWORD h = Create("sparse.bin", kOpenExisting, kRead);
    RawClient client;
    ASSERT_TRUE(client.Connect(server.Port()));
    ASSERT_EQ(client.Login("alice", "secret1"), 0u);
    std::vector<BYTE> vecPacket;
    XfnRFBuildTransferRequest(vecPacket, XRF_CMD_READ_FILE, tagXRFTransferRequest{0, h, 1u << 30});
    ASSERT_TRUE(client.Send(vecPacket));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    server.Stop();
    EXPECT_EQ(server.Server().ActiveConnections(), 0u);
}

// No tree is built that a path cannot name, by creating or by moving.
TEST_F(ServerTest, TreesStayNameable)
{
    auto repeat = [](size_t nTimes) {
        std::string str = "d";
        for (size_t i = 1; i < nTimes; ++i)
            str += "\\d";
        return str;
    };
    for (size_t nDepth = 1; nDepth <= 64; ++nDepth)
        ASSERT_EQ(Path(XRF_CMD_CREATE_DIRECTORY, repeat(nDepth)), 0u) << nDepth;
    EXPECT_EQ(Path(XRF_CMD_CREATE_DIRECTORY, repeat(65)), static_cast<DWORD>(ENAMETOOLONG));
    EXPECT_EQ(Open(repeat(64) + "\\f", kCreateNew, kWrite, 3), static_cast<DWORD>(ENAMETOOLONG));
    EXPECT_EQ(Move("d\\d", "e"), 0u) << "shallower is fine";
    for (const char* pszPath : {"x", "x\\y"})
        EXPECT_EQ(Path(XRF_CMD_CREATE_DIRECTORY, pszPath), 0u);
    EXPECT_EQ(Move("e", "x\\y\\e"), static_cast<DWORD>(ENAMETOOLONG)) << "62 levels below it";
    EXPECT_EQ(Move("e", "x\\e"), 0u) << "64 levels in all";

    const std::string strLong(100, 'L'), strTall(100, 'T'), strWide(60, 'P');
    for (const std::string& strPath : {strLong, strLong + "\\" + strTall, strWide})
        EXPECT_EQ(Path(XRF_CMD_CREATE_DIRECTORY, strPath), 0u);
    EXPECT_EQ(Move(strLong, strWide + "\\" + strLong), static_cast<DWORD>(ENAMETOOLONG))
        << "a 262-character path below";
    EXPECT_EQ(Move(strLong, "short"), 0u);
    EXPECT_EQ(Path(XRF_CMD_REMOVE_DIRECTORY, "d", 1), 0u);
}

// Connections and handles are limited per user; a search or list stops at
// the limit of entries looked at, matching or not; silent connections close.
TEST(ServerLimits, ConnectionsHandlesSearchesAndIdleTime)
{
    tagXRFPSettings settings;
    settings.nMaxConnections = 3;
    settings.nMaxHandles = 2;
    settings.nIdleSeconds = 1;
    settings.nMaxListItems = 50;
    TestServer server(settings);
    fs::create_directories(server.Root() / "big" / "sub");
    for (int i = 0; i < 60; ++i)
        WriteBytes(server.Root() / "big" / "sub" / ("f" + std::to_string(i)), "");
    PoolScope pool;
    RemoteOps alice(server.Param()), bob(server.Param("bob", "secret2"));
    XRFFileInfoList items;
    EXPECT_EQ(XRFFindFileList(alice.param, "big\\*.none", 1, items, alice.error, alice.key), 0);
    EXPECT_EQ(alice.error, static_cast<DWORD>(E2BIG));
    EXPECT_EQ(XRFFindFileList(alice.param, "big", 0, items, alice.error, alice.key), 1);
    EXPECT_EQ(alice.error, 0u);
    EXPECT_EQ(alice.Move("big", "moved"), static_cast<DWORD>(E2BIG)) << "a move measures what it takes along";
    for (int i = 0; i < 3; ++i) {
        alice.Create(std::to_string(i), kCreateAlways, kWrite);
        EXPECT_EQ(alice.error, i < 2 ? 0u : DWORD(EMFILE)) << i;
    }
    bob.Create("1", kCreateAlways, kWrite);
    EXPECT_EQ(bob.error, 0u) << "the limit is per user";

    auto pThird = LoggedIn(server);
    RawClient fourth;
    ASSERT_TRUE(fourth.Connect(server.Port()));
    EXPECT_EQ(fourth.Login("alice", "secret1"), XRFP_ERROR_TOO_MANY_CONNECTIONS);
    auto tStart = std::chrono::steady_clock::now();
    EXPECT_TRUE(pThird->ClosedByServer());
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(5));
}

TEST(ServerLimits, HandlesAreClosedAfterTheLastConnectionLingers)
{
    tagXRFPSettings settings;
    settings.nLingerSeconds = 0;
    TestServer server(settings);
    RemoteOps ops(server.Param());
    DWORD h = 0;
    {
        PoolScope pool;
        h = ops.Create("f", kCreateAlways);
    }
    // The reaper runs about once a second; give it a few turns.
    for (int i = 0; i < 40 && server.Server().ActiveConnections() > 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    std::string strData;
    EXPECT_EQ(LoggedIn(server)->Read(h, 0, 1, strData), XRFP_ERROR_INVALID_HANDLE);
}
