// Share modes, record locks, and the failures of a full disk and of the
// system calls, as XFile reports them.
#include "KVDbase/files/XFile.h"
#include "platform/XSysFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

namespace {

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

TEST(XFileShare, ModesOfTheFirstOpenDecideTheSecond)
{
    XFilesTestDir dir;
    std::string path = dir.Make("s.bin", "data");
    const struct {
        unsigned int nFirst;
        unsigned int nSecond;
        bool bAllowed;
    } cases[] = {
        // Share field 0 is exclusive; a refused create does not cut the file
        // first; opening for queries only asks no data access.
        {kRead, kRead | kNone, false}, {kRead, kWrite | kNone, false},
        {kRead, kWrite | XFile::flagCreate | kNone, false}, {kRead, 3, true},
        {kRead | XFile::flagShareDenyWrite, kRead | kNone, true},
        {kRead | XFile::flagShareDenyWrite, XFile::flagReadWrite | kNone, false},
        // The newcomer must share reading with the reader already there.
        {kRead | XFile::flagShareDenyWrite, kRead | XFile::flagShareDenyRead, false},
        {kWrite | XFile::flagShareDenyRead, kRead | kNone, false},
        {kWrite | XFile::flagShareDenyRead, kWrite | kNone, true},
        {kWrite | XFile::flagShareDenyRead, kWrite | XFile::flagShareDenyWrite, false},
        // The other values of the share field count as exclusive.
        {kRead | 0x50, kRead | kNone, false},
    };
    for (const auto& c : cases) {
        XFile first(path.c_str(), c.nFirst);
        EXPECT_EQ(CanOpen(path, c.nSecond), c.bAllowed) << std::hex << c.nFirst << " then " << c.nSecond;
        EXPECT_EQ(first.GetLength(), 4);
    }
    EXPECT_TRUE(CanOpen(path, kRead));
    // A duplicate is the same open: it holds the file until it goes too.
    XFile file(path.c_str(), kRead);
    XFile* pCopy = file.Duplicate();
    file.Close();
    EXPECT_FALSE(CanOpen(path, kRead | kNone));
    pCopy->Abort();
    EXPECT_TRUE(CanOpen(path, kRead));
    delete pCopy;
}

TEST(XFileLock, RangesExcludeOtherOpensOfTheFile)
{
    XFilesTestDir dir;
    std::string path = dir.Make("l.bin", std::string(100, 'x'));
    XFile a(path.c_str(), XFile::flagReadWrite | kNone);
    XFile b(path.c_str(), XFile::flagReadWrite | kNone);
    a.LockRange(10, 20);
    b.LockRange(30, 10); // touching, not overlapping
    XString strName;
    EXPECT_EQ(ThrownCode([&] { b.LockRange(25, 2); }, &strName), static_cast<DWORD>(EAGAIN));
    EXPECT_EQ(std::string(strName), path);
    a.UnlockRange(10, 20);
    b.LockRange(25, 2);
    b.UnlockRange(25, 2);
    b.UnlockRange(30, 10);
    // A zero-length range would mean the whole file here: it is refused.
    EXPECT_THROW(a.LockRange(0, 0), XFileException);
    // A reader's lock is shared among readers and keeps writers out.
    XFile r1(path.c_str(), kRead | kNone);
    XFile r2(path.c_str(), kRead | kNone);
    r1.LockRange(0, 5);
    r2.LockRange(0, 5);
    EXPECT_THROW(a.LockRange(0, 1), XFileException);
}

TEST(XFileFaults, FullDiskMidWriteIsAShortWrite)
{
    XFilesTestDir dir;
    std::string path = dir("full.bin");
    XFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
    std::vector<char> data(100000, 'd');
    ASSERT_TRUE(XfnSysSetFileSizeLimit(65536));
    XString strName;
    auto cause = ThrownCause([&] { file.Write(data.data(), static_cast<unsigned int>(data.size())); }, &strName);
    EXPECT_EQ(cause, std::make_pair(static_cast<int>(XFileErrorException::diskFull), -1));
    EXPECT_EQ(std::string(strName), path);
    // What fitted stays, and the position is after it; then nothing more
    // fits, and the system's own error comes back.
    EXPECT_EQ(file.GetLength(), 65536);
    EXPECT_EQ(file.GetPosition(), 65536);
    EXPECT_EQ(ThrownCode([&] { file.Write(data.data(), 10); }, &strName), static_cast<DWORD>(EFBIG));
    EXPECT_EQ(std::string(strName), path);
    XfnSysSetFileSizeLimit(-1);
    file.Write(data.data(), 10);
    EXPECT_EQ(file.GetLength(), 65546);
}

TEST(XFileFaults, SystemErrorsBecomeFileExceptions)
{
    XFilesTestDir dir;
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
        {XSysCall::Stat, EIO, other, [&] { XFile::SetStatus(other.c_str(), timed); }},
        {XSysCall::Open, EMFILE, other, [&] { XFile::SetStatus(other.c_str(), timed); }},
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
