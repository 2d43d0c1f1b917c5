#include "XRFPTestClient.h"

#include "XRFPErrors.h"
#include "XRFPLog.h"

#include <algorithm>
#include <mutex>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

using namespace xrfptest;

namespace {

const DWORD kRead = 0x80000000u;
const DWORD kWrite = 0x40000000u;
enum : DWORD { kCreateNew = 1, kCreateAlways = 2, kOpenExisting = 3, kOpenAlways = 4, kTruncateExisting = 5 };

// Log lines captured while a test runs.
std::mutex g_logLock;
std::vector<std::string> g_vecLog;

void CaptureLog(const std::string& strLine)
{
    std::lock_guard<std::mutex> guard(g_logLock);
    g_vecLog.push_back(strLine);
}

size_t CountLogLines(const std::string& strText)
{
    std::lock_guard<std::mutex> guard(g_logLock);
    return static_cast<size_t>(std::count_if(g_vecLog.begin(), g_vecLog.end(), [&](const std::string& strLine) {
        return strLine.find(strText) != std::string::npos;
    }));
}

std::vector<BYTE> Bytes(std::initializer_list<DWORD> words)
{
    std::vector<BYTE> vecBytes;
    for (DWORD n : words)
        for (int i = 0; i < 4; ++i)
            vecBytes.push_back(static_cast<BYTE>(n >> (8 * i)));
    return vecBytes;
}

class ServerTest : public ::testing::Test {
protected:
    TestServer server;
};

} // namespace

TEST_F(ServerTest, GreetsWithVersionAndKeyThenLogsIn)
{
    RawClient client;
    ASSERT_TRUE(client.Connect(server.Port()));
    EXPECT_STREQ(client.greeting.szVersion, "1.00");
    EXPECT_EQ(client.greeting.strPublicKey, server.Server().PublicKey());
    EXPECT_EQ(client.Login("alice", "secret1"), 0u);
    EXPECT_EQ(client.Path(XRF_CMD_GET_FILE_ATTRIBUTES, "").nValue, static_cast<DWORD>(FILE_ATTRIBUTE_DIRECTORY));
    EXPECT_EQ(server.Server().Logins(), 1);
}

TEST_F(ServerTest, RefusedLoginsGetTheirCodeAndClose)
{
    struct {
        const char* pszUser;
        const char* pszPassword;
        DWORD nError;
    } cases[] = {
        {"alice", "secret2", XRFP_ERROR_BAD_PASSWORD},
        {"alice", "", XRFP_ERROR_BAD_PASSWORD},
        {"carol", "secret1", XRFP_ERROR_NO_SUCH_USER},
        {"Alice", "secret1", XRFP_ERROR_NO_SUCH_USER},
        {"forged\nlog line", "x", XRFP_ERROR_NO_SUCH_USER},
    };
    XfnRFPSetLogSink(&CaptureLog);
    for (const auto& c : cases) {
        RawClient client;
        ASSERT_TRUE(client.Connect(server.Port()));
        EXPECT_EQ(client.Login(c.pszUser, c.pszPassword), c.nError) << c.pszUser << "/" << c.pszPassword;
        EXPECT_TRUE(client.ClosedByServer());
    }
    XfnRFPSetLogSink(nullptr);
    EXPECT_EQ(CountLogLines("incorrect password"), 2u);
    EXPECT_EQ(CountLogLines("no user carol"), 1u);
    EXPECT_EQ(CountLogLines("no user (15-byte name)"), 1u) << "no name that no user can have reaches the log";
    EXPECT_EQ(CountLogLines("\n"), 0u);

    // Fields encrypted under some other key do not decrypt here.
    RawClient client;
    ASSERT_TRUE(client.Connect(server.Port()));
    XString strPrivate, strPublic;
    XfnGenerateRSAKey(1024, strPrivate, strPublic, "another key");
    client.greeting.strPublicKey = static_cast<const char*>(strPublic);
    EXPECT_EQ(client.Login("alice", "secret1"), XRFP_ERROR_INVALID_PACKET);
    EXPECT_TRUE(client.ClosedByServer());
    EXPECT_EQ(server.Server().Logins(), 0);
}

