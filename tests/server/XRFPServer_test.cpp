// The server's commands, served to a raw client: replies, error words and
// what reaches the disk.
#include "XRFPTestClient.h"

#include "XRFPErrors.h"
#include "XRFPLog.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <sys/stat.h>

using namespace xrftest;

namespace {

class ServerTest : public ::testing::Test {
protected:
    TestServer server;
    fs::path root = server.Root();
};

} // namespace

TEST_F(ServerTest, GreetsThenLogsInOrRefusesAndCloses)
{
    RawClient client;
    ASSERT_TRUE(client.Connect(server.Port()));
    EXPECT_STREQ(client.greeting.szVersion, "1.00");
    EXPECT_EQ(client.greeting.strPublicKey, server.Server().PublicKey());
    EXPECT_EQ(client.Login("alice", "secret1"), 0u);
    EXPECT_EQ(client.Path(XRF_CMD_GET_FILE_ATTRIBUTES, "").nValue, static_cast<DWORD>(FILE_ATTRIBUTE_DIRECTORY));
    EXPECT_EQ(server.Server().Logins(), 1);

    const struct {
        const char* pszUser;
        const char* pszPassword;
        DWORD nError;
    } refused[] = {
        {"alice", "secret2", XRFP_ERROR_BAD_PASSWORD}, {"alice", "", XRFP_ERROR_BAD_PASSWORD},
        {"carol", "secret1", XRFP_ERROR_NO_SUCH_USER}, {"Alice", "secret1", XRFP_ERROR_NO_SUCH_USER},
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
    EXPECT_EQ(CountLogLines("incorrect password"), 2u);
    EXPECT_EQ(CountLogLines("no user carol"), 1u);
    EXPECT_EQ(CountLogLines("no user (15-byte name)"), 1u) << "no name that no user can have reaches the log";
    EXPECT_EQ(CountLogLines("\n"), 0u);

    EXPECT_EQ(server.Server().Logins(), 1);
}

// Share modes hold across connections; a refused truncating open leaves the
// file as it was, and an allowed one for reading cannot write.
TEST_F(ServerTest, ShareModesHoldAcrossConnections)
{
    auto pFirst = LoggedIn(server);
    auto pSecond = LoggedIn(server);
    WriteBytes(root / "s.txt", "shared text");
    const DWORD kShareRead = 1, kShareBoth = 3;
    tagXRFCreateFileReply writer = pFirst->Create("s.txt", kRead | kWrite, kOpenExisting, kShareRead);
    ASSERT_EQ(writer.nError, 0u);
    EXPECT_EQ(pSecond->Create("s.txt", kRead, kOpenExisting, kShareRead).nError, static_cast<DWORD>(EBUSY))
        << "the new reader must share the writing";
    EXPECT_EQ(pSecond->Create("s.txt", kRead, kOpenExisting, kShareBoth).nError, 0u);
    for (DWORD nDisposition : {kOpenExisting, kCreateAlways})
        EXPECT_EQ(pSecond->Create("s.txt", kWrite, nDisposition, kShareBoth).nError, static_cast<DWORD>(EBUSY));
    WriteBytes(root / "held.txt", "held");
    tagXRFCreateFileReply held = pFirst->Create("held.txt", kRead | kWrite, kOpenExisting, 0);
    for (DWORD nAccess : {kRead, kWrite, kRead | kWrite})
        EXPECT_EQ(pSecond->Create("held.txt", nAccess, kCreateAlways, kShareBoth).nError, static_cast<DWORD>(EBUSY))
            << "held exclusively";
    EXPECT_EQ(ReadBytes(root / "s.txt"), "shared text");
    EXPECT_EQ(ReadBytes(root / "held.txt"), "held");
    EXPECT_EQ(pFirst->Handle(XRF_CMD_CLOSE_HANDLE, held.hFile).nError, 0u);
    EXPECT_EQ(pFirst->Handle(XRF_CMD_CLOSE_HANDLE, writer.hFile).nError, 0u);
    EXPECT_EQ(pSecond->Create("s.txt", kWrite, kOpenExisting, kShareBoth).nError, 0u);
    tagXRFCreateFileReply created = pSecond->Create("s.txt", kRead, kCreateAlways, kShareBoth);
    EXPECT_EQ(created.nFileSize, 0);
    EXPECT_EQ(pSecond->Write(created.hFile, 0, "x").nError, static_cast<DWORD>(EBADF));
    EXPECT_EQ(ReadBytes(root / "s.txt"), "");
}

TEST_F(ServerTest, HandlesBelongToTheLogin)
{
    auto pFirst = LoggedIn(server);
    auto pSecond = LoggedIn(server);
    auto pBob = LoggedIn(server, "bob", "secret2");
    DWORD h = pFirst->Create("shared.txt", kRead | kWrite, kCreateAlways).hFile;
    EXPECT_EQ(pSecond->Write(h, 0, "from the second").nError, 0u);
    std::string strData;
    EXPECT_EQ(pFirst->Read(h, 9, 6, strData), 0u);
    EXPECT_EQ(strData, "second");

    // Another user's connection does not know the handle.
    EXPECT_EQ(pBob->Read(h, 0, 4, strData), XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(pBob->Write(h, 0, "x").nError, XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(pBob->Handle(XRF_CMD_CLOSE_HANDLE, h).nError, XRFP_ERROR_INVALID_HANDLE);

    // The handle outlives the connection that opened it.
    pFirst.reset();
    EXPECT_EQ(pSecond->Read(h, 0, 4, strData), 0u);
    EXPECT_EQ(strData, "from");
    EXPECT_EQ(pSecond->Handle(XRF_CMD_CLOSE_HANDLE, h).nError, 0u);

    // A find handle is not a file handle, nor the other way round.
    DWORD hFile = pSecond->Create("shared.txt", kRead, kOpenExisting).hFile;
    DWORD hFind = pSecond->FindFirst("*").hFind;
    EXPECT_EQ(pSecond->Handle(XRF_CMD_FIND_CLOSE, hFile).nError, XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(pSecond->Handle(XRF_CMD_CLOSE_HANDLE, hFind).nError, XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(pBob->Handle(XRF_CMD_FIND_CLOSE, hFind).nError, XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(pSecond->Handle(XRF_CMD_FIND_CLOSE, hFind).nError, 0u);
}

TEST_F(ServerTest, ReadsOfAnyCountAreServedToTheEndOfTheFile)
{
    std::string strContent(700000, '\0');
    for (size_t i = 0; i < strContent.size(); ++i)
        strContent[i] = static_cast<char>(i * 31 + i / 997);
    WriteBytes(root / "big.bin", strContent);
    auto pClient = LoggedIn(server);
    DWORD h = pClient->Create("big.bin", kRead, kOpenExisting).hFile;
    const struct {
        int64_t nPosition;
        DWORD nCount;
        size_t nExpected;
    } reads[] = {
        {0, 300000, 300000},       // above the client's usual slice
        {600000, 300000, 100000},  // across the end
        {0, 1u << 30, 700000},     // the largest count served
        {699999, 262144, 1},       // the last byte
        {700000, 262144, 0},       // at the end
        {800000, 10, 0},           // past it
    };
    for (const auto& r : reads) {
        std::string strData;
        EXPECT_EQ(pClient->Read(h, r.nPosition, r.nCount, strData), 0u) << r.nPosition << "+" << r.nCount;
        EXPECT_TRUE(strData == strContent.substr(std::min<size_t>(r.nPosition, strContent.size()), r.nExpected))
            << r.nPosition << "+" << r.nCount << " gave " << strData.size();
    }
    // An absurd count is refused with an error reply, and the connection
    // stays in step.
    std::string strData;
    EXPECT_EQ(pClient->Read(h, 0, 0xFFFFFFFFu, strData), XRFP_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(strData, "");
    EXPECT_EQ(pClient->Read(h, 10, 5, strData), 0u);
    EXPECT_EQ(strData, strContent.substr(10, 5));
}

// No tree is built that a path cannot name, by creating or by moving; new
// files and directories get modes 0644 and 0755 whatever the umask.
TEST_F(ServerTest, TreesStayNameableAndModesFixed)
{
    auto pClient = LoggedIn(server);
    RawClient& c = *pClient;
    auto repeat = [](size_t nTimes) {
        std::string str = "d";
        for (size_t i = 1; i < nTimes; ++i)
            str += "\\d";
        return str;
    };
    for (size_t nDepth = 1; nDepth <= 64; ++nDepth)
        ASSERT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, repeat(nDepth)).nError, 0u) << nDepth;
    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, repeat(65)).nError, static_cast<DWORD>(ENAMETOOLONG));
    EXPECT_EQ(c.Create(repeat(64) + "\\f", kWrite, kCreateNew).nError, static_cast<DWORD>(ENAMETOOLONG));
    EXPECT_EQ(c.Move("d\\d", "e"), 0u) << "shallower is fine";
    for (const char* pszPath : {"x", "x\\y"})
        EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, pszPath).nError, 0u);
    EXPECT_EQ(c.Move("e", "x\\y\\e"), static_cast<DWORD>(ENAMETOOLONG)) << "62 levels below it";
    EXPECT_EQ(c.Move("e", "x\\e"), 0u) << "64 levels in all";

    const std::string strLong(100, 'L'), strTall(100, 'T'), strWide(60, 'P');
    for (const std::string& strPath : {strLong, strLong + "\\" + strTall, strWide})
        EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, strPath).nError, 0u);
    EXPECT_EQ(c.Move(strLong, strWide + "\\" + strLong), static_cast<DWORD>(ENAMETOOLONG))
        << "a 262-character path below";
    EXPECT_EQ(c.Move(strLong, "short"), 0u);
    EXPECT_EQ(c.Path(XRF_CMD_REMOVE_DIRECTORY, "d", 1).nError, 0u);

    mode_t nOld = umask(077);
    DWORD h = c.Create("made.txt", kWrite, kCreateNew).hFile;
    DWORD nDirectory = c.Path(XRF_CMD_CREATE_DIRECTORY, "made").nError;
    umask(nOld);
    EXPECT_NE(h, 0xFFFFFFFFu);
    EXPECT_EQ(nDirectory, 0u);
    EXPECT_EQ(fs::status(root / "made.txt").permissions(), static_cast<fs::perms>(0644));
    EXPECT_EQ(fs::status(root / "made").permissions(), static_cast<fs::perms>(0755));
}

