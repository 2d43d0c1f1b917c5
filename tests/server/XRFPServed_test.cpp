// The protocol served whole, and the program out of descriptors.
#include "XRFPTestClient.h"

#include "XRFPErrors.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <sys/stat.h>
#include <thread>

using namespace xrfptest;

namespace {

const DWORD kRead = 0x80000000u;
const DWORD kWrite = 0x40000000u;
const DWORD kCreateNew = 1, kCreateAlways = 2, kOpenExisting = 3;

DWORD Move(RawClient& c, const std::string& strOld, const std::string& strNew)
{
    std::vector<BYTE> vecPacket;
    XfnRFBuildMoveFileRequest(vecPacket, tagXRFMoveFileRequest{strOld, strNew});
    return c.Small(vecPacket, XRF_CMD_MOVE_FILE).nError;
}

std::string Repeat(const std::string& strPart, size_t nTimes)
{
    std::string str;
    for (size_t i = 0; i < nTimes; ++i)
        str += (i ? "\\" : "") + strPart;
    return str;
}

} // namespace

TEST(ServerProtocol, ReadsOfAnyCountAreServedToTheEndOfTheFile)
{
    TestServer server;
    std::string strContent(700000, '\0');
    for (size_t i = 0; i < strContent.size(); ++i)
        strContent[i] = static_cast<char>(i * 31 + i / 997);
    WriteText(server.Root("alice") / "big.bin", strContent);
    auto pClient = LoggedIn(server, "alice", "secret1");
    DWORD h = pClient->Create("big.bin", kRead, kOpenExisting).hFile;

    const struct {
        int64_t nPosition;
        DWORD nCount;
        size_t nExpected;
    } reads[] = {
        {0, 300000, 300000},            // above the client's usual slice
        {600000, 300000, 100000},       // across the end
        {0, 1u << 30, 700000},          // the largest count served
        {699999, 262144, 1},            // the last byte
        {700000, 262144, 0},            // at the end
        {800000, 10, 0},                // past it
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

TEST(ServerProtocol, RefusedCreateAlwaysTruncatesNothing)
{
    TestServer server;
    WriteText(server.Root("alice") / "held.txt", "held exclusively for writing");
    auto pHolder = LoggedIn(server, "alice", "secret1");
    auto pOther = LoggedIn(server, "alice", "secret1");
    tagXRFCreateFileReply held = pHolder->Create("held.txt", kRead | kWrite, kOpenExisting, 0);
    ASSERT_EQ(held.nError, 0u);
    for (DWORD nAccess : {kRead, kWrite, kRead | kWrite})
        EXPECT_EQ(pOther->Create("held.txt", nAccess, kCreateAlways, 3).nError, static_cast<DWORD>(EBUSY)) << nAccess;
    EXPECT_EQ(ReadText(server.Root("alice") / "held.txt"), "held exclusively for writing");

    // Once allowed, it empties the file, and its handle cannot write.
    EXPECT_EQ(pHolder->Handle(XRF_CMD_CLOSE_HANDLE, held.hFile).nError, 0u);
    tagXRFCreateFileReply created = pOther->Create("held.txt", kRead, kCreateAlways, 3);
    EXPECT_EQ(created.nFileSize, 0);
    EXPECT_EQ(pOther->Write(created.hFile, 0, "x").nError, static_cast<DWORD>(EBADF));
    EXPECT_EQ(ReadText(server.Root("alice") / "held.txt"), "");
}

// No tree is built that a path cannot name, by creating or by moving; new
// files and directories get modes 0644 and 0755 whatever the umask.
TEST(ServerProtocol, TreesStayNameableAndModesFixed)
{
    TestServer server;
    auto pClient = LoggedIn(server, "alice", "secret1");
    RawClient& c = *pClient;
    for (size_t nDepth = 1; nDepth <= 64; ++nDepth)
        ASSERT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, Repeat("d", nDepth)).nError, 0u) << nDepth;
    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, Repeat("d", 65)).nError, static_cast<DWORD>(ENAMETOOLONG));
    EXPECT_EQ(c.Create(Repeat("d", 64) + "\\f", kWrite, kCreateNew).nError, static_cast<DWORD>(ENAMETOOLONG));
    EXPECT_EQ(Move(c, "d\\d", "e"), 0u) << "shallower is fine";
    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, "x").nError, 0u);
    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, "x\\y").nError, 0u);
    EXPECT_EQ(Move(c, "e", "x\\y\\e"), static_cast<DWORD>(ENAMETOOLONG)) << "62 levels below it";
    EXPECT_EQ(Move(c, "e", "x\\e"), 0u) << "64 levels in all";

    const std::string strLong(100, 'L'), strTall(100, 'T');
    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, strLong).nError, 0u);
    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, strLong + "\\" + strTall).nError, 0u);
    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, std::string(60, 'P')).nError, 0u);
    EXPECT_EQ(Move(c, strLong, std::string(60, 'P') + "\\" + strLong), static_cast<DWORD>(ENAMETOOLONG))
        << "a 262-character path below";
    EXPECT_EQ(Move(c, strLong, "short"), 0u);
    EXPECT_EQ(c.Path(XRF_CMD_REMOVE_DIRECTORY, "d", 1).nError, 0u);

    mode_t nOld = umask(077);
    DWORD h = c.Create("made.txt", kWrite, kCreateNew).hFile;
    DWORD nDirectory = c.Path(XRF_CMD_CREATE_DIRECTORY, "made").nError;
    umask(nOld);
    EXPECT_NE(h, 0xFFFFFFFFu);
    EXPECT_EQ(nDirectory, 0u);
    EXPECT_EQ(fs::status(server.Root("alice") / "made.txt").permissions(), static_cast<fs::perms>(0644));
    EXPECT_EQ(fs::status(server.Root("alice") / "made").permissions(), static_cast<fs::perms>(0755));
}

