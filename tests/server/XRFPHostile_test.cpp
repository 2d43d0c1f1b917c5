// The server against clients that try to harm it or other users.
#include "XRFPTestClient.h"

#include "XRFPErrors.h"
#include "XRFPLog.h"
#include "XRFPThrottle.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <new>
#include <thread>

using namespace xrftest;

// Allocations of 768 MiB and more fail here, as on a machine without the
// memory; the other forms of new and delete reach these, or pair among
// themselves under a sanitizer.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(size_t nSize)
{
    void* p = nSize < (size_t(768) << 20) ? std::malloc(nSize ? nSize : 1) : nullptr;
    if (!p)
        throw std::bad_alloc();
    return p;
}
void* operator new(size_t nSize, const std::nothrow_t&) noexcept
{
    return nSize < (size_t(768) << 20) ? std::malloc(nSize ? nSize : 1) : nullptr;
}
void operator delete(void* p) noexcept
{
    std::free(p);
}
void operator delete(void* p, size_t) noexcept
{
    std::free(p);
}

namespace {

std::vector<BYTE> Words(std::initializer_list<DWORD> words)
{
    std::vector<BYTE> vecBytes;
    for (DWORD n : words)
        for (int i = 0; i < 4; ++i)
            vecBytes.push_back(static_cast<BYTE>(n >> (8 * i)));
    return vecBytes;
}

double SecondsSince(std::chrono::steady_clock::time_point t)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t).count();
}

tagXRFPSettings Settings(std::initializer_list<std::pair<const char*, const char*>> values)
{
    tagXRFPSettings settings;
    std::string strError;
    for (const auto& value : values)
        EXPECT_TRUE(XfnRFPApplySetting(settings, value.first, value.second, strError)) << strError;
    return settings;
}

} // namespace

// Other connections of the user swap a directory on the path for a link that
// climbs out while the first opens through it: nothing outside is reached.
TEST(ServerHostile, LinkSwapRaceNeverLeavesTheRoot)
{
    TestServer server;
    fs::path root = server.Root("alice");
    fs::create_directories(root / "pdir" / "bob");
    WriteBytes(root / "pdir" / "bob" / "bob.txt", "alice's own");
    WriteBytes(server.Root("bob") / "bob.txt", "bob's secret");
    fs::create_directory_symlink("..", root / "plink");  // from the root, leads to the directory above

    // Two movers: "p" turns from directory to link (missing, ENOENT, between).
    PoolScope pool;
    RemoteOps reader(server.Param());
    std::atomic<bool> bStop{false};
    std::vector<std::thread> vecMovers;
    for (const char* pszName : {"pdir", "plink"}) {
        vecMovers.emplace_back([&, pszName] {
            RemoteOps mover(reader.param);
            while (!bStop) {
                mover.Move(pszName, "p");
                mover.Move("p", pszName);
            }
        });
    }
    int nEscapes = 0, nReads = 0;
    auto tStart = std::chrono::steady_clock::now();
    while (SecondsSince(tStart) < 2.0) {
        DWORD h = reader.Create("p\\bob\\bob.txt", kOpenExisting, kRead);
        DWORD nOpened = reader.error;
        DWORD nAttributes = reader.Path(XRF_CMD_GET_FILE_ATTRIBUTES, "p\\bob\\bob.txt");
        EXPECT_TRUE(nAttributes == 0 || nAttributes == XRFP_ERROR_ACCESS_DENIED ||
                    nAttributes == XRFP_ERROR_PATH_NOT_FOUND || nAttributes == ENOENT)
            << std::hex << "0x" << nAttributes;
        if (nOpened)
            continue;
        std::string strData;
        reader.Read(h, 0, 64, strData);
        reader.Close(h);
        ++nReads;
        nEscapes += strData != "alice's own";
    }
    bStop = true;
    for (std::thread& mover : vecMovers)
        mover.join();
    EXPECT_EQ(nEscapes, 0) << "of " << nReads << " reads";
    EXPECT_GT(nReads, 0);
}