// Connections and handles are limited per user; a search or list stops at
// the limit of entries looked at, matching or not; silent connections close.
TEST(ServerLimits, ConnectionsHandlesSearchesAndIdleTime)
{
    tagXRFPSettings settings;
    settings.nMaxConnections = 2;
    settings.nMaxHandles = 2;
    settings.nIdleSeconds = 1;
    settings.nMaxListItems = 50;
    TestServer server(settings);
    fs::create_directories(server.Root() / "big" / "sub");
    for (int i = 0; i < 60; ++i)
        WriteBytes(server.Root() / "big" / "sub" / ("f" + std::to_string(i)), "");
    auto pFirst = LoggedIn(server);
    auto pSecond = LoggedIn(server, "bob", "secret2");
    RawClient third;
    ASSERT_TRUE(third.Connect(server.Port()));
    EXPECT_EQ(third.Login("alice", "secret1"), XRFP_ERROR_TOO_MANY_CONNECTIONS);

    DWORD nError = 0;
    EXPECT_TRUE(pFirst->List("big\\*.none", 1, nError).empty());
    EXPECT_EQ(nError, static_cast<DWORD>(E2BIG));
    EXPECT_EQ(pFirst->List("big", 0, nError).size(), 1u);
    EXPECT_EQ(nError, 0u);
    EXPECT_EQ(pFirst->FindFirst("big\\sub\\*.none").nError, static_cast<DWORD>(E2BIG));
    EXPECT_EQ(pFirst->Move("big", "moved"), static_cast<DWORD>(E2BIG)) << "a move measures what it takes along";
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(pFirst->Create(std::to_string(i), kWrite, kCreateAlways).nError, i < 2 ? 0u : DWORD(EMFILE)) << i;
    EXPECT_EQ(pSecond->Create("1", kWrite, kCreateAlways).nError, 0u) << "the limit is per user";
    auto tStart = std::chrono::steady_clock::now();
    EXPECT_TRUE(pFirst->ClosedByServer());
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(5));
}

TEST(ServerLimits, HandlesAreClosedAfterTheLastConnectionLingers)
{
    tagXRFPSettings settings;
    settings.nLingerSeconds = 0;
    TestServer server(settings);
    auto pClient = LoggedIn(server);
    DWORD h = pClient->Create("f", kRead | kWrite, kCreateAlways).hFile;
    pClient.reset();
    // The reaper runs about once a second; give it a few turns.
    for (int i = 0; i < 40 && server.Server().ActiveConnections() > 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    std::string strData;
    EXPECT_EQ(LoggedIn(server)->Read(h, 0, 1, strData), XRFP_ERROR_INVALID_HANDLE);
}
