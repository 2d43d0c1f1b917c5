#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XFile.h"
#include "KVDbase/files/XMemFile.h"
#include "KVDbase/files/XStdioFile.h"
#include "platform/XSysFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace {

const char kLocalFailureName[] = "xrfp:\\\\\\";

// The errno of a failed Open, and the name it reports.
DWORD OpenError(const std::string& path, unsigned int nFlags, XString* pName = nullptr)
{
    XFile file;
    XFileException error;
    EXPECT_EQ(file.Open(path.c_str(), nFlags, &error), 0);
    EXPECT_EQ(file.hFile, -1);
    if (pName != nullptr)
        *pName = error.GetFileName();
    return error.GetErrCode();
}

const unsigned int kShareAll = XFile::flagShareDenyNone;

} // namespace

TEST(XFile, OpenFailuresGiveErrnoAndTheUselessLocalName)
{
    XFilesTestDir dir;
    XString strName;
    EXPECT_EQ(OpenError(dir("missing"), XFile::flagRead, &strName), static_cast<DWORD>(ENOENT));
    // The name of a failed local open is the remote scheme and a backslash.
    EXPECT_STREQ(strName, kLocalFailureName);
    EXPECT_EQ(OpenError(dir.path.string(), XFile::flagRead), static_cast<DWORD>(EISDIR));
    EXPECT_EQ(OpenError(dir.path.string(), XFile::flagWrite | XFile::flagCreate), static_cast<DWORD>(EISDIR));
    // No truncation flag without flagCreate opens existing files only.
    EXPECT_EQ(OpenError(dir("missing"), XFile::flagWrite | XFile::flagNoTruncate), static_cast<DWORD>(ENOENT));
    EXPECT_FALSE(std::filesystem::exists(dir("missing")));
    // The constructor throws what Open found.
    EXPECT_EQ(ThrownCode([&] { XFile f(dir("missing").c_str(), XFile::flagRead); }, &strName),
              static_cast<DWORD>(ENOENT));
    EXPECT_STREQ(strName, kLocalFailureName);
}

TEST(XFile, ReadOnlyFileRefusesWriting)
{
    XFilesTestDir dir;
    std::string path = dir.Make("ro.bin", "abc");
    std::filesystem::permissions(path, std::filesystem::perms::owner_read);
    // An administrator writes anyway unless the override is off.
    ASSERT_TRUE(XfnSysSetPermissionOverride(false));
    DWORD nError = OpenError(path, XFile::flagReadWrite | kShareAll);
    XfnSysSetPermissionOverride(true);
    EXPECT_EQ(nError, static_cast<DWORD>(EACCES));
    EXPECT_EQ(XFilesTestDir::Slurp(path), "abc");
}

TEST(XFile, CreateDispositions)
{
    XFilesTestDir dir;
    std::string path = dir.Make("d.bin", "content");
    {
        XFile keep(path.c_str(), XFile::flagWrite | XFile::flagCreate | XFile::flagNoTruncate);
        EXPECT_EQ(keep.GetLength(), 7);
    }
    {
        XFile cut(path.c_str(), XFile::flagWrite | XFile::flagCreate);
        EXPECT_EQ(cut.GetLength(), 0);
    }
    {
        XFile fresh(dir("new.bin").c_str(), XFile::flagReadWrite | XFile::flagCreate | XFile::flagNoTruncate);
        EXPECT_EQ(fresh.GetLength(), 0);
    }
    EXPECT_TRUE(std::filesystem::exists(dir("new.bin")));
}

TEST(XFile, ReadWriteSeekIn64BitPositions)
{
    XFilesTestDir dir;
    std::string path = dir("rw.bin");
    XFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
    EXPECT_EQ(std::string(file.strPath), path);
    file.Write("hello world", 11);
    EXPECT_EQ(file.GetPosition(), 11);
    EXPECT_EQ(file.Seek(-5, XFile::end), 6);
    char buf[16] = {};
    EXPECT_EQ(file.Read(buf, sizeof(buf)), 5u);
    EXPECT_STREQ(buf, "world");
    // End of file is a short count, never an exception.
    EXPECT_EQ(file.Read(buf, sizeof(buf)), 0u);
    // A position that reads as -1 in its low word is a position like any other.
    EXPECT_EQ(file.Seek(0xFFFFFFFFLL, XFile::begin), 0xFFFFFFFFLL);
    const int64_t nFar = 0x100000005LL;
    EXPECT_EQ(file.Seek(nFar, XFile::begin), nFar);
    file.Write("!", 1);
    EXPECT_EQ(file.GetLength(), nFar + 1);
    file.SetLength(3);
    EXPECT_EQ(file.GetLength(), 3);
    EXPECT_EQ(file.GetPosition(), 3);
    EXPECT_EQ(file.SeekToBegin(), 0);
    EXPECT_EQ(file.SeekToEnd(), 3);
}