// Connections that never log in, or trickle their login a byte at a time,
// are closed at the login deadline and hold only the slots kept for them;
// a logged-in user goes on meanwhile, and logs in again afterwards.
TEST(ServerHostile, IdleAndTricklingConnectionsCannotLockUsersOut)
{
    TestServer server(Settings({{"login-timeout", "2"}, {"max-unauthenticated", "4"}, {"max-per-address", "5"}}));
    PoolScope pool;
    RemoteOps user(server.Param());
    EXPECT_EQ(user.Path(XRF_CMD_GET_FILE_ATTRIBUTES, ""), 0u);
    auto tStart = std::chrono::steady_clock::now();
    RawClient idle[3];
    for (RawClient& c : idle)
        ASSERT_TRUE(c.Connect(server.Port()));
    RawClient trickler;
    ASSERT_TRUE(trickler.Connect(server.Port()));
    std::vector<BYTE> vecLogin = trickler.LoginPacket("alice", "secret1");
    std::atomic<bool> bTrickleCut{false};
    std::thread trickle([&] {
        for (size_t i = 0; i < vecLogin.size() && !bTrickleCut; ++i) {
            if (!trickler.Send(std::vector<BYTE>{vecLogin[i]}))
                bTrickleCut = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
    });
    // The slots for connections not logged in are full: more are closed at once.
    RawClient refused;
    EXPECT_FALSE(refused.Connect(server.Port()));
    EXPECT_EQ(user.Path(XRF_CMD_GET_FILE_ATTRIBUTES, ""), 0u);

    for (RawClient& c : idle)
        EXPECT_TRUE(c.ClosedByServer());
    EXPECT_TRUE(trickler.ClosedByServer());
    bTrickleCut = true;
    trickle.join();
    EXPECT_LT(SecondsSince(tStart), 4.5) << "the login deadline is 2 s";
    RemoteOps later(server.Param("bob", "secret2"));
    EXPECT_EQ(later.Path(XRF_CMD_GET_FILE_ATTRIBUTES, ""), 0u);

    // One address holds at most its share.
    RawClient more[4];
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(more[i].Connect(server.Port()), i < 3) << i;
}

// Lists and reads are given up at the send deadline when their client does not
// take them; find handles keep a place, not names; each user has a budget.
TEST(ServerHostile, ClientsCannotPinTheServersMemory)
{
    TestServer server(Settings({{"idle-timeout", "2"}, {"max-user-memory", "8"}}));
    fs::path root = server.Root("alice");
    fs::create_directories(root / "many");
    for (int i = 0; i < 20000; ++i)
        WriteBytes(root / "many" / ("entry_with_a_long_name_" + std::to_string(i)), "");

    // A list of 20000 items and a read of 1 GiB, taken 4 KiB at a time: the
    // server gives up at its deadline, and what is left in the socket ends
    // before the reply does. The read is announced whole.
    fs::resize_file(root / "many" / "entry_with_a_long_name_0", 1 << 30);
    PoolScope pool;
    RemoteOps ops(server.Param());
    DWORD h = ops.Create("many\\entry_with_a_long_name_0", kOpenExisting, kRead);
    auto pReader = LoggedIn(server);
    std::vector<BYTE> vecList, vecRead, vecSome, vecFirst;
    XfnRFBuildPathRequest(vecList, tagXRFPathRequest{XRF_CMD_FIND_FILE_LIST, "many", 0});
    XfnRFBuildTransferRequest(vecRead, XRF_CMD_READ_FILE, tagXRFTransferRequest{0, h, 1u << 30});
    const std::pair<std::vector<BYTE>, size_t> requests[] = {{vecList, 20000 * 336}, {vecRead, size_t(1) << 30}};
    for (const auto& [vecRequest, nWhole] : requests) {
        ASSERT_TRUE(pReader->Send(vecRequest));
        size_t nReceived = 0;
        for (auto tStart = std::chrono::steady_clock::now(); SecondsSince(tStart) < 3.5;) {
            std::this_thread::sleep_for(std::chrono::milliseconds(250));
            bool bGot = pReader->Recv(4096, vecSome);
            if (bGot && nReceived == 0)
                vecFirst = vecSome;
            nReceived += bGot ? 4096 : 0;
        }
        while (pReader->Recv(1 << 16, vecSome))
            nReceived += 1 << 16;
        EXPECT_LT(nReceived, nWhole);
        pReader = LoggedIn(server);
    }
    tagXRFReply head{};
    ASSERT_EQ(XfnRFParseReadReply(vecFirst.data(), 16, 1u << 30, head), XRF_WIRE_OK);
    EXPECT_EQ(head.nValue, 1u << 30) << "served whole";

    XFile::XRFClean();  // the pool's connection has been idle past the deadline
    XFile::XRFInit();
    int nHandles = 0;
    while (nHandles < 256 && XRFFindFirstFile(ops.param, "many\\*", nullptr, ops.error, ops.key) != ~0u)
        ++nHandles;
    EXPECT_EQ(ops.error, static_cast<DWORD>(ENOMEM)) << "the user's budget of 8 MiB ends the handles";
    EXPECT_GT(nHandles, 100);
}

// A request whose memory cannot be had ends its own connection; the
// server, the other connections and the user's handles go on.
TEST(ServerHostile, FailedAllocationClosesOnlyItsConnection)
{
    TestServer server(Settings({{"max-block", "1073741824"}, {"max-user-memory", "4096"}}));
    PoolScope pool;
    RemoteOps bystander(server.Param());
    DWORD h = bystander.Create("keep.txt", kCreateAlways);
    auto pGreedy = LoggedIn(server);
    std::vector<BYTE> vecHead;
    XfnRFBuildDataBlockHead(vecHead, tagXRFDataBlockHead{(1u << 30) - 1});
    ASSERT_TRUE(pGreedy->Send(vecHead));
    EXPECT_TRUE(pGreedy->ClosedByServer());
    EXPECT_EQ(server.Server().FailedConnections(), 1);
    EXPECT_EQ(bystander.Write(h, 0, "still here"), 0u);
}

// A login recorded on the wire is refused once the greeting key that it
// was encrypted for has been replaced.
TEST(ServerHostile, ReplayedLoginIsRefusedAfterKeyRotation)
{
    TestServer server(Settings({{"key-uses", "1"}, {"key-bits", "1024"}}));
    RawClient first;
    ASSERT_TRUE(first.Connect(server.Port()));
    std::vector<BYTE> vecRecorded = first.LoginPacket("alice", "secret1");
    EXPECT_EQ(first.SendLogin(vecRecorded), 0u);

    RawClient replay;
    ASSERT_TRUE(replay.Connect(server.Port()));
    EXPECT_NE(replay.greeting.strPublicKey, first.greeting.strPublicKey);
    EXPECT_EQ(replay.SendLogin(vecRecorded), XRFP_ERROR_INVALID_PACKET);
    EXPECT_TRUE(replay.ClosedByServer());
    RawClient honest;
    ASSERT_TRUE(honest.Connect(server.Port()));
    EXPECT_EQ(honest.Login("alice", "secret1"), 0u);
}

// After a few failures from one address or on one name, every further
// attempt waits longer. (The log's limit: the descriptor flood below.)
TEST(ServerHostile, PasswordGuessingIsSlowedAndItsLogLimited)
{
    TestServer server;
    auto guess = [&](const char* pszPassword) {
        RawClient c;
        EXPECT_TRUE(c.Connect(server.Port()));
        return c.Login("alice", pszPassword);
    };
    auto tStart = std::chrono::steady_clock::now();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(guess("wrong"), XRFP_ERROR_BAD_PASSWORD);
    double dFree = SecondsSince(tStart);
    tStart = std::chrono::steady_clock::now();
    EXPECT_EQ(guess("wrong"), XRFP_ERROR_BAD_PASSWORD);
    EXPECT_GE(SecondsSince(tStart), 0.45) << "the 4th guess waits 0.5 s; the first three took " << dFree << " s";
    tStart = std::chrono::steady_clock::now();
    EXPECT_EQ(guess("secret1"), 0u) << "the right password still works, after its wait";
    EXPECT_GE(SecondsSince(tStart), 0.95) << "the 5th attempt waits 1 s";

    // The counts behind those waits, per address and per name.
    XRFPThrottle throttle;
    for (int i = 0; i < 3; ++i)
        throttle.Failed("10.0.0.1", "alice");
    throttle.Failed("10.0.0.2", "bob");
    EXPECT_EQ(throttle.Delay("10.0.0.1", "").count(), 500);
    EXPECT_EQ(throttle.Delay("10.0.0.9", "alice").count(), 500) << "a name is slowed from any address";
    EXPECT_EQ(throttle.Delay("10.0.0.2", "bob").count(), 0);
    for (int i = 0; i < 20; ++i)
        throttle.Failed("10.0.0.1", "");
    EXPECT_EQ(throttle.Delay("10.0.0.1", "").count(), 10000) << "the ceiling";
    throttle.Succeeded("10.0.0.1", "alice");
    EXPECT_EQ(throttle.Delay("10.0.0.1", "alice").count(), 0) << "a success clears both counts";
}

// Link refusals are the path resolver's tests' matter; here, one path out per
// command family, its error word, and links out left out of lists.
TEST(ServerHostile, PathsCannotLeaveTheRoot)
{
    TestServer server;
    PoolScope pool;
    RemoteOps c(server.Param());
    fs::path root = server.Root();
    WriteBytes(server.Root("bob") / "bob.txt", "bob's");
    WriteBytes(server.Dir() / "outside.txt", "outside");
    fs::create_directories(root / "in");
    WriteBytes(root / "in" / "mine.txt", "mine");
    fs::create_symlink(server.Dir() / "outside.txt", root / "escape.txt");
    fs::create_directory_symlink(server.Root("bob"), root / "bobdir");

    c.Create("escape.txt", kOpenExisting, kRead);
    EXPECT_EQ(c.error, XRFP_ERROR_ACCESS_DENIED);
    EXPECT_EQ(c.Path(XRF_CMD_GET_FILE_ATTRIBUTES, "in\\..\\..\\bob\\bob.txt"), XRFP_ERROR_ACCESS_DENIED);
    EXPECT_EQ(c.Move("in\\mine.txt", "..\\stolen.txt"), XRFP_ERROR_ACCESS_DENIED);
    XRFFileInfoList items;
    EXPECT_EQ(XRFFindFileList(c.param, "bobdir", 0, items, c.error, c.key), 0);
    EXPECT_EQ(c.error, XRFP_ERROR_ACCESS_DENIED);
    std::vector<std::string> vecNames;
    XRFFindFileList(c.param, "", 1, items, c.error, c.key);
    for (POSITION pos = items.GetHeadPosition(); pos;)
        vecNames.emplace_back(items.GetNext(pos).GetName());
    EXPECT_EQ(vecNames, (std::vector<std::string>{"in", "in\\mine.txt"})) << "links that lead out are left out";
    // Deleting a link removes the link, not its target.
    EXPECT_EQ(c.Path(XRF_CMD_DELETE_FILE, "escape.txt"), 0u);
    EXPECT_TRUE(fs::exists(server.Dir() / "outside.txt"));
    EXPECT_TRUE(fs::exists(server.Root("bob") / "bob.txt"));
}

TEST(ServerHostile, MalformedPacketsCloseOnlyTheirConnection)
{
    TestServer server;
    PoolScope pool;
    RemoteOps bystander(server.Param());
    DWORD h = bystander.Create("keep.txt", kCreateAlways);

    // What the request reader refuses is its own tests' matter; here, that any
    // refusal, the reader's or the session's, closes only its connection.
    std::vector<BYTE> vecBigBlock;
    XfnRFBuildDataBlockHead(vecBigBlock, tagXRFDataBlockHead{(1u << 20) + 1});
    std::vector<BYTE> vecSecondLogin = Words({XRF_CMD_LOGIN, 8192});
    vecSecondLogin.resize(8200, 0);
    const std::pair<const char*, std::vector<BYTE>> cases[] = {
        {"wrong length word", Words({XRF_CMD_CLOSE_HANDLE, 17, h, 0, 0})},
        {"block above the server's limit", vecBigBlock},
        {"second login", vecSecondLogin},
    };
    long nBefore = server.Server().MalformedConnections();
    XfnRFPSetLogSink(&CaptureLog);
    for (const auto& c : cases) {
        auto pClient = LoggedIn(server);
        ASSERT_TRUE(pClient->Send(c.second)) << c.first;
        EXPECT_TRUE(pClient->ClosedByServer()) << c.first;
        // The other connection and the login's handle go on working.
        EXPECT_EQ(bystander.Write(h, 0, c.first), 0u) << c.first;
    }
    EXPECT_EQ(server.Server().MalformedConnections() - nBefore, static_cast<long>(std::size(cases)));
    XfnRFPSetLogSink(nullptr);
    EXPECT_EQ(CountLogLines("malformed packet"), std::size(cases));
    EXPECT_EQ(CountLogLines("wrong length word (command 3)"), 1u);

    // Before login, anything but a login is malformed too.
    RawClient early;
    ASSERT_TRUE(early.Connect(server.Port()));
    std::vector<BYTE> vecRequest;
    XfnRFBuildRootListRequest(vecRequest);
    ASSERT_TRUE(early.Send(vecRequest));
    EXPECT_TRUE(early.ClosedByServer());
}

// The built program with a descriptor limit of 40 and a flood of
// connections: it backs off with a few log lines instead of spinning, serves
// again once the flood ends, and keeps its handles within their budget.
TEST(ServerHostile, RunningOutOfDescriptorsBacksOffAndRecovers)
{
    if (kSanitized)
        GTEST_SKIP() << "the sanitizer's runtime fails without descriptors";
    ProgramRun run("ulimit -n 40;", "--throwaway --max-unauthenticated 200 --max-per-address 200"
                                    " --max-open-handles 3");
    ASSERT_GT(run.Port(), 0);
    std::vector<std::unique_ptr<RawClient>> vecFlood;
    for (int i = 0; i < 80; ++i) {
        vecFlood.push_back(std::make_unique<RawClient>());
        EXPECT_TRUE(vecFlood.back()->ConnectOnly(run.Port()));
    }
    std::this_thread::sleep_for(std::chrono::seconds(2));
    std::string strText = run.Log();
    EXPECT_NE(strText.find("cannot accept"), std::string::npos);
    EXPECT_LE(std::count(strText.begin(), strText.end(), '\n'), 25) << "the log line is limited:\n" << strText;
    vecFlood.clear();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));  // the dead connections are taken and closed

    PoolScope pool;
    RemoteOps client(LocalParam(run.Port(), "demo", "demo"));
    for (int i = 0; i < 4; ++i) {
        client.Create("f" + std::to_string(i), kCreateAlways, kWrite);
        EXPECT_EQ(client.error, i < 3 ? 0u : static_cast<DWORD>(EMFILE)) << i << run.Log();
    }
}