TEST_F(ServerTest, FileHandleCommands)
{
    auto pClient = LoggedIn(server, "alice", "secret1");
    RawClient& c = *pClient;
    tagXRFCreateFileReply created = c.Create("data.bin", kRead | kWrite, kCreateAlways);
    ASSERT_EQ(created.nError, 0u);
    EXPECT_EQ(created.nCode, 23u);
    EXPECT_EQ(created.nFileSize, 0);
    DWORD h = created.hFile;
    EXPECT_NE(h, 0xFFFFFFFFu);

    tagXRFWriteReply written = c.Write(h, 0, "hello world");
    EXPECT_EQ(written.nError, 0u);
    EXPECT_EQ(written.nWritten, 11u);
    EXPECT_EQ(written.nFileLength, 11);
    written = c.Write(h, 20, "tail");  // past the end: a hole of zeros
    EXPECT_EQ(written.nFileLength, 24);

    std::string strData;
    EXPECT_EQ(c.Read(h, 6, 5, strData), 0u);
    EXPECT_EQ(strData, "world");
    EXPECT_EQ(c.Read(h, 10, 100, strData), 0u);
    EXPECT_EQ(strData, std::string("d\0\0\0\0\0\0\0\0\0tail", 14));
    EXPECT_EQ(c.Read(h, 24, 10, strData), 0u) << "a read at the end is no error";
    EXPECT_EQ(strData, "");
    EXPECT_EQ(c.Read(h, -1, 10, strData), static_cast<DWORD>(EINVAL));

    tagXRFReply size = c.Handle(XRF_CMD_GET_FILE_SIZE, h);
    EXPECT_EQ(size.nCode, 39u);
    EXPECT_EQ(size.nValue, 24u);
    EXPECT_EQ(size.nValueHigh, 0u);

    // The server's file position follows reads and writes and set file
    // pointer; set end of file cuts the file there.
    std::vector<BYTE> vecSeek;
    XfnRFBuildSetFilePointerRequest(vecSeek, tagXRFSetFilePointerRequest{h, 2, -4, -1});
    tagXRFReply seek = c.Small(vecSeek, XRF_CMD_SET_FILE_POINTER);
    EXPECT_EQ(seek.nError, 0u);
    EXPECT_EQ(seek.nValue, 20u);
    EXPECT_EQ(c.Handle(XRF_CMD_SET_END_OF_FILE, h).nError, 0u);
    EXPECT_EQ(c.Handle(XRF_CMD_GET_FILE_SIZE, h).nValue, 20u);
    vecSeek.clear();
    XfnRFBuildSetFilePointerRequest(vecSeek, tagXRFSetFilePointerRequest{h, 1, -30, -1});
    EXPECT_EQ(c.Small(vecSeek, XRF_CMD_SET_FILE_POINTER).nError, static_cast<DWORD>(EINVAL));
    vecSeek.clear();
    XfnRFBuildSetFilePointerRequest(vecSeek, tagXRFSetFilePointerRequest{h, 7, 0, 0});
    EXPECT_EQ(c.Small(vecSeek, XRF_CMD_SET_FILE_POINTER).nError, XRFP_ERROR_INVALID_PARAMETER);
    c.Write(h, 0, "abc");
    EXPECT_EQ(c.Handle(XRF_CMD_SET_END_OF_FILE, h).nError, 0u);
    EXPECT_EQ(ReadText(server.Root("alice") / "data.bin"), "abc");
    EXPECT_EQ(c.Handle(XRF_CMD_FLUSH_FILE_BUFFERS, h).nCode, 30u);

    // File times: a zero time is left alone; the others are set exactly.
    _FILETIME ftAccess{0x12345600, 0x01D00000}, ftWrite{0x65432100, 0x01D10000};
    std::vector<BYTE> vecTimes;
    XfnRFBuildSetFileTimeRequest(vecTimes, tagXRFSetFileTimeRequest{h, {0, 0}, ftAccess, ftWrite});
    tagXRFReply setTime = c.Small(vecTimes, XRF_CMD_SET_FILE_TIME);
    EXPECT_EQ(setTime.nCode, 38u);
    EXPECT_EQ(setTime.nError, 0u);
    std::vector<BYTE> vecPacket;
    XfnRFBuildHandleRequest(vecPacket, tagXRFHandleRequest{XRF_CMD_GET_FILE_TIME, h});
    std::vector<BYTE> vecReply = c.Exchange(vecPacket, XRF_CMD_GET_FILE_TIME);
    tagXRFFileTimeReply times{};
    ASSERT_EQ(XfnRFParseFileTimeReply(vecReply.data(), vecReply.size(), times), XRF_WIRE_OK);
    EXPECT_EQ(times.nError, 0u);
    EXPECT_EQ(times.ftLastAccess.dwLowDateTime, ftAccess.dwLowDateTime);
    EXPECT_EQ(times.ftLastAccess.dwHighDateTime, ftAccess.dwHighDateTime);
    EXPECT_EQ(times.ftLastWrite.dwLowDateTime, ftWrite.dwLowDateTime);
    EXPECT_EQ(times.ftLastWrite.dwHighDateTime, ftWrite.dwHighDateTime);
    EXPECT_NE(times.ftCreation.dwHighDateTime, 0u);

    EXPECT_EQ(c.Handle(XRF_CMD_CLOSE_HANDLE, h).nError, 0u);
    EXPECT_EQ(c.Handle(XRF_CMD_CLOSE_HANDLE, h).nError, XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(c.Read(h, 0, 1, strData), XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(c.Write(h, 0, "x").nError, XRFP_ERROR_INVALID_HANDLE);
    for (DWORD nCommand : {XRF_CMD_SET_END_OF_FILE, XRF_CMD_FLUSH_FILE_BUFFERS, XRF_CMD_GET_FILE_SIZE})
        EXPECT_EQ(c.Handle(nCommand, h).nError, XRFP_ERROR_INVALID_HANDLE) << nCommand;
}

TEST_F(ServerTest, CreateDispositionsAndAccess)
{
    auto pClient = LoggedIn(server, "alice", "secret1");
    RawClient& c = *pClient;
    WriteText(server.Root("alice") / "old.txt", "old text");
    fs::create_directories(server.Root("alice") / "sub");

    EXPECT_EQ(c.Create("old.txt", kRead, kCreateNew).nError, static_cast<DWORD>(EEXIST));
    EXPECT_EQ(c.Create("missing.txt", kRead, kOpenExisting).nError, static_cast<DWORD>(ENOENT));
    EXPECT_EQ(c.Create("nodir\\x.txt", kRead | kWrite, kCreateAlways).nError, XRFP_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(c.Create("sub", kRead, kOpenExisting).nError, static_cast<DWORD>(EISDIR));
    EXPECT_EQ(c.Create("old.txt", kRead, kTruncateExisting).nError, XRFP_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(c.Create("old.txt", kRead, 9).nError, XRFP_ERROR_INVALID_PARAMETER);
    tagXRFCreateFileReply failed = c.Create("missing.txt", kRead, kOpenExisting);
    EXPECT_EQ(failed.hFile, 0xFFFFFFFFu);

    tagXRFCreateFileReply opened = c.Create("old.txt", kRead, kOpenAlways);
    ASSERT_EQ(opened.nError, 0u);
    EXPECT_EQ(opened.nFileSize, 8);
    EXPECT_EQ(c.Write(opened.hFile, 0, "x").nError, static_cast<DWORD>(EBADF)) << "opened for reading only";
    opened = c.Create("sub\\new.txt", kWrite, kOpenAlways);
    ASSERT_EQ(opened.nError, 0u);
    std::string strData;
    EXPECT_EQ(c.Read(opened.hFile, 0, 1, strData), static_cast<DWORD>(EBADF)) << "opened for writing only";
    EXPECT_TRUE(fs::exists(server.Root("alice") / "sub" / "new.txt"));
    opened = c.Create("old.txt", kRead | kWrite, kTruncateExisting);
    EXPECT_EQ(opened.nFileSize, 0);
    EXPECT_EQ(ReadText(server.Root("alice") / "old.txt"), "");
}

TEST_F(ServerTest, ShareModesHoldAcrossConnections)
{
    auto pFirst = LoggedIn(server, "alice", "secret1");
    auto pSecond = LoggedIn(server, "alice", "secret1");
    WriteText(server.Root("alice") / "s.txt", "shared text");
    const DWORD kShareRead = 1, kShareWrite = 2;
    // A writer that lets others read only.
    tagXRFCreateFileReply writer = pFirst->Create("s.txt", kRead | kWrite, kOpenExisting, kShareRead);
    ASSERT_EQ(writer.nError, 0u);
    EXPECT_EQ(pSecond->Create("s.txt", kRead, kOpenExisting, kShareRead).nError, static_cast<DWORD>(EBUSY))
        << "the new reader must share the writing";
    tagXRFCreateFileReply reader = pSecond->Create("s.txt", kRead, kOpenExisting, kShareRead | kShareWrite);
    EXPECT_EQ(reader.nError, 0u);
    EXPECT_EQ(pSecond->Create("s.txt", kWrite, kOpenExisting, kShareRead | kShareWrite).nError,
              static_cast<DWORD>(EBUSY));
    // A refused truncating open leaves the file as it was.
    EXPECT_EQ(pSecond->Create("s.txt", kWrite, kCreateAlways, kShareRead | kShareWrite).nError,
              static_cast<DWORD>(EBUSY));
    EXPECT_EQ(ReadText(server.Root("alice") / "s.txt"), "shared text");
    EXPECT_EQ(pFirst->Handle(XRF_CMD_CLOSE_HANDLE, writer.hFile).nError, 0u);
    EXPECT_EQ(pSecond->Create("s.txt", kWrite, kOpenExisting, kShareRead | kShareWrite).nError, 0u);
    EXPECT_EQ(pSecond->Create("s.txt", kRead, kCreateAlways, kShareRead | kShareWrite).nFileSize, 0);
}

TEST_F(ServerTest, HandlesBelongToTheLogin)
{
    auto pFirst = LoggedIn(server, "alice", "secret1");
    auto pSecond = LoggedIn(server, "alice", "secret1");
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
    std::vector<BYTE> vecPacket;
    XfnRFBuildPathRequest(vecPacket, tagXRFPathRequest{XRF_CMD_FIND_FIRST_FILE, "*", 0});
    std::vector<BYTE> vecReply = pSecond->Exchange(vecPacket, XRF_CMD_FIND_FIRST_FILE);
    tagXRFFindReply found{};
    ASSERT_EQ(XfnRFParseFindFirstReply(vecReply.data(), vecReply.size(), found), XRF_WIRE_OK);
    EXPECT_EQ(pSecond->Handle(XRF_CMD_FIND_CLOSE, hFile).nError, XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(pSecond->Handle(XRF_CMD_CLOSE_HANDLE, found.hFind).nError, XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(pBob->Handle(XRF_CMD_FIND_CLOSE, found.hFind).nError, XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(pSecond->Handle(XRF_CMD_FIND_CLOSE, found.hFind).nError, 0u);
}

TEST_F(ServerTest, PathCommands)
{
    auto pClient = LoggedIn(server, "alice", "secret1");
    RawClient& c = *pClient;
    fs::path root = server.Root("alice");
    WriteText(root / "a.txt", "aaa");

    tagXRFReply attributes = c.Path(XRF_CMD_GET_FILE_ATTRIBUTES, "a.txt");
    EXPECT_EQ(attributes.nCode, 31u);
    EXPECT_EQ(attributes.nValue, static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(c.Path(XRF_CMD_GET_FILE_ATTRIBUTES, "none.txt").nError, static_cast<DWORD>(ENOENT));
    EXPECT_EQ(c.Path(XRF_CMD_GET_FILE_ATTRIBUTES, "none.txt").nValue, 0xFFFFFFFFu);
    EXPECT_EQ(c.Path(XRF_CMD_SET_FILE_ATTRIBUTES, "a.txt", FILE_ATTRIBUTE_READONLY).nError, 0u);
    EXPECT_EQ(fs::status(root / "a.txt").permissions() & fs::perms::owner_write, fs::perms::none);
    EXPECT_EQ(c.Path(XRF_CMD_GET_FILE_ATTRIBUTES, "a.txt").nValue, static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(c.Path(XRF_CMD_SET_FILE_ATTRIBUTES, "a.txt", FILE_ATTRIBUTE_NORMAL).nError, 0u);
    EXPECT_NE(fs::status(root / "a.txt").permissions() & fs::perms::owner_write, fs::perms::none);

    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, "dir").nError, 0u);
    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, "dir").nError, static_cast<DWORD>(EEXIST));
    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, "x\\y").nError, XRFP_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(c.Path(XRF_CMD_GET_FILE_ATTRIBUTES, "dir").nValue, static_cast<DWORD>(FILE_ATTRIBUTE_DIRECTORY));

    std::vector<BYTE> vecMove;
    XfnRFBuildMoveFileRequest(vecMove, tagXRFMoveFileRequest{"a.txt", "dir\\b.txt"});
    EXPECT_EQ(c.Small(vecMove, XRF_CMD_MOVE_FILE).nError, 0u);
    EXPECT_EQ(ReadText(root / "dir" / "b.txt"), "aaa");
    WriteText(root / "c.txt", "c");
    vecMove.clear();
    XfnRFBuildMoveFileRequest(vecMove, tagXRFMoveFileRequest{"c.txt", "dir/b.txt"});
    EXPECT_EQ(c.Small(vecMove, XRF_CMD_MOVE_FILE).nError, static_cast<DWORD>(EEXIST)) << "no overwriting";
    EXPECT_EQ(ReadText(root / "dir" / "b.txt"), "aaa");

    EXPECT_EQ(c.Path(XRF_CMD_REMOVE_DIRECTORY, "dir", 0).nError, static_cast<DWORD>(ENOTEMPTY));
    EXPECT_EQ(c.Path(XRF_CMD_DELETE_FILE, "dir\\b.txt").nError, 0u);
    EXPECT_EQ(c.Path(XRF_CMD_DELETE_FILE, "dir\\b.txt").nError, static_cast<DWORD>(ENOENT));
    EXPECT_EQ(c.Path(XRF_CMD_REMOVE_DIRECTORY, "dir", 0).nError, 0u);
    EXPECT_FALSE(fs::exists(root / "dir"));

    // A non-zero flag takes the whole tree.
    fs::create_directories(root / "tree" / "deep");
    WriteText(root / "tree" / "deep" / "f", "f");
    EXPECT_EQ(c.Path(XRF_CMD_REMOVE_DIRECTORY, "tree", 1).nError, 0u);
    EXPECT_FALSE(fs::exists(root / "tree"));
    EXPECT_EQ(c.Path(XRF_CMD_REMOVE_DIRECTORY, "c.txt", 1).nError, static_cast<DWORD>(ENOTDIR));

    // The root itself cannot be removed, renamed or changed.
    EXPECT_EQ(c.Path(XRF_CMD_REMOVE_DIRECTORY, "", 1).nError, XRFP_ERROR_ACCESS_DENIED);
    EXPECT_EQ(c.Path(XRF_CMD_DELETE_FILE, ".").nError, XRFP_ERROR_ACCESS_DENIED);
    EXPECT_EQ(c.Path(XRF_CMD_SET_FILE_ATTRIBUTES, "", FILE_ATTRIBUTE_READONLY).nError, XRFP_ERROR_ACCESS_DENIED);
}

TEST_F(ServerTest, FindFirstNextClose)
{
    auto pClient = LoggedIn(server, "alice", "secret1");
    RawClient& c = *pClient;
    fs::path root = server.Root("alice");
    fs::create_directories(root / "img" / "sub");
    WriteText(root / "img" / "one.TIF", "1");
    WriteText(root / "img" / "two.tif", "22");
    WriteText(root / "img" / "three.jpg", "333");

    auto findFirst = [&](const std::string& strPath) {
        std::vector<BYTE> vecPacket;
        XfnRFBuildPathRequest(vecPacket, tagXRFPathRequest{XRF_CMD_FIND_FIRST_FILE, strPath, 0});
        std::vector<BYTE> vecReply = c.Exchange(vecPacket, XRF_CMD_FIND_FIRST_FILE);
        tagXRFFindReply reply{};
        EXPECT_EQ(XfnRFParseFindFirstReply(vecReply.data(), vecReply.size(), reply), XRF_WIRE_OK);
        return reply;
    };
    auto findNext = [&](DWORD hFind) {
        std::vector<BYTE> vecPacket;
        XfnRFBuildHandleRequest(vecPacket, tagXRFHandleRequest{XRF_CMD_FIND_NEXT_FILE, hFind});
        std::vector<BYTE> vecReply = c.Exchange(vecPacket, XRF_CMD_FIND_NEXT_FILE);
        tagXRFFindReply reply{};
        EXPECT_EQ(XfnRFParseFindNextReply(vecReply.data(), vecReply.size(), reply), XRF_WIRE_OK);
        return reply;
    };

    // Wildcards ignore case; names come in the directory's order.
    auto findAll = [&](const std::string& strPattern) {
        std::vector<std::string> vecNames;
        tagXRFFindReply first = findFirst(strPattern);
        if (first.nError)
            return vecNames;
        vecNames.push_back(first.data.cFileName);
        tagXRFFindReply r{};
        for (r = findNext(first.hFind); r.nError == 0; r = findNext(first.hFind))
            vecNames.push_back(r.data.cFileName);
        EXPECT_EQ(r.nError, static_cast<DWORD>(ENODATA));
        EXPECT_EQ(c.Handle(XRF_CMD_FIND_CLOSE, first.hFind).nError, 0u);
        EXPECT_EQ(findNext(first.hFind).nError, XRFP_ERROR_INVALID_HANDLE);
        std::sort(vecNames.begin(), vecNames.end());
        return vecNames;
    };
    EXPECT_EQ(findAll("img\\*.tif"), (std::vector<std::string>{"one.TIF", "two.tif"}));
    EXPECT_EQ(findAll("img\\*"), (std::vector<std::string>{"one.TIF", "sub", "three.jpg", "two.tif"}));

    // A name without wildcards finds that entry; a directory reports itself.
    tagXRFFindReply first = findFirst("img/sub");
    EXPECT_EQ(first.nError, 0u);
    EXPECT_STREQ(first.data.cFileName, "sub");
    EXPECT_EQ(first.data.dwFileAttributes, static_cast<DWORD>(FILE_ATTRIBUTE_DIRECTORY));
    c.Handle(XRF_CMD_FIND_CLOSE, first.hFind);
    EXPECT_EQ(findFirst("img\\*.png").nError, static_cast<DWORD>(ENOENT));
    EXPECT_EQ(findFirst("img\\*.png").hFind, 0xFFFFFFFFu);
    EXPECT_EQ(findFirst("nodir\\*").nError, XRFP_ERROR_PATH_NOT_FOUND);
}

TEST_F(ServerTest, RootListAndFileList)
{
    auto pClient = LoggedIn(server, "alice", "secret1");
    RawClient& c = *pClient;
    fs::path root = server.Root("alice");
    fs::create_directories(root / "maps" / "north");
    fs::create_directories(root / "photos");
    fs::create_directories(root / "empty");
    WriteText(root / "readme.txt", "r");
    WriteText(root / "maps" / "a.tif", "12345");
    WriteText(root / "maps" / "north" / "b.tif", "1");

    std::vector<BYTE> vecPacket, vecHead, vecEntry;
    DWORD nError = ~0u;
    XfnRFBuildRootListRequest(vecPacket);
    ASSERT_TRUE(c.Send(vecPacket) && c.Recv(16, vecHead));
    tagXRFReply head{};
    XfnRFParseReply(vecHead.data(), vecHead.size(), XRF_CMD_GET_ROOT_DIR_LIST, head);
    // One entry, the user's root, which every command names ".".
    ASSERT_EQ(head.nError, 0u);
    ASSERT_EQ(head.nValue, 1u);
    std::vector<std::string> vecRoots;
    for (DWORD i = 0; i < head.nValue; ++i) {
        std::string strRoot;
        ASSERT_TRUE(c.Recv(XRF_ROOT_ENTRY_SIZE, vecEntry));
        EXPECT_EQ(XfnRFParseRootEntry(vecEntry.data(), vecEntry.size(), strRoot), XRF_WIRE_OK);
        vecRoots.push_back(strRoot);
    }
    EXPECT_EQ(vecRoots, (std::vector<std::string>{"."}));
    EXPECT_EQ(c.List(vecRoots[0], 0, nError).size(), 4u);

    // The file list: heads of code 44 with one 312-byte item each, ended by
    // a head with item size 0.
    auto list = [&](const std::string& strPath, DWORD nFlag, DWORD& nError) {
        return c.List(strPath, nFlag, nError);
    };
    auto items = list("maps", 0, nError);
    EXPECT_EQ(nError, 0u);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].first, "a.tif");
    EXPECT_EQ(items[0].second[0], FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(items[0].second[8], 5) << "size at offset 8";
    EXPECT_EQ(items[1].first, "north");
    EXPECT_EQ(items[1].second[0], FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_NE(items[1].second[32 + 7], 0) << "last write time at offset 32";

    items = list("", 1, nError);
    std::vector<std::string> vecNames;
    for (auto& item : items)
        vecNames.push_back(item.first);
    EXPECT_EQ(vecNames, (std::vector<std::string>{"empty", "maps", "maps\\a.tif", "maps\\north", "maps\\north\\b.tif",
                                                  "photos", "readme.txt"}));
    items = list("*.tif", 1, nError);
    EXPECT_EQ(items.size(), 2u);
    EXPECT_TRUE(list("empty", 0, nError).empty());
    EXPECT_EQ(nError, 0u);
    EXPECT_TRUE(list("nothing", 0, nError).empty());
    EXPECT_EQ(nError, XRFP_ERROR_PATH_NOT_FOUND);
    // The connection is still in step after all of this.
    EXPECT_EQ(c.Path(XRF_CMD_GET_FILE_ATTRIBUTES, "readme.txt").nError, 0u);
}

TEST_F(ServerTest, PathsCannotLeaveTheRoot)
{
    auto pClient = LoggedIn(server, "alice", "secret1");
    RawClient& c = *pClient;
    fs::path root = server.Root("alice");
    WriteText(server.Root("bob") / "bob.txt", "bob's");
    WriteText(server.Dir() / "outside.txt", "outside");
    fs::create_directories(root / "in");
    WriteText(root / "in" / "mine.txt", "mine");
    fs::create_symlink(server.Dir() / "outside.txt", root / "escape.txt");
    fs::create_directory_symlink(server.Root("bob"), root / "bobdir");
    fs::create_symlink("in/mine.txt", root / "inside.txt");
    fs::create_directory_symlink("../bob", root / "bobrel");
    fs::create_symlink(root / "in" / "mine.txt", root / "absolute.txt");

    // Absolute links are refused even when they lead inside: the kernel
    // resolves beneath the root, and an absolute link starts above it.
    const char* escapes[] = {"..\\bob\\bob.txt", "in\\..\\..\\bob\\bob.txt", "\\etc\\passwd", "/etc/passwd",
                             "C:\\Windows\\win.ini", "escape.txt", "bobdir\\bob.txt", "bobdir", "bobrel\\bob.txt",
                             "bobrel\\none.txt", "absolute.txt"};
    for (const char* pszPath : escapes) {
        EXPECT_EQ(c.Create(pszPath, kRead, kOpenExisting).nError, XRFP_ERROR_ACCESS_DENIED) << pszPath;
        EXPECT_EQ(c.Path(XRF_CMD_GET_FILE_ATTRIBUTES, pszPath).nError, XRFP_ERROR_ACCESS_DENIED) << pszPath;
    }
    DWORD nError = 0;
    EXPECT_TRUE(c.List("bobdir", 0, nError).empty());
    EXPECT_EQ(nError, XRFP_ERROR_ACCESS_DENIED);
    std::vector<std::string> vecListed;
    for (auto& item : c.List("", 1, nError))
        vecListed.push_back(item.first);
    // Links that lead out are left out of listings.
    EXPECT_EQ(vecListed, (std::vector<std::string>{"in", "in\\mine.txt", "inside.txt"}));
    EXPECT_EQ(c.Path(XRF_CMD_DELETE_FILE, "..\\outside.txt").nError, XRFP_ERROR_ACCESS_DENIED);
    EXPECT_EQ(c.Path(XRF_CMD_CREATE_DIRECTORY, "bobdir\\new").nError, XRFP_ERROR_ACCESS_DENIED);
    std::vector<BYTE> vecMove;
    XfnRFBuildMoveFileRequest(vecMove, tagXRFMoveFileRequest{"in\\mine.txt", "..\\stolen.txt"});
    EXPECT_EQ(c.Small(vecMove, XRF_CMD_MOVE_FILE).nError, XRFP_ERROR_ACCESS_DENIED);
    EXPECT_TRUE(fs::exists(server.Root("bob") / "bob.txt"));
    EXPECT_FALSE(fs::exists(server.Root("bob") / "new"));

    // ".." that stays inside, and a link that stays inside, are fine; deleting
    // a link removes the link, not its target.
    std::string strData;
    tagXRFCreateFileReply opened = c.Create("in\\..\\inside.txt", kRead, kOpenExisting);
    ASSERT_EQ(opened.nError, 0u);
    EXPECT_EQ(c.Read(opened.hFile, 0, 10, strData), 0u);
    EXPECT_EQ(strData, "mine");
    EXPECT_EQ(c.Path(XRF_CMD_DELETE_FILE, "escape.txt").nError, 0u);
    EXPECT_TRUE(fs::exists(server.Dir() / "outside.txt"));
}

TEST_F(ServerTest, DataBlocksAreEchoed)
{
    auto pClient = LoggedIn(server, "alice", "secret1");
    for (DWORD nSize : {0u, 1u, 70000u}) {
        std::vector<BYTE> vecBlock(nSize);
        for (DWORD i = 0; i < nSize; ++i)
            vecBlock[i] = static_cast<BYTE>(i * 7);
        std::vector<BYTE> vecPacket, vecHead, vecEcho;
        XfnRFBuildDataBlockHead(vecPacket, tagXRFDataBlockHead{nSize});
        vecPacket.insert(vecPacket.end(), vecBlock.begin(), vecBlock.end());
        ASSERT_TRUE(pClient->Send(vecPacket));
        ASSERT_TRUE(pClient->Recv(XRF_DATA_BLOCK_HEAD_SIZE, vecHead));
        tagXRFDataBlockHead head{};
        ASSERT_EQ(XfnRFParseDataBlockHead(vecHead.data(), vecHead.size(), 1u << 20, head), XRF_WIRE_OK);
        ASSERT_EQ(head.nBlockSize, nSize);
        ASSERT_TRUE(pClient->Recv(nSize, vecEcho));
        EXPECT_EQ(vecEcho, vecBlock);
    }
}

TEST_F(ServerTest, MalformedPacketsCloseOnlyTheirConnection)
{
    auto pBystander = LoggedIn(server, "alice", "secret1");
    DWORD h = pBystander->Create("keep.txt", kRead | kWrite, kCreateAlways).hFile;

    std::vector<BYTE> vecNoNul = Bytes({XRF_CMD_GET_FILE_ATTRIBUTES, 264});
    vecNoNul.resize(272, 'A');
    std::vector<BYTE> vecBigBlock;
    XfnRFBuildDataBlockHead(vecBigBlock, tagXRFDataBlockHead{(1u << 20) + 1});
    std::vector<BYTE> vecLonelyData;
    BYTE b = 1;
    XfnRFBuildWriteDataRequest(vecLonelyData, tagXRFWriteDataRequest{h, &b, 1});
    std::vector<BYTE> vecAnnounceThenOther;
    XfnRFBuildTransferRequest(vecAnnounceThenOther, XRF_CMD_WRITE_ANNOUNCE, tagXRFTransferRequest{0, h, 1});
    XfnRFBuildHandleRequest(vecAnnounceThenOther, tagXRFHandleRequest{XRF_CMD_GET_FILE_SIZE, h});
    std::vector<BYTE> vecSizeMismatch = Bytes({XRF_CMD_WRITE_DATA, 17, h, 0, 2, 17, 0xAAAA});
    std::vector<BYTE> vecSecondLogin = Bytes({XRF_CMD_LOGIN, 8192});
    vecSecondLogin.resize(8200, 0);

    const std::pair<const char*, std::vector<BYTE>> cases[] = {
        {"unknown command", Bytes({99, 0})},
        {"wrong length word", Bytes({XRF_CMD_CLOSE_HANDLE, 17, h, 0, 0})},
        {"path without terminator", vecNoNul},
        {"block above the limit", vecBigBlock},
        {"data packet without announcement", vecLonelyData},
        {"announcement without data packet", vecAnnounceThenOther},
        {"data size words disagree", vecSizeMismatch},
        {"second login", vecSecondLogin},
    };
    long nBefore = server.Server().MalformedConnections();
    XfnRFPSetLogSink(&CaptureLog);
    for (const auto& c : cases) {
        auto pClient = LoggedIn(server, "alice", "secret1");
        ASSERT_TRUE(pClient->Send(c.second)) << c.first;
        EXPECT_TRUE(pClient->ClosedByServer()) << c.first;
        // The other connection and the login's handle go on working.
        EXPECT_EQ(pBystander->Write(h, 0, c.first).nError, 0u) << c.first;
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
    std::string strData;
    EXPECT_EQ(pBystander->Read(h, 0, 5, strData), 0u);
    EXPECT_EQ(strData, "secon");
}

TEST(ServerLimits, ConnectionsHandlesAndIdleTime)
{
    tagXRFPSettings settings;
    settings.nMaxConnections = 2;
    settings.nMaxHandles = 2;
    settings.nIdleSeconds = 1;
    TestServer server(settings);
    auto pFirst = LoggedIn(server, "alice", "secret1");
    auto pSecond = LoggedIn(server, "bob", "secret2");
    RawClient third;
    ASSERT_TRUE(third.Connect(server.Port()));
    EXPECT_EQ(third.Login("alice", "secret1"), XRFP_ERROR_TOO_MANY_CONNECTIONS);

    EXPECT_EQ(pFirst->Create("1", kWrite, kCreateAlways).nError, 0u);
    EXPECT_EQ(pFirst->Create("2", kWrite, kCreateAlways).nError, 0u);
    EXPECT_EQ(pFirst->Create("3", kWrite, kCreateAlways).nError, static_cast<DWORD>(EMFILE));
    EXPECT_EQ(pSecond->Create("1", kWrite, kCreateAlways).nError, 0u) << "the limit is per user";

    // Silent connections are closed after the idle time.
    auto tStart = std::chrono::steady_clock::now();
    EXPECT_TRUE(pFirst->ClosedByServer());
    EXPECT_LT(std::chrono::steady_clock::now() - tStart, std::chrono::seconds(5));
}

TEST(ServerLimits, HandlesAreClosedAfterTheLastConnectionLingers)
{
    tagXRFPSettings settings;
    settings.nLingerSeconds = 0;
    TestServer server(settings);
    auto pClient = LoggedIn(server, "alice", "secret1");
    DWORD h = pClient->Create("f", kRead | kWrite, kCreateAlways).hFile;
    pClient.reset();
    auto pLater = std::make_unique<RawClient>();
    std::string strData;
    // The reaper runs about once a second; give it a few turns.
    for (int i = 0; i < 40 && server.Server().ActiveConnections() > 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    pLater = LoggedIn(server, "alice", "secret1");
    EXPECT_EQ(pLater->Read(h, 0, 1, strData), XRFP_ERROR_INVALID_HANDLE);
}

TEST(ServerLimits, ManyClientsAtOnce)
{
    TestServer server;
    std::atomic<int> nGood{0};
    std::vector<std::thread> vecThreads;
    for (int t = 0; t < 12; ++t) {
        vecThreads.emplace_back([&, t] {
            RawClient c;
            if (!c.Connect(server.Port()) || c.Login(t % 2 ? "bob" : "alice", t % 2 ? "secret2" : "secret1") != 0)
                return;
            std::string strName = "file" + std::to_string(t);
            DWORD h = c.Create(strName, kRead | kWrite, kCreateAlways).hFile;
            bool bAll = true;
            for (int i = 0; i < 20; ++i) {
                std::string strText = strName + ":" + std::to_string(i), strData;
                bAll = bAll && c.Write(h, 0, strText).nError == 0 &&
                       c.Read(h, 0, static_cast<DWORD>(strText.size()), strData) == 0 && strData == strText;
            }
            if (bAll)
                ++nGood;
        });
    }
    for (auto& thread : vecThreads)
        thread.join();
    EXPECT_EQ(nGood, 12);
}
