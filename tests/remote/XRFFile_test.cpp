// The remote file operations against the project's server: results, error
// words and what reaches the server's disk; the refusals that happen before
// anything is sent; the remote path form.

#include <gtest/gtest.h>

#include "KVDbase/remote/XRFConnectionPool.h"
#include "KVDbase/remote/XRFFile.h"
#include "remote/XRFPath.h"
#include "remote/XRFTestServer.h"

#include <functional>

#if XRF_TEST_WITH_SERVER

using namespace xrftest;

namespace {

class XRFFileTest : public ::testing::Test {
protected:
    TestServer server;
    PoolScope pool;
    XRFConnectionOpenParam param = server.Param();
    XString key;
    DWORD error = 0xDEAD;

    DWORD Create(const char* pszPath, DWORD nDisposition, int64_t* pSize = nullptr)
    {
        LARGE_INTEGER size;
        size.QuadPart = -7;
        DWORD h = XRFCreateFile(param, pszPath, 0xC0000000u, 3, nullptr, nDisposition, 0x80, nullptr, size, error,
                                key);
        if (pSize)
            *pSize = size.QuadPart;
        return h;
    }
};

TEST_F(XRFFileTest, CreateWriteReadSizeAndClose)
{
    int64_t nSize = 0;
    DWORD h = Create("a.bin", 2, &nSize);
    ASSERT_NE(h, XRF_INVALID_HANDLE);
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(nSize, 0);
    EXPECT_EQ(std::string(key), "alice@127.0.0.1:" + std::to_string(server.Port()));

    // One write takes at most one packet.
    std::vector<BYTE> vecData(200000);
    for (size_t i = 0; i < vecData.size(); ++i)
        vecData[i] = static_cast<BYTE>(i * 7);
    DWORD nWritten = 0;
    LARGE_INTEGER length;
    length.QuadPart = 0;
    ASSERT_EQ(XRFWriteFile(param, h, vecData.data(), 200000, &nWritten, nullptr, 10, length, error, key), 1);
    EXPECT_EQ(nWritten, 131072u);
    EXPECT_EQ(length.QuadPart, 10 + 131072);

    std::vector<BYTE> vecBack(131072 + 100, 0xCC);
    DWORD nRead = 0;
    ASSERT_EQ(XRFReadFile(param, h, vecBack.data(), 131072 + 100, &nRead, nullptr, 10, error, key), 1);
    EXPECT_EQ(nRead, 131072u);
    EXPECT_TRUE(std::equal(vecData.begin(), vecData.begin() + 131072, vecBack.begin()));
    EXPECT_EQ(vecBack[131072], 0xCC);
    // Past the end: nothing, and no error.
    ASSERT_EQ(XRFReadFile(param, h, vecBack.data(), 10, &nRead, nullptr, 1 << 20, error, key), 1);
    EXPECT_EQ(nRead, 0u);

    DWORD nHigh = 99;
    EXPECT_EQ(XRFGetFileSize(param, h, &nHigh, error, key), 131082u);
    EXPECT_EQ(nHigh, 0u);
    EXPECT_EQ(XRFFlushFileBuffers(param, h, error, key), 1);
    EXPECT_EQ(error, 0u);

    // The server's own position, moved and used to end the file.
    LONG nMoveHigh = 0;
    EXPECT_EQ(XRFSetFilePointer(param, h, 100, &nMoveHigh, 0, error, key), 100u);
    EXPECT_EQ(XRFSetEndOfFile(param, h, error, key), 1);
    EXPECT_EQ(fs::file_size(server.Root() / "a.bin"), 100u);
    // Without a high word the distance is a positive 32-bit one.
    EXPECT_EQ(XRFSetFilePointer(param, h, -1, nullptr, 0, error, key), 0xFFFFFFFFu);
    EXPECT_EQ(error, 0u);
    LONG nNegative = -1;
    EXPECT_EQ(XRFSetFilePointer(param, h, -1, &nNegative, 0, error, key), XRF_INVALID_HANDLE);
    EXPECT_EQ(error, 22u);

    EXPECT_EQ(XRFCloseHandle(param, h, error, key), 1);
    EXPECT_EQ(XRFCloseHandle(param, h, error, key), 0);
    EXPECT_EQ(error, 0x2001001Eu);  // "The file handle is not valid"
    EXPECT_EQ(XRFReadFile(param, h, vecBack.data(), 10, &nRead, nullptr, 0, error, key), 0);
    EXPECT_EQ(error, 0x2001001Eu);

    // An open of a missing file carries the server's error, and the sizes
    // stay untouched.
    nSize = 123;
    EXPECT_EQ(Create("missing.bin", 3, &nSize), XRF_INVALID_HANDLE);
    EXPECT_EQ(error, 2u);
    EXPECT_EQ(nSize, -7);
}

TEST_F(XRFFileTest, DirectoriesSearchesListsAndMoves)
{
    ASSERT_EQ(XRFCreateDirectory(param, "d", nullptr, error, key), 1);
    ASSERT_EQ(XRFCreateDirectory(param, "d\\sub", nullptr, error, key), 1);
    WriteBytes(server.Root() / "d" / "one.txt", "1");
    WriteBytes(server.Root() / "d" / "two.txt", "22");
    WriteBytes(server.Root() / "d" / "sub" / "three.txt", "333");

    WIN32_FIND_DATAA data{};
    DWORD hFind = XRFFindFirstFile(param, "d\\*.txt", &data, error, key);
    ASSERT_NE(hFind, XRF_INVALID_HANDLE);
    EXPECT_STREQ(data.cFileName, "one.txt");
    EXPECT_EQ(data.nFileSizeLow, 1u);
    ASSERT_EQ(XRFFindNextFile(param, hFind, &data, error, key), 1);
    EXPECT_STREQ(data.cFileName, "two.txt");
    EXPECT_EQ(XRFFindNextFile(param, hFind, &data, error, key), 0);
    EXPECT_EQ(error, 61u);  // the end of the search
    EXPECT_EQ(XRFFindClose(param, hFind, error, key), 1);
    // Without a record the handle still comes.
    hFind = XRFFindFirstFile(param, "d\\one.txt", nullptr, error, key);
    ASSERT_NE(hFind, XRF_INVALID_HANDLE);
    XRFFindClose(param, hFind, error, key);

    // The whole tree, appended behind what the list holds.
    XRFFileInfoList items;
    XRFFileInfoListItem first;
    items.AddTail(first);
    EXPECT_EQ(XRFFindFileList(param, "d", 1, items, error, key), 4);
    EXPECT_EQ(error, 0u);
    ASSERT_EQ(items.GetCount(), 5);
    std::vector<std::string> vecNames;
    POSITION pos = items.GetHeadPosition();
    items.GetNext(pos);
    while (pos) {
        const XRFFileInfoListItem& item = items.GetNext(pos);
        vecNames.push_back(std::string(item.GetName()) + ":" + std::to_string(item.GetSize()));
    }
    EXPECT_EQ(vecNames,
              (std::vector<std::string>{"one.txt:1", "sub:0", "sub\\three.txt:3", "two.txt:2"}));
    EXPECT_EQ(XRFFindFileList(param, "d\\sub\\none", 0, items, error, key), 0);
    EXPECT_NE(error, 0u);

    XStringList roots;
    roots.AddTail("kept");
    ASSERT_EQ(XRFGetRootDirList(param, roots, error, key), 1);
    ASSERT_EQ(roots.GetCount(), 2);
    EXPECT_STREQ(roots.GetTail(), "d");

    // Moves, deletes, and directory removal with and without its content.
    ASSERT_EQ(XRFMoveFile(param, "d\\one.txt", "d\\uno.txt", error, key), 1);
    EXPECT_TRUE(fs::exists(server.Root() / "d" / "uno.txt"));
    EXPECT_EQ(XRFMoveFile(param, "d\\uno.txt", "d\\two.txt", error, key), 0);
    EXPECT_EQ(error, 17u);  // the target exists
    ASSERT_EQ(XRFDeleteFile(param, "d\\uno.txt", error, key), 1);
    EXPECT_EQ(XRFRemoveDirectory(param, "d", 0, error, key), 0);
    EXPECT_NE(error, 0u);
    ASSERT_EQ(XRFRemoveDirectory(param, "d", 1, error, key), 1);
    EXPECT_FALSE(fs::exists(server.Root() / "d"));
}

TEST_F(XRFFileTest, RefusalsBeforeAnythingIsSent)
{
    // A path longer than its field: refused without a connection.
    std::string strLong(260, 'x');
    EXPECT_EQ(Create(strLong.c_str(), 2), XRF_INVALID_HANDLE);
    EXPECT_EQ(error, 0x2001001Fu);
    EXPECT_EQ(XRFDeleteFile(param, strLong.c_str(), error, key), 0);
    EXPECT_EQ(error, 0x2001001Fu);
    EXPECT_EQ(XRFMoveFile(param, "a", strLong.c_str(), error, key), 0);
    EXPECT_EQ(error, 0x2001001Fu);
    EXPECT_EQ(XFile::GetRFConnectionPool()->GetGroupCount(), 0);
    EXPECT_TRUE(key.IsEmpty());
    // 259 characters still fit.
    EXPECT_EQ(Create(strLong.substr(1).c_str(), 2), XRF_INVALID_HANDLE);
    EXPECT_EQ(error, 36u);  // the server's ENAMETOOLONG: the request went out
    XString strModule, strGroup;
    EXPECT_STREQ(XfnGetErrorString(0x2001001F, strModule, strGroup), "The parameter is not valid");

    // A failed fetch leaves the outputs alone.
    XRFConnectionOpenParam wrong = server.Param("carol", "nope");
    XString wrongKey;
    DWORD nHigh = 77;
    EXPECT_EQ(XRFGetFileSize(wrong, 1, &nHigh, error, wrongKey), XRF_INVALID_HANDLE);
    EXPECT_EQ(error, 0x20010010u);
    EXPECT_EQ(nHigh, 77u);
}

TEST(XRFFile, WithoutAPoolNothingConnects)
{
    XRFConnectionOpenParam param;
    XString key;
    DWORD error = 0;
    EXPECT_EQ(XRFDeleteFile(param, "a", error, key), 0);
    EXPECT_EQ(error, 0x2001001Du);
}

// A server that closes the stream inside a reply: the operation reads the
// cleared reply as it stands (code 0, error 0 where nothing came), and the
// connection, closed by then, is deleted when it goes back to the pool.
TEST(XRFFile, RepliesCutByTheServerClosing)
{
    PoolScope pool;
    struct tagCut {
        const char* pszName;
        DWORD nRequestSize;
        std::vector<BYTE> vecSent;  // what comes before the close
        std::function<void(XRFConnectionOpenParam&, XString&)> check;
    };
    const std::vector<tagCut> cuts = {
        {"create, no reply", 312, {},
         [](XRFConnectionOpenParam& param, XString& key) {
             LARGE_INTEGER size;
             size.QuadPart = -7;
             DWORD error = 0;
             EXPECT_EQ(XRFCreateFile(param, "a", 0x80000000u, 1, nullptr, 3, 0, nullptr, size, error, key),
                       XRF_INVALID_HANDLE);
             EXPECT_EQ(error, 0x20010022u);
             EXPECT_EQ(size.QuadPart, -7);
         }},
        {"close, 5 bytes", 24, {26, 0, 0, 0, 9},
         [](XRFConnectionOpenParam& param, XString& key) {
             DWORD error = 1;
             EXPECT_EQ(XRFCloseHandle(param, 5, error, key), 1);
             EXPECT_EQ(error, 0u);
         }},
        {"read, inside the data", 32, {25, 0, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0, 'a', 'b'},
         [](XRFConnectionOpenParam& param, XString& key) {
             char szBuffer[9] = "xxxxxxxx";
             DWORD error = 1, nRead = 0;
             EXPECT_EQ(XRFReadFile(param, 5, szBuffer, 8, &nRead, nullptr, 0, error, key), 1);
             EXPECT_EQ(error, 0u);
             EXPECT_EQ(nRead, 6u);
             EXPECT_STREQ(szBuffer, "abxxxxxx");
         }},
        {"root list, after the head", 16, {43, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0},
         [](XRFConnectionOpenParam& param, XString& key) {
             XStringList roots;
             roots.AddTail("kept");
             DWORD error = 0;
             // The first entry reads as empty; the next finds the connection closed.
             EXPECT_EQ(XRFGetRootDirList(param, roots, error, key), 0);
             EXPECT_EQ(error, 10057u);
             ASSERT_EQ(roots.GetCount(), 2);
             EXPECT_STREQ(roots.GetTail(), "");
         }},
        {"file list, inside an item", 280, {44, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 56, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                           0x10, 0, 0, 0},
         [](XRFConnectionOpenParam& param, XString& key) {
             XRFFileInfoList items;
             DWORD error = 0;
             EXPECT_EQ(XRFFindFileList(param, "d", 0, items, error, key), 1);
             EXPECT_EQ(error, 10057u);
             ASSERT_EQ(items.GetCount(), 1);
             EXPECT_EQ(items.GetHead().GetAttributes(), 0x10u);
             EXPECT_EQ(items.GetHead().GetSize(), 0);
         }},
    };
    for (const tagCut& cut : cuts) {
        SCOPED_TRACE(cut.pszName);
        FakeServer fake([&](XSysSocket s) {
            FakeServer::Greet(s, "1.00", FakeServer::PublicKey(), true, 0);
            std::vector<BYTE> vecRequest;
            if (FakeServer::RecvAll(s, cut.nRequestSize, vecRequest))
                FakeServer::SendAll(s, cut.vecSent);
        });
        XRFConnectionOpenParam param;
        param.strHost = "127.0.0.1";
        param.nPort = fake.Port();
        XString key;
        cut.check(param, key);
        EXPECT_EQ(XFile::GetRFConnectionPool()->GetConnectionCount(key), 0);
    }
}

TEST(XRFPath, TheRemoteFormAndWhatStaysLocal)
{
    XRFConnectionOpenParam param;
    XString strPath;
    ASSERT_TRUE(XfnRFParsePath("xrfp:\\\\bob:pw2@10.0.0.1:6000\\dir\\a b.img", param, strPath));
    EXPECT_STREQ(param.strUser, "bob");
    EXPECT_STREQ(param.strPassword, "pw2");
    EXPECT_STREQ(param.strHost, "10.0.0.1");
    EXPECT_EQ(param.nPort, 6000);
    EXPECT_EQ(param.nTimeout, 10000);
    EXPECT_STREQ(strPath, "dir\\a b.img");

    // No port: 5000, with the host copied; an empty server path is remote.
    ASSERT_TRUE(XfnRFParsePath("xrfp:\\\\u:p@host.example\\", param, strPath));
    EXPECT_STREQ(param.strHost, "host.example");
    EXPECT_EQ(param.nPort, 5000);
    EXPECT_STREQ(strPath, "");
    // Five digits are cut to 16 bits.
    ASSERT_TRUE(XfnRFParsePath("xrfp:\\\\u:p@h:70000\\x", param, strPath));
    EXPECT_EQ(param.nPort, 4464);

    param.strHost = "unchanged";
    for (const char* pszLocal : {"xrfp:\\\\u:p@h:123456\\x", "xrfp:\\\\u:p@h:5000", "xrfp:\\\\u_1:p@h:1\\x",
                                 "xrfp:\\\\u:p-w@h:1\\x", "xrfp:\\\\u:p@h-1:1\\x", "xrfp:\\\\:p@h:1\\x",
                                 "xrfp:\\\\u:@h:1\\x", "xrfp:\\\\u:p@:1\\x", "xrfp:\\\\u:p@h:\\x", "XRFP:\\\\u:p@h:1\\x",
                                 "xrfp:\\u:p@h:1\\x", "xrfp:\\\\u:p", "/tmp/file", ""})
        EXPECT_FALSE(XfnRFParsePath(pszLocal, param, strPath)) << pszLocal;
    EXPECT_STREQ(param.strHost, "unchanged");
}

} // namespace

#endif // XRF_TEST_WITH_SERVER
