// XFile on local files: open, read, write, seek, handles, status, share modes, locks, system failures.
#include "KVDbase/files/XFile.h"
#include "platform/XSysFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

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

// Whether a second open with nFlags is allowed beside the live ones.
bool CanOpen(const std::string& path, unsigned int nFlags)
{
    XFile file;
    XFileException error;
    if (file.Open(path.c_str(), nFlags, &error))
        return true;
    EXPECT_EQ(error.GetErrCode(), static_cast<DWORD>(kSysSharingViolation));
    return false;
}

const unsigned int kRead = XFile::flagRead, kWrite = XFile::flagWrite, kNone = XFile::flagShareDenyNone;

} // namespace

class XFileTest : public XFilesTest {};

TEST_F(XFileTest, OpenFailuresAndCreateDispositions)
{
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
    EXPECT_FALSE(fs::exists(dir("missing")));
    // The constructor throws what Open found.
    EXPECT_EQ(ThrownCode([&] { XFile f(dir("missing").c_str(), XFile::flagRead); }), static_cast<DWORD>(ENOENT));
    // A read-only file refuses writing, even to an administrator with the override off.
    std::string ro = dir.Make("ro.bin", "abc");
    fs::permissions(ro, fs::perms::owner_read);
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
}

TEST_F(XFileTest, ReadWriteSeekIn64BitPositions)
{
    std::string path = dir("rw.bin");
    XFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
    file.Write("hello world", 11);
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
    file.SetLength(3);
    EXPECT_EQ(file.GetPosition(), 3);
    // A bad seek throws and leaves the position.
    file.Seek(2, XFile::begin);
    EXPECT_EQ(ThrownCode([&] { file.Seek(-3, XFile::current); }), static_cast<DWORD>(EINVAL));
    EXPECT_EQ(file.GetPosition(), 2);
    EXPECT_EQ(ThrownCode([&] { file.Seek(0, 7); }), static_cast<DWORD>(EINVAL));
}

TEST_F(XFileTest, ClosedAndQueryOnlyHandles)
{
    XFile closed;
    char c = 0;
    // Zero counts never reach the file; a count reaches the platform, which refuses the closed handle.
    EXPECT_EQ(closed.Read(&c, 0), 0u);
    closed.Write(&c, 0);
    closed.Flush();
    EXPECT_EQ(ThrownCode([&] { closed.Read(&c, 1); }), static_cast<DWORD>(EBADF));
    EXPECT_EQ(ThrownCode([&] { closed.UnlockRange(0, 1); }), static_cast<DWORD>(EBADF));
    EXPECT_EQ(closed.GetLength(), -1);
    // Access 0 opens for queries only.
    XFile query(dir.Make("q.bin", "12345").c_str(), 3);
    EXPECT_EQ(query.GetLength(), 5);
    EXPECT_EQ(ThrownCode([&] { query.Read(&c, 1); }), static_cast<DWORD>(EBADF));
}

