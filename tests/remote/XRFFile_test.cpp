// The remote file operations against the project's server: results, error
// words and what reaches the server's disk; the refusals that happen before
// anything is sent; replies cut or bent by fake servers; the remote path form.

#include <gtest/gtest.h>

#include "KVDbase/remote/XRFConnectionPool.h"
#include "KVDbase/remote/XRFDataBlock.h"
#include "KVDbase/remote/XRFFile.h"
#include "remote/XRFPath.h"
#include "remote/XRFTestServer.h"

#include "XRFPErrors.h"

#include <set>

using namespace xrftest;

namespace {

// The server's operations through the client's: results, the server's error
// words, and what reaches the disk.
class XRFFileTest : public ::testing::Test, protected RemoteOps {
protected:
    XRFFileTest() { param = server.Param(); }
    TestServer server;
    PoolScope pool;
    fs::path root = server.Root();
};

TEST_F(XRFFileTest, CreateWriteReadSizeTimesAndClose)
{
    DWORD h = Create("a.bin", 2, 0xC0000000u);
    ASSERT_NE(h, XRF_INVALID_HANDLE);
    EXPECT_EQ(error, 0u);

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

    // Past the end a write leaves a hole of zeros; a read there finds
    // nothing, and no error; a negative position is refused.
    int64_t nLength = 0;
    EXPECT_EQ(Write(h, 131092, "tail", &nLength), 0u);
    EXPECT_EQ(nLength, 131096);
    std::string strData;
    EXPECT_EQ(Read(h, 131080, 100, strData), 0u);
    std::string strHole(vecData.begin() + 131070, vecData.begin() + 131072);
    EXPECT_EQ(strData, strHole + std::string(10, '\0') + "tail");
    EXPECT_EQ(Read(h, 1 << 20, 10, strData), 0u);
    EXPECT_EQ(strData, "");
    EXPECT_EQ(Read(h, -1, 10, strData), 22u);

    DWORD nHigh = 99;
    EXPECT_EQ(XRFGetFileSize(param, h, &nHigh, error, key), 131096u);
    EXPECT_EQ(nHigh, 0u);

    // The server's own position: moved, and used to end the file. Without
    // a high word the distance is a positive 32-bit one.
    const struct {
        LONG nLow;
        bool bHigh;
        LONG nHigh;
        DWORD nMethod;
        DWORD nResult;
        DWORD nError;
    } seeks[] = {
        {-4, true, -1, 2, 131092, 0},  // from the end
        {-200000, true, -1, 1, XRF_INVALID_HANDLE, 22},
        {-1, false, 0, 0, 0xFFFFFFFFu, 0},
        {0, true, 0, 7, XRF_INVALID_HANDLE, XRFP_ERROR_INVALID_PARAMETER},
        {100, true, 0, 0, 100, 0},
    };
    for (const auto& seek : seeks) {
        LONG nSeekHigh = seek.nHigh;
        EXPECT_EQ(XRFSetFilePointer(param, h, seek.nLow, seek.bHigh ? &nSeekHigh : nullptr, seek.nMethod, error, key),
                  seek.nResult) << seek.nLow << " " << seek.nMethod;
        EXPECT_EQ(error, seek.nError) << seek.nLow << " " << seek.nMethod;
    }
    EXPECT_EQ(XRFSetEndOfFile(param, h, error, key), 1);
    EXPECT_EQ(fs::file_size(root / "a.bin"), 100u);

    // A zero time is left alone (the XFile status tests take the times both ways).
    _FILETIME ftCreation{0, 0}, ftAccess{0x12345600, 0x01D00000}, ftWrite{0x65432100, 0x01D10000}, ftBack{};
    EXPECT_EQ(XRFSetFileTime(param, h, &ftCreation, &ftAccess, &ftWrite, error, key), 1);
    EXPECT_EQ(XRFSetFileTime(param, h, &ftCreation, &ftCreation, &ftWrite, error, key), 1);
    EXPECT_EQ(XRFGetFileTime(param, h, nullptr, &ftBack, nullptr, error, key), 1);
    EXPECT_EQ(std::memcmp(&ftBack, &ftAccess, sizeof ftBack), 0);

    // Once closed, the handle is known to no operation.
    EXPECT_EQ(XRFCloseHandle(param, h, error, key), 1);
    EXPECT_EQ(XRFCloseHandle(param, h, error, key), 0);
    EXPECT_EQ(error, XRFP_ERROR_INVALID_HANDLE);
    EXPECT_EQ(Read(h, 0, 10, strData), XRFP_ERROR_INVALID_HANDLE);
}

TEST_F(XRFFileTest, CreateDispositionsAndAccess)
{
    WriteBytes(root / "old.txt", "old text");
    fs::create_directories(root / "sub");
    const DWORD kRead = 0x80000000u, kWrite = 0x40000000u;
    const struct {
        const char* pszPath;
        DWORD nAccess;
        DWORD nDisposition;
        DWORD nError;
    } refused[] = {
        {"old.txt", kRead, 1, EEXIST},
        {"missing.txt", kRead, 3, ENOENT},
        {"nodir\\x.txt", kRead | kWrite, 2, XRFP_ERROR_PATH_NOT_FOUND},
        {"sub", kRead, 3, EISDIR},
        {"old.txt", kRead, 5, XRFP_ERROR_INVALID_PARAMETER},  // truncating needs writing
    };
    for (const auto& r : refused) {
        int64_t nSize = 123;
        EXPECT_EQ(Create(r.pszPath, r.nDisposition, r.nAccess, &nSize), XRF_INVALID_HANDLE) << r.pszPath;
        EXPECT_EQ(error, r.nError) << r.pszPath << " " << r.nDisposition;
        EXPECT_EQ(nSize, -7) << "the size is left alone";
    }
    int64_t nSize = 0;
    DWORD h = Create("old.txt", 4, kRead, &nSize);
    EXPECT_EQ(nSize, 8);
    EXPECT_EQ(Write(h, 0, "x"), static_cast<DWORD>(EBADF)) << "opened for reading only";
    Create("sub\\new.txt", 4, kWrite);
    EXPECT_TRUE(fs::exists(root / "sub" / "new.txt"));
    Create("old.txt", 5, kRead | kWrite, &nSize);
    EXPECT_EQ(nSize, 0);
    EXPECT_EQ(ReadBytes(root / "old.txt"), "");
}

TEST_F(XRFFileTest, PathsAndDirectories)
{
    WriteBytes(root / "a.txt", "aaa");
    EXPECT_EQ(XRFGetFileAttributes(param, "a.txt", error, key), static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(XRFGetFileAttributes(param, "none.txt", error, key), XRF_INVALID_HANDLE);
    EXPECT_EQ(error, static_cast<DWORD>(ENOENT));
    EXPECT_EQ(XRFGetFileAttributes(param, "", error, key), static_cast<DWORD>(FILE_ATTRIBUTE_DIRECTORY));
    EXPECT_EQ(Path(XRF_CMD_SET_FILE_ATTRIBUTES, "a.txt", FILE_ATTRIBUTE_READONLY), 0u);
    EXPECT_EQ(fs::status(root / "a.txt").permissions() & fs::perms::owner_write, fs::perms::none);

    EXPECT_EQ(Path(XRF_CMD_CREATE_DIRECTORY, "dir"), 0u);
    EXPECT_EQ(Path(XRF_CMD_CREATE_DIRECTORY, "dir"), static_cast<DWORD>(EEXIST));
    EXPECT_EQ(Path(XRF_CMD_CREATE_DIRECTORY, "x\\y"), XRFP_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(Move("a.txt", "dir\\b.txt"), 0u);
    EXPECT_EQ(ReadBytes(root / "dir" / "b.txt"), "aaa");
    WriteBytes(root / "c.txt", "c");
    EXPECT_EQ(Move("c.txt", "dir/b.txt"), static_cast<DWORD>(EEXIST)) << "no overwriting";
    EXPECT_EQ(ReadBytes(root / "dir" / "b.txt"), "aaa");

    // A non-zero flag takes the whole tree; the root itself cannot be
    // removed, renamed or changed.
    fs::create_directories(root / "tree" / "deep");
    WriteBytes(root / "tree" / "deep" / "f", "f");
    const struct {
        DWORD nCommand;
        const char* pszPath;
        DWORD nArgument;
        DWORD nError;
    } steps[] = {
        {XRF_CMD_REMOVE_DIRECTORY, "dir", 0, ENOTEMPTY},
        {XRF_CMD_DELETE_FILE, "dir\\b.txt", 0, 0},
        {XRF_CMD_DELETE_FILE, "dir\\b.txt", 0, ENOENT},
        {XRF_CMD_REMOVE_DIRECTORY, "dir", 0, 0},
        {XRF_CMD_REMOVE_DIRECTORY, "tree", 1, 0},
        {XRF_CMD_REMOVE_DIRECTORY, "c.txt", 1, ENOTDIR},
        {XRF_CMD_REMOVE_DIRECTORY, "", 1, XRFP_ERROR_ACCESS_DENIED},
        {XRF_CMD_DELETE_FILE, ".", 0, XRFP_ERROR_ACCESS_DENIED},
        {XRF_CMD_SET_FILE_ATTRIBUTES, "", FILE_ATTRIBUTE_READONLY, XRFP_ERROR_ACCESS_DENIED},
    };
    for (const auto& step : steps)
        EXPECT_EQ(Path(step.nCommand, step.pszPath, step.nArgument), step.nError) << step.pszPath;
    EXPECT_FALSE(fs::exists(root / "dir"));
    EXPECT_FALSE(fs::exists(root / "tree"));
    EXPECT_EQ(Move("", "moved"), XRFP_ERROR_ACCESS_DENIED);
}

TEST_F(XRFFileTest, SearchesListsAndRoots)
{
    fs::create_directories(root / "d" / "sub");
    fs::create_directories(root / "e");
    WriteBytes(root / "d" / "one.TXT", "1");
    WriteBytes(root / "d" / "two.txt", "22");
    WriteBytes(root / "d" / "three.jpg", "333");
    WriteBytes(root / "d" / "sub" / "four.txt", "4444");

    // Wildcards ignore case; names come in the directory's order, and the
    // end of a search is ENODATA.
    auto findAll = [&](const char* pszPattern) {
        std::set<std::string> setFound;
        WIN32_FIND_DATAA data{};
        DWORD hFind = XRFFindFirstFile(param, pszPattern, &data, error, key);
        for (int nMore = hFind != XRF_INVALID_HANDLE; nMore; nMore = XRFFindNextFile(param, hFind, &data, error, key))
            setFound.insert(std::string(data.cFileName) + ":" + std::to_string(data.nFileSizeLow));
        EXPECT_EQ(error, 61u);
        EXPECT_EQ(XRFFindClose(param, hFind, error, key), 1);
        EXPECT_EQ(XRFFindNextFile(param, hFind, &data, error, key), 0);
        EXPECT_EQ(error, XRFP_ERROR_INVALID_HANDLE);
        return setFound;
    };
    EXPECT_EQ(findAll("d\\*.txt"), (std::set<std::string>{"one.TXT:1", "two.txt:2"}));
    EXPECT_EQ(findAll("d\\*"), (std::set<std::string>{"one.TXT:1", "sub:0", "three.jpg:3", "two.txt:2"}));
    // A name without wildcards finds that entry, a directory itself; without
    // a record the handle still comes.
    WIN32_FIND_DATAA data{};
    DWORD hFind = XRFFindFirstFile(param, "d/sub", &data, error, key);
    EXPECT_STREQ(data.cFileName, "sub");
    EXPECT_EQ(data.dwFileAttributes, static_cast<DWORD>(FILE_ATTRIBUTE_DIRECTORY));
    EXPECT_EQ(XRFFindClose(param, hFind, error, key), 1);
    hFind = XRFFindFirstFile(param, "d\\two.txt", nullptr, error, key);
    EXPECT_EQ(XRFFindClose(param, hFind, error, key), 1);
    EXPECT_EQ(XRFFindFirstFile(param, "d\\*.png", &data, error, key), XRF_INVALID_HANDLE);
    EXPECT_EQ(error, static_cast<DWORD>(ENOENT));

    // The whole tree, appended behind what the list holds.
    XRFFileInfoList items;
    XRFFileInfoListItem first;
    items.AddTail(first);
    EXPECT_EQ(XRFFindFileList(param, "d", 1, items, error, key), 5);
    EXPECT_EQ(error, 0u);
    ASSERT_EQ(items.GetCount(), 6);
    std::vector<std::string> vecNames;
    POSITION pos = items.GetHeadPosition();
    items.GetNext(pos);
    while (pos) {
        const XRFFileInfoListItem& item = items.GetNext(pos);
        vecNames.push_back(std::string(item.GetName()) + ":" + std::to_string(item.GetSize()) + ":" +
                           std::to_string(item.GetAttributes()));
    }
    EXPECT_EQ(vecNames, (std::vector<std::string>{"one.TXT:1:128", "sub:0:16", "sub\\four.txt:4:128", "three.jpg:3:128",
                                                  "two.txt:2:128"}));
    // Patterns over the tree, a directory's own level, an empty one, none.
    const struct {
        const char* pszPath;
        int nFlag;
        int nItems;
        DWORD nError;
    } lists[] = {{"*.txt", 1, 3, 0}, {"d", 0, 4, 0}, {"e", 0, 0, 0}, {"d\\none", 0, 0, XRFP_ERROR_PATH_NOT_FOUND}};
    for (const auto& l : lists) {
        XRFFileInfoList found;
        EXPECT_EQ(XRFFindFileList(param, l.pszPath, l.nFlag, found, error, key), l.nItems) << l.pszPath;
        EXPECT_EQ(error, l.nError) << l.pszPath;
    }

    // One root, the user's, which every command names ".".
    XStringList roots;
    roots.AddTail("kept");
    ASSERT_EQ(XRFGetRootDirList(param, roots, error, key), 1);
    ASSERT_EQ(roots.GetCount(), 2);
    EXPECT_STREQ(roots.GetTail(), ".");
}

TEST_F(XRFFileTest, RefusalsBeforeAnythingIsSent)
{
    // A path longer than its field: refused without a connection.
    const std::string strLong(260, 'x');
    const char* pszLong = strLong.c_str();
    XRFFileInfoList items;
    const std::function<bool()> refused[] = {
        [&] { return Create(pszLong, 2) == XRF_INVALID_HANDLE; },
        [&] { return XRFMoveFile(param, "a", pszLong, error, key) == 0; },
        [&] { return XRFFindFileList(param, pszLong, 1, items, error, key) == 0; },
    };
    for (const auto& call : refused) {
        error = 0;
        EXPECT_TRUE(call());
        EXPECT_EQ(error, 0x2001001Fu);
    }
    EXPECT_EQ(XFile::GetRFConnectionPool()->GetGroupCount(), 0);
    // 259 characters still fit.
    EXPECT_EQ(Create(pszLong + 1, 2), XRF_INVALID_HANDLE);
    EXPECT_EQ(error, 36u);  // the server's ENAMETOOLONG: the request went out
}

// Without XRFInit a file operation, and a data block call, fails with "no connection".
TEST(XRFFile, WithoutAPoolNothingConnects)
{
    XRFConnectionOpenParam param;
    XString key;
    DWORD error = 0;
    LARGE_INTEGER length;
    EXPECT_EQ(XRFCreateFile(param, "a", 0, 0, nullptr, 3, 0, nullptr, length, error, key), ~0u);
    EXPECT_EQ(error, 0x2001001Du);
    error = 0;
    EXPECT_EQ(OpenGeneralDataBlockHandle(param, error, key), 0u);
    EXPECT_EQ(error, 0x2001001Du);
    error = 0;
    EXPECT_EQ(XRFSendGeneralDataBlock(0, "x", 1, error), 0) << "a null handle";
    EXPECT_EQ(error, 0x2001001Du);
}

// A server that closes the stream inside a reply: the operation reads the
// cleared reply as it stands (code 0, error 0 where nothing came), and the
// connection, closed by then, is deleted when it goes back to the pool. A
// reply that cannot be read in step is refused and its connection dropped.
TEST(XRFFile, RepliesCutOrBentByFakeServers)
{
    PoolScope pool;
    XRFConnectionOpenParam param;
    XString key;
    DWORD error = 0, nRead = 0;
    LARGE_INTEGER size;
    size.QuadPart = -7;
    char szBuffer[9] = "xxxxxxxx";
    XStringList roots;
    XRFFileInfoList items;
    const std::vector<BYTE> kItem = {44, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 56, 1, 0, 0,
                                     0,  0, 0, 0, 0, 0, 0, 0, 0x10, 0, 0, 0};
    auto read = [&] { return XRFReadFile(param, 5, szBuffer, 8, &nRead, nullptr, 0, error, key); };
    auto list = [&] { return XRFFindFileList(param, "d", 0, items, error, key); };
    const struct {
        const char* pszName;
        DWORD nRequestSize;
        std::vector<BYTE> vecSent;  // what comes before the close
        std::function<int()> call;
        int nResult;
        DWORD nError;
        int nPooled;  // connections left in the pool
    } cuts[] = {
        {"create, no reply", 312, {},
         [&] { return int(XRFCreateFile(param, "a", 0x80000000u, 1, nullptr, 3, 0, nullptr, size, error, key)); }, -1,
         0x20010022u, 0},
        {"close, 5 bytes", 24, {26, 0, 0, 0, 9}, [&] { return XRFCloseHandle(param, 5, error, key); }, 1, 0, 0},
        {"read, inside the data", 32, {25, 0, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0, 0, 0, 0, 0, 'a', 'b'}, read, 1, 0, 0},
        {"read, more announced than asked", 32, {25, 0, 0, 0, 0, 0, 0, 0, 9}, read, 0, 0x20010022u, 0},
        // The first entry reads as empty; the next finds the connection closed.
        {"root list, after the head", 16, {43, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0},
         [&] { return XRFGetRootDirList(param, roots, error, key); }, 0, 10057, 0},
        {"root list, an error", 16, {43, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0},
         [&] { return XRFGetRootDirList(param, roots, error, key); }, 0, 5, 1},
        {"file list, inside an item", 280, kItem, list, 1, 10057, 0},
        {"file list, a head of another code", 280, {43, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 56, 1, 0, 0, 0, 0, 0, 0},
         list, 0, XRF_ERROR_INVALID_PARAMETER, 0},
    };
    for (const auto& cut : cuts) {
        SCOPED_TRACE(cut.pszName);
        FakeServer fake(FakeServer::Answer(cut.nRequestSize, cut.vecSent));
        param = fake.Param();
        key.Empty();
        error = 0xDEAD;
        EXPECT_EQ(cut.call(), cut.nResult);
        EXPECT_EQ(error, cut.nError);
        EXPECT_EQ(XFile::GetRFConnectionPool()->GetConnectionCount(key), cut.nPooled);
    }
    // What the cut replies left: the size untouched, the head's count with the
    // rest of the buffer as it was (and kept by the refused read), one empty
    // root entry, one directory item of size 0.
    EXPECT_EQ(size.QuadPart, -7);
    EXPECT_EQ(nRead, 6u);
    EXPECT_STREQ(szBuffer, "abxxxxxx");
    ASSERT_EQ(roots.GetCount(), 1);
    EXPECT_STREQ(roots.GetHead(), "");
    ASSERT_EQ(items.GetCount(), 1);
    EXPECT_EQ(items.GetHead().GetAttributes(), 0x10u);
    EXPECT_EQ(items.GetHead().GetSize(), 0);
}

TEST(XRFPath, TheRemoteFormAndWhatStaysLocal)
{
    XRFConnectionOpenParam param;
    XString strPath;
    // The login's parts are the end-to-end tests' matter; here, the server path.
    ASSERT_TRUE(XfnRFParsePath("xrfp:\\\\bob:pw2@10.0.0.1:6000\\dir\\a b.img", param, strPath));
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
