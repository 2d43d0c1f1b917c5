#include "KVDbase/files/XFile.h"
#include "platform/XSysFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

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

} // namespace

TEST(XFile, OpenFailuresAndCreateDispositions)
{
    XFilesTestDir dir;
    const struct {
        std::string path;
        unsigned int nFlags;
        int nError;
    } cases[] = {
        {dir("missing"), XFile::flagRead, ENOENT}, {dir.path.string(), XFile::flagRead, EISDIR},
        {dir.path.string(), XFile::flagWrite | XFile::flagCreate, EISDIR},
        // No truncation flag without flagCreate opens existing files only.
        {dir("missing"), XFile::flagWrite | XFile::flagNoTruncate, ENOENT},
    };
    for (const auto& c : cases) {
        XString strName;
        EXPECT_EQ(OpenError(c.path, c.nFlags, &strName), static_cast<DWORD>(c.nError)) << c.path;
        // The name of a failed local open is the remote scheme and a backslash.
        EXPECT_STREQ(strName, kLocalFailureName);
    }
    EXPECT_FALSE(std::filesystem::exists(dir("missing")));
    // The constructor throws what Open found.
    XString strName;
    EXPECT_EQ(ThrownCode([&] { XFile f(dir("missing").c_str(), XFile::flagRead); }, &strName),
              static_cast<DWORD>(ENOENT));
    EXPECT_STREQ(strName, kLocalFailureName);
    // A read-only file refuses writing, even to an administrator with the override off.
    std::string ro = dir.Make("ro.bin", "abc");
    std::filesystem::permissions(ro, std::filesystem::perms::owner_read);
    ASSERT_TRUE(XfnSysSetPermissionOverride(false));
    DWORD nError = OpenError(ro, XFile::flagReadWrite | XFile::flagShareDenyNone);
    XfnSysSetPermissionOverride(true);
    EXPECT_EQ(nError, static_cast<DWORD>(EACCES));
    EXPECT_EQ(XFilesTestDir::Slurp(ro), "abc");
    // Create keeps or cuts an existing file, and makes a missing one.
    const unsigned int nKeep = XFile::flagCreate | XFile::flagNoTruncate;
    const struct {
        const char* pszName;
        unsigned int nFlags;
        int64_t nLength;
    } dispositions[] = {{"d.bin", XFile::flagWrite | nKeep, 7}, {"d.bin", XFile::flagWrite | XFile::flagCreate, 0},
                 {"new.bin", XFile::flagReadWrite | nKeep, 0}};
    dir.Make("d.bin", "content");
    for (const auto& c : dispositions)
        EXPECT_EQ(XFile(dir(c.pszName).c_str(), c.nFlags).GetLength(), c.nLength) << c.pszName << c.nFlags;
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
    EXPECT_EQ(file.GetPosition(), 3);
    EXPECT_EQ(file.SeekToBegin(), 0);
    EXPECT_EQ(file.SeekToEnd(), 3);
    // A bad seek throws with the path and leaves the position.
    file.Seek(2, XFile::begin);
    XString strName;
    EXPECT_EQ(ThrownCode([&] { file.Seek(-3, XFile::current); }, &strName), static_cast<DWORD>(EINVAL));
    EXPECT_EQ(std::string(strName), path);
    EXPECT_EQ(file.GetPosition(), 2);
    EXPECT_EQ(ThrownCode([&] { file.Seek(0, 7); }), static_cast<DWORD>(EINVAL));
}

TEST(XFile, ClosedAndQueryOnlyHandles)
{
    XFile closed;
    char c = 0;
    // Zero counts never reach the file; a count reaches the platform, which
    // refuses the closed handle.
    EXPECT_EQ(closed.Read(&c, 0), 0u);
    closed.Write(&c, 0);
    closed.Flush();
    EXPECT_EQ(ThrownCode([&] { closed.Read(&c, 1); }), static_cast<DWORD>(EBADF));
    EXPECT_EQ(ThrownCode([&] { closed.Write(&c, 1); }), static_cast<DWORD>(EBADF));
    EXPECT_EQ(ThrownCode([&] { closed.UnlockRange(0, 1); }), static_cast<DWORD>(EBADF));
    EXPECT_EQ(closed.GetLength(), -1);
    // Access 0 opens for queries only.
    XFilesTestDir dir;
    XFile query(dir.Make("q.bin", "12345").c_str(), 3);
    EXPECT_EQ(query.GetLength(), 5);
    EXPECT_EQ(ThrownCode([&] { query.Read(&c, 1); }), static_cast<DWORD>(EBADF));
    EXPECT_EQ(ThrownCode([&] { query.Write("x", 1); }), static_cast<DWORD>(EBADF));
}

TEST(XFile, NamesCloseAndAbort)
{
    XFilesTestDir dir;
    std::string path = dir.Make("c.bin", "x");
    XFile file(path.c_str(), XFile::flagRead);
    EXPECT_STREQ(file.GetFileName(), "c.bin");
    EXPECT_STREQ(file.GetFileTitle(), "c.bin");
    file.SetFilePath("/elsewhere/other.bin");
    EXPECT_STREQ(file.GetFilePath(), "/elsewhere/other.bin");
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

TEST(XFile, DuplicatedAndAdoptedHandles)
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
    delete pCopy;
    char c;
    EXPECT_EQ(file.Read(&c, 1), 1u);
    EXPECT_EQ(c, 'e');
    // An adopted handle outlives the object.
    {
        XFile adopted(static_cast<int>(file));
        EXPECT_EQ(adopted.bOwnsHandle, 0);
    }
    EXPECT_EQ(file.Read(&c, 1), 1u);
    EXPECT_EQ(c, 'f');

    FaultScope faults;
    XfnSysInjectFault(XSysCall::Dup, EMFILE);
    XString strName;
    EXPECT_EQ(ThrownCode([&] { delete file.Duplicate(); }, &strName), static_cast<DWORD>(EMFILE));
    EXPECT_EQ(std::string(strName), path);
}

TEST(XFile, LongPathOpensButKeepsACutName)
{
    XFilesTestDir dir;
    std::filesystem::path deep = dir.path / std::string(100, 'a') / std::string(100, 'b') / std::string(100, 'c');
    std::filesystem::create_directories(deep);
    std::string path = (deep / "f.bin").string();
    XFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
    file.Write("x", 1);
    EXPECT_EQ(std::string(file.strPath), path.substr(0, 259));
    XFileStatus status;
    EXPECT_EQ(XFile::GetStatus(path.c_str(), status), 0);
    EXPECT_STREQ(status.szFullPath, "");
}