TEST(XFile, NegativeSeekThrowsWithPath)
{
    XFilesTestDir dir;
    std::string path = dir.Make("s.bin", "0123");
    XFile file(path.c_str(), XFile::flagRead);
    file.Seek(2, XFile::begin);
    XString strName;
    EXPECT_EQ(ThrownCode([&] { file.Seek(-3, XFile::current); }, &strName), static_cast<DWORD>(EINVAL));
    EXPECT_EQ(std::string(strName), path);
    EXPECT_EQ(file.GetPosition(), 2);
    EXPECT_EQ(ThrownCode([&] { file.Seek(0, 7); }), static_cast<DWORD>(EINVAL));
}

TEST(XFile, ZeroCountsNeverReachTheFile)
{
    XFile closed;
    char c = 0;
    EXPECT_EQ(closed.Read(&c, 0), 0u);
    closed.Write(&c, 0);
    closed.Flush();
    // A count reaches the platform, which refuses the closed handle.
    EXPECT_EQ(ThrownCode([&] { closed.Read(&c, 1); }), static_cast<DWORD>(EBADF));
    EXPECT_EQ(ThrownCode([&] { closed.Write(&c, 1); }), static_cast<DWORD>(EBADF));
    EXPECT_EQ(closed.GetLength(), -1);
}

TEST(XFile, AccessZeroOpensForQueriesOnly)
{
    XFilesTestDir dir;
    std::string path = dir.Make("q.bin", "12345");
    XFile file(path.c_str(), 3);
    EXPECT_EQ(file.GetLength(), 5);
    char c;
    EXPECT_EQ(ThrownCode([&] { file.Read(&c, 1); }), static_cast<DWORD>(EBADF));
    EXPECT_EQ(ThrownCode([&] { file.Write("x", 1); }), static_cast<DWORD>(EBADF));
}

TEST(XFile, AdoptedHandleOutlivesTheObject)
{
    XFilesTestDir dir;
    std::string path = dir.Make("a.bin", "xyz");
    XFile owner(path.c_str(), XFile::flagRead);
    {
        XFile adopted(static_cast<int>(owner));
        EXPECT_EQ(adopted.bOwnsHandle, 0);
        char c;
        EXPECT_EQ(adopted.Read(&c, 1), 1u);
    }
    char buf[4] = {};
    EXPECT_EQ(owner.Read(buf, 3), 2u);
    EXPECT_STREQ(buf, "yz");
}

TEST(XFile, CloseAndAbort)
{
    XFilesTestDir dir;
    std::string path = dir.Make("c.bin", "x");
    XFile file(path.c_str(), XFile::flagRead);
    file.Abort();
    EXPECT_EQ(file.hFile, -1);
    EXPECT_EQ(file.bOwnsHandle, 1);
    EXPECT_TRUE(file.strPath.IsEmpty());
    file.Close();
    file.Close();
    EXPECT_EQ(file.bOwnsHandle, 0);
    // A closed object reports success with its (now empty) path only.
    XFileStatus status;
    status.nSize = 99;
    EXPECT_EQ(file.GetStatus(status), 1);
    EXPECT_STREQ(status.szFullPath, "");
    EXPECT_EQ(status.nSize, 0);
}

TEST(XFile, DuplicateSharesPositionButNotName)
{
    XFilesTestDir dir;
    std::string path = dir.Make("dup.bin", "abcdef");
    XFile file(path.c_str(), XFile::flagRead);
    XFile* pCopy = file.Duplicate();
    EXPECT_EQ(pCopy->bOwnsHandle, 1);
    EXPECT_NE(pCopy->hFile, file.hFile);
    pCopy->Seek(4, XFile::begin);
    EXPECT_EQ(file.GetPosition(), 4);
    EXPECT_STREQ(pCopy->GetFilePath(), "");
    EXPECT_STREQ(pCopy->GetFileName(), "");
    delete pCopy;
    char c;
    EXPECT_EQ(file.Read(&c, 1), 1u);
    EXPECT_EQ(c, 'e');

    FaultScope faults;
    XfnSysInjectFault(XSysCall::Dup, EMFILE);
    XString strName;
    EXPECT_EQ(ThrownCode([&] { delete file.Duplicate(); }, &strName), static_cast<DWORD>(EMFILE));
    EXPECT_EQ(std::string(strName), path);
}

TEST(XFile, LongPathOpensButKeepsACutName)
{
    XFilesTestDir dir;
    std::filesystem::path deep = dir.path;
    for (int i = 0; i < 3; ++i)
        deep /= std::string(100, static_cast<char>('a' + i));
    std::filesystem::create_directories(deep);
    std::string path = (deep / "f.bin").string();
    XFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
    file.Write("x", 1);
    EXPECT_EQ(file.strPath.GetLength(), 259);
    EXPECT_EQ(std::string(file.strPath), path.substr(0, 259));
    XFileStatus status;
    EXPECT_EQ(XFile::GetStatus(path.c_str(), status), 0);
    EXPECT_STREQ(status.szFullPath, "");
}