TEST_F(XFileTest, NamesCloseAndAbort)
{
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

TEST_F(XFileTest, DuplicatedAndAdoptedHandles)
{
    std::string path = dir.Make("dup.bin", "abcdef");
    XFile file(path.c_str(), XFile::flagRead);
    XFile* pCopy = file.Duplicate();
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
    EXPECT_EQ(ThrownCode([&] { delete file.Duplicate(); }), static_cast<DWORD>(EMFILE));
}

TEST_F(XFileTest, LongPathOpensButKeepsACutName)
{
    fs::path deep = dir.path / std::string(100, 'a') / std::string(100, 'b') / std::string(100, 'c');
    fs::create_directories(deep);
    std::string path = (deep / "f.bin").string();
    XFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
    file.Write("x", 1);
    EXPECT_EQ(std::string(file.strPath), path.substr(0, 259));
    XFileStatus status;
    EXPECT_EQ(XFile::GetStatus(path.c_str(), status), 0);
    EXPECT_STREQ(status.szFullPath, "");
}

TEST_F(XFileTest, StatusInInstanceAndStaticForms)
{
    std::string path = dir.Make("s.bin", "12345");
    XFileStatus status, byName;
    ASSERT_EQ(XFile(path.c_str(), XFile::flagRead).GetStatus(status), 1);
    ASSERT_EQ(XFile::GetStatus(path.c_str(), byName), 1);
    for (const XFileStatus* p : {&status, &byName}) {
        EXPECT_EQ(std::make_tuple(p->nSize, p->nAttribute, std::string(p->szFullPath)),
                  std::make_tuple(int64_t(5), FILE_ATTRIBUTE_ARCHIVE, path));
        EXPECT_NEAR(static_cast<double>(p->timeModified.GetTime()), XTime::GetTickCount().GetTime(), 60.0);
    }
    EXPECT_EQ(XFile::GetStatus(dir("missing").c_str(), byName), 0);
    EXPECT_EQ(std::string(byName.szFullPath), dir("missing"));
    // The instance form keeps only the low word of the size.
    std::string big = dir("big.bin");
    XFile(big.c_str(), XFile::flagWrite | XFile::flagCreate).SetLength(0x100000010LL);
    ASSERT_EQ(XFile(big.c_str(), XFile::flagRead).GetStatus(status), 1);
    ASSERT_EQ(XFile::GetStatus(big.c_str(), byName), 1);
    EXPECT_EQ(std::make_pair(status.nSize, byName.nSize), std::make_pair(int64_t(0x10), int64_t(0x100000010LL)));
    // Attribute bits from the file system; a wildcard finds the first match, as a directory search does.
    fs::create_directories(dir.path / "sub");
    dir.Make(".hidden", "h");
    fs::permissions(dir.Make("ro", "r"), fs::perms::owner_read | fs::perms::group_read);
    const std::pair<const char*, int> cases[] = {
        {"sub", FILE_ATTRIBUTE_DIRECTORY}, {".hidden", FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_HIDDEN},
        {"r*", FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(XFile::GetStatus(dir(c.first).c_str(), status), 1) << c.first;
        EXPECT_EQ(status.nAttribute, c.second) << c.first;
    }
}

TEST_F(XFileTest, SetStatusWritesTimesOnlyWithAModifiedTimeAroundTheReadOnlyBit)
{
    std::string path = dir.Make("t.bin", "x");
    XFileStatus before, after;
    ASSERT_EQ(XFile::GetStatus(path.c_str(), before), 1);
    XFileStatus status = before;
    status.timeModified = XTime(0);
    status.timeAccessed = status.timeCreated = XTime(2001, 2, 3, 4, 5, 6);
    XFile::SetStatus(path.c_str(), status);
    ASSERT_EQ(XFile::GetStatus(path.c_str(), after), 1);
    EXPECT_EQ(after.timeModified.GetTime(), before.timeModified.GetTime());
    EXPECT_EQ(after.timeAccessed.GetTime(), before.timeAccessed.GetTime());
    // The read-only bit is set after the times, and cleared before them.
    status.nAttribute = FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY;
    status.timeModified = XTime(2012, 1, 1, 0, 0, 0);
    XFile::SetStatus(path.c_str(), status);
    EXPECT_EQ(fs::status(path).permissions() & fs::perms::owner_write, fs::perms::none);
    ASSERT_EQ(XFile::GetStatus(path.c_str(), after), 1);
    EXPECT_EQ(after.timeModified.GetTime(), XTime(2012, 1, 1, 0, 0, 0).GetTime());
    EXPECT_EQ(after.timeAccessed.GetTime(), XTime(2001, 2, 3, 4, 5, 6).GetTime());
    // Back to writable, with a new time: the bit is cleared before the
    // times are written, or the open for them would be refused.
    status.nAttribute = FILE_ATTRIBUTE_ARCHIVE;
    status.timeModified = XTime(2013, 1, 1, 0, 0, 0);
    ASSERT_TRUE(XfnSysSetPermissionOverride(false));
    EXPECT_NO_THROW(XFile::SetStatus(path.c_str(), status));
    XfnSysSetPermissionOverride(true);
    EXPECT_NE(fs::status(path).permissions() & fs::perms::owner_write, fs::perms::none);
}

TEST_F(XFileTest, RenameAndRemove)
{
    std::string a = dir.Make("a", "A");
    std::string b = dir.Make("b", "B");
    XString strName;
    // A failed rename reports the new name; it never replaces a file.
    EXPECT_EQ(ThrownCode([&] { XFile::Rename(dir("missing").c_str(), dir("new").c_str()); }, &strName),
              static_cast<DWORD>(ENOENT));
    EXPECT_EQ(std::string(strName), dir("new"));
    EXPECT_EQ(ThrownCode([&] { XFile::Rename(a.c_str(), b.c_str()); }), static_cast<DWORD>(EEXIST));
    EXPECT_EQ(XFilesTestDir::Slurp(b), "B");
    XFile::Rename(a.c_str(), dir("c").c_str());
    EXPECT_EQ(XFilesTestDir::Slurp(dir("c")), "A");
    XFile::Remove(dir("c").c_str());
    EXPECT_FALSE(fs::exists(dir("c")));
    // Files go, directories do not.
    EXPECT_EQ(ThrownCode([&] { XFile::Remove(dir.path.string().c_str()); }), static_cast<DWORD>(EISDIR));
    EXPECT_TRUE(fs::exists(dir.path));
}

TEST_F(XFileTest, ShareModesOfTheFirstOpenDecideTheSecond)
{
    std::string path = dir.Make("s.bin", "data");
    const struct {
        unsigned int nFirst;
        unsigned int nSecond;
        bool bAllowed;
    } cases[] = {
        // Share field 0 is exclusive; a refused create does not cut the file
        // first; opening for queries only asks no data access.
        {kRead, kRead | kNone, false},
        {kRead, kWrite | XFile::flagCreate | kNone, false}, {kRead, 3, true},
        {kRead | XFile::flagShareDenyWrite, kRead | kNone, true},
        {kRead | XFile::flagShareDenyWrite, XFile::flagReadWrite | kNone, false},
        // The newcomer must share reading with the reader already there.
        {kRead | XFile::flagShareDenyWrite, kRead | XFile::flagShareDenyRead, false},
        {kWrite | XFile::flagShareDenyRead, kRead | kNone, false},
        {kWrite | XFile::flagShareDenyRead, kWrite | kNone, true},
        // The other values of the share field count as exclusive.
        {kRead | 0x50, kRead | kNone, false},
    };
    for (const auto& c : cases) {
        XFile first(path.c_str(), c.nFirst);
        EXPECT_EQ(CanOpen(path, c.nSecond), c.bAllowed) << std::hex << c.nFirst << " then " << c.nSecond;
        EXPECT_EQ(first.GetLength(), 4);
    }
    // A duplicate is the same open: it holds the file until it goes too.
    XFile file(path.c_str(), kRead);
    XFile* pCopy = file.Duplicate();
    file.Close();
    EXPECT_FALSE(CanOpen(path, kRead | kNone));
    pCopy->Abort();
    EXPECT_TRUE(CanOpen(path, kRead));
    delete pCopy;
}

TEST_F(XFileTest, LockedRangesExcludeOtherOpensOfTheFile)
{
    std::string path = dir.Make("l.bin", std::string(100, 'x'));
    XFile a(path.c_str(), XFile::flagReadWrite | kNone);
    XFile b(path.c_str(), XFile::flagReadWrite | kNone);
    a.LockRange(10, 20);
    b.LockRange(30, 10); // touching, not overlapping
    EXPECT_EQ(ThrownCode([&] { b.LockRange(25, 2); }), static_cast<DWORD>(EAGAIN));
    a.UnlockRange(10, 20);
    b.LockRange(25, 2);
    // A zero-length range would mean the whole file here: it is refused.
    EXPECT_THROW(a.LockRange(0, 0), XFileException);
    // A reader's lock is shared among readers and keeps writers out.
    XFile r1(path.c_str(), kRead | kNone);
    XFile r2(path.c_str(), kRead | kNone);
    r1.LockRange(0, 5);
    r2.LockRange(0, 5);
    EXPECT_THROW(a.LockRange(0, 1), XFileException);
}

TEST_F(XFileTest, FullDiskMidWriteIsAShortWrite)
{
    std::string path = dir("full.bin");
    XFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
    std::vector<char> data(100000, 'd');
    ASSERT_TRUE(XfnSysSetFileSizeLimit(65536));
    XString strName;
    auto cause = ThrownCause([&] { file.Write(data.data(), static_cast<unsigned int>(data.size())); }, &strName);
    EXPECT_EQ(cause, std::make_pair(static_cast<int>(XFileErrorException::diskFull), -1));
    EXPECT_EQ(std::string(strName), path);
    // What fitted stays, and the position is after it; then nothing more fits, and the system's own error comes back.
    EXPECT_EQ(file.GetLength(), 65536);
    EXPECT_EQ(file.GetPosition(), 65536);
    EXPECT_EQ(ThrownCode([&] { file.Write(data.data(), 10); }), static_cast<DWORD>(EFBIG));
    XfnSysSetFileSizeLimit(-1);
    file.Write(data.data(), 10);
    EXPECT_EQ(file.GetLength(), 65546);
}

TEST_F(XFileTest, SystemErrorsBecomeFileExceptions)
{
    std::string path = dir("f.bin");
    XFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
    file.Write("abc", 3);
    // The times of another file, which SetStatus opens for itself.
    std::string other = dir.Make("t.bin", "t");
    XFileStatus timed = XFileStatus();
    timed.timeModified = XTime(1000000);
    FaultScope faults;
    char buf[3];
    const struct {
        XSysCall nCall;
        int nError;
        const std::string& name;
        std::function<void()> call;
    } cases[] = {
        {XSysCall::Write, ENOSPC, path, [&] { file.Write("xyz", 3); }},
        {XSysCall::Read, EIO, path, [&] { file.Read(buf, 3); }}, {XSysCall::Flush, EIO, path, [&] { file.Flush(); }},
        {XSysCall::SetEnd, EROFS, path, [&] { file.SetLength(1); }},
        {XSysCall::Seek, EOVERFLOW, path, [&] { file.GetPosition(); }},
        {XSysCall::Lock, ENOLCK, path, [&] { file.UnlockRange(0, 1); }},
        {XSysCall::SetTimes, EPERM, other, [&] { XFile::SetStatus(other.c_str(), timed); }},
    };
    for (const auto& c : cases) {
        XfnSysInjectFault(c.nCall, c.nError);
        XString strName;
        EXPECT_EQ(ThrownCode(c.call, &strName), static_cast<DWORD>(c.nError)) << static_cast<int>(c.nCall);
        EXPECT_EQ(std::string(strName), c.name);
        XfnSysClearFaults();
    }
    // The failed write wrote nothing, the failed SetLength cut nothing.
    EXPECT_EQ(file.GetLength(), 3);
    XFileStatus status;
    XfnSysInjectFault(XSysCall::Stat, EIO);
    EXPECT_EQ(file.GetStatus(status), 0);
    // Close never throws, whatever the platform says.
    file.Close();
    EXPECT_EQ(file.hFile, -1);
}