// A search or list stops at the limit of entries looked at, matching or
// not, so a pattern that matches nothing cannot walk a whole tree.
TEST(ServerProtocol, SearchesCountTheEntriesTheyVisit)
{
    tagXRFPSettings settings;
    settings.nMaxListItems = 50;
    TestServer server(settings);
    fs::create_directories(server.Root("alice") / "big" / "sub");
    for (int i = 0; i < 60; ++i)
        WriteText(server.Root("alice") / "big" / "sub" / ("f" + std::to_string(i)), "");
    auto pClient = LoggedIn(server, "alice", "secret1");
    DWORD nError = 0;
    EXPECT_TRUE(pClient->List("big\\*.none", 1, nError).empty());
    EXPECT_EQ(nError, static_cast<DWORD>(E2BIG));
    EXPECT_EQ(pClient->List("big", 0, nError).size(), 1u);
    EXPECT_EQ(nError, 0u);
    std::vector<BYTE> vecPacket, vecReply;
    XfnRFBuildPathRequest(vecPacket, tagXRFPathRequest{XRF_CMD_FIND_FIRST_FILE, "big\\sub\\*.none", 0});
    vecReply = pClient->Exchange(vecPacket, XRF_CMD_FIND_FIRST_FILE);
    tagXRFFindReply found{};
    ASSERT_EQ(XfnRFParseFindFirstReply(vecReply.data(), vecReply.size(), found), XRF_WIRE_OK);
    EXPECT_EQ(found.nError, static_cast<DWORD>(E2BIG));
}

// The built program with a descriptor limit of 40 and a flood of
// connections: it backs off with a few log lines instead of spinning, serves
// again once the flood ends, and keeps its handles within their budget.
TEST(ServerProgram, RunningOutOfDescriptorsBacksOffAndRecovers)
{
    if (kSanitized)
        GTEST_SKIP() << "the sanitizer's runtime fails without descriptors";
    fs::path dir = ScratchDir("fds");
    std::string strPort = (dir / "port").string(), strLog = (dir / "log").string(), strPid = (dir / "pid").string();
    std::string strCommand = "(ulimit -n 40 && exec '" XRFPD_PROGRAM "' --throwaway --port 0 --port-file '" + strPort +
                             "' --key-bits 1024 --max-unauthenticated 200 --max-per-address 200"
                             " --max-open-handles 3 --allow-root 2>'" + strLog + "') & echo $! >'" + strPid + "'";
    ASSERT_EQ(std::system(strCommand.c_str()), 0);
    int nPort = 0;
    for (int i = 0; i < 200 && nPort == 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::ifstream(strPort) >> nPort;
    }
    ASSERT_GT(nPort, 0) << ReadText(strLog);

    std::vector<std::unique_ptr<RawClient>> vecFlood;
    for (int i = 0; i < 80; ++i) {
        vecFlood.push_back(std::make_unique<RawClient>());
        EXPECT_TRUE(vecFlood.back()->ConnectOnly(static_cast<uint16_t>(nPort)));
    }
    std::this_thread::sleep_for(std::chrono::seconds(2));
    std::string strText = ReadText(strLog);
    EXPECT_NE(strText.find("cannot accept"), std::string::npos);
    EXPECT_LE(std::count(strText.begin(), strText.end(), '\n'), 25) << "the log line is limited:\n" << strText;
    vecFlood.clear();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));  // the dead connections are taken and closed

    RawClient client;
    ASSERT_TRUE(client.Connect(static_cast<uint16_t>(nPort))) << ReadText(strLog);
    EXPECT_EQ(client.Login("demo", "demo"), 0u);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(client.Create("f" + std::to_string(i), kWrite, kCreateAlways).nError,
                  i < 3 ? 0u : static_cast<DWORD>(EMFILE))
            << i;
    EXPECT_EQ(std::system(("kill $(cat '" + strPid + "'); while kill -0 $(cat '" + strPid + "') 2>/dev/null;"
                           " do sleep 0.05; done").c_str()), 0);
    fs::remove_all(dir);
}
