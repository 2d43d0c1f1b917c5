// Share modes, record locks, and the failures of a full disk and of the
// system calls, as XFile reports them.
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XFile.h"
#include "platform/XSysFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

// Whether a second open with nFlags is allowed beside a live one.
bool CanOpen(const std::string& path, unsigned int nFlags)
{
    XFile file;
    XFileException error;
    if (file.Open(path.c_str(), nFlags, &error))
        return true;
    EXPECT_EQ(error.GetErrCode(), static_cast<DWORD>(kSysSharingViolation));
    return false;
}

struct FileSizeLimit {
    explicit FileSizeLimit(int64_t nBytes) { bSet = XfnSysSetFileSizeLimit(nBytes); }
    ~FileSizeLimit() { XfnSysSetFileSizeLimit(-1); }
    bool bSet;
};

} // namespace

TEST(XFileShare, ExclusiveOpenShutsOutEveryOther)
{
    XFilesTestDir dir;
    std::string path = dir.Make("x.bin", "data");
    {
        XFile first(path.c_str(), XFile::flagRead); // share field 0: exclusive
        EXPECT_FALSE(CanOpen(path, XFile::flagRead | XFile::flagShareDenyNone));
        EXPECT_FALSE(CanOpen(path, XFile::flagWrite | XFile::flagShareDenyNone));
        // A refused create does not cut the file first.
        EXPECT_FALSE(CanOpen(path, XFile::flagWrite | XFile::flagCreate | XFile::flagShareDenyNone));
        EXPECT_EQ(first.GetLength(), 4);
        // Opening for queries only asks no data access and is let through.
        EXPECT_TRUE(CanOpen(path, 3));
    }
    EXPECT_TRUE(CanOpen(path, XFile::flagRead));
}

TEST(XFileShare, DenyWriteAndDenyReadPairings)
{
    XFilesTestDir dir;
    std::string path = dir.Make("s.bin", "data");
    {
        XFile reader(path.c_str(), XFile::flagRead | XFile::flagShareDenyWrite);
        EXPECT_TRUE(CanOpen(path, XFile::flagRead | XFile::flagShareDenyNone));
        EXPECT_FALSE(CanOpen(path, XFile::flagReadWrite | XFile::flagShareDenyNone));
        // The newcomer must share reading with the reader already there.
        EXPECT_FALSE(CanOpen(path, XFile::flagRead | XFile::flagShareDenyRead));
    }
    {
        XFile writer(path.c_str(), XFile::flagWrite | XFile::flagShareDenyRead);
        EXPECT_FALSE(CanOpen(path, XFile::flagRead | XFile::flagShareDenyNone));
        EXPECT_TRUE(CanOpen(path, XFile::flagWrite | XFile::flagShareDenyNone));
        EXPECT_FALSE(CanOpen(path, XFile::flagWrite | XFile::flagShareDenyWrite));
    }
    {
        // The other values of the share field count as exclusive.
        XFile odd(path.c_str(), XFile::flagRead | 0x50);
        EXPECT_FALSE(CanOpen(path, XFile::flagRead | XFile::flagShareDenyNone));
    }
}

TEST(XFileShare, DuplicateAndAbortKeepTheTableRight)
{
    XFilesTestDir dir;
    std::string path = dir.Make("d.bin", "data");
    XFile file(path.c_str(), XFile::flagRead);
    XFile* pCopy = file.Duplicate();
    file.Close();
    // The duplicate is the same open: it still holds the file.
    EXPECT_FALSE(CanOpen(path, XFile::flagRead | XFile::flagShareDenyNone));
    pCopy->Abort();
    EXPECT_TRUE(CanOpen(path, XFile::flagRead));
    delete pCopy;
}

TEST(XFileLock, RangesExcludeOtherOpensOfTheFile)
{
    XFilesTestDir dir;
    std::string path = dir.Make("l.bin", std::string(100, 'x'));
    const unsigned int nFlags = XFile::flagReadWrite | XFile::flagShareDenyNone;
    XFile a(path.c_str(), nFlags);
    XFile b(path.c_str(), nFlags);
    a.LockRange(10, 20);
    b.LockRange(30, 10); // touching, not overlapping
    try {
        b.LockRange(25, 2);
        ADD_FAILURE() << "overlapping lock granted";
    } catch (const XFileException& e) {
        EXPECT_EQ(e.GetErrCode(), static_cast<DWORD>(EAGAIN));
        EXPECT_EQ(std::string(e.GetFileName()), path);
    }
    a.UnlockRange(10, 20);
    b.LockRange(25, 2);
    b.UnlockRange(25, 2);
    b.UnlockRange(30, 10);
    // A zero-length range would mean the whole file here: it is refused.
    EXPECT_THROW(a.LockRange(0, 0), XFileException);
    // A reader's lock is shared among readers and keeps writers out.
    XFile r1(path.c_str(), XFile::flagRead | XFile::flagShareDenyNone);
    XFile r2(path.c_str(), XFile::flagRead | XFile::flagShareDenyNone);
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
    {
        FileSizeLimit limit(65536);
        ASSERT_TRUE(limit.bSet);
        try {
            file.Write(data.data(), static_cast<unsigned int>(data.size()));
            ADD_FAILURE() << "short write not reported";
        } catch (const XFileErrorException& e) {
            EXPECT_EQ(e.nCause, XFileErrorException::diskFull);
            EXPECT_EQ(e.nOsError, -1);
            EXPECT_EQ(std::string(e.strFileName), path);
        }
        // What fitted stays, and the position is after it.
        EXPECT_EQ(file.GetLength(), 65536);
        EXPECT_EQ(file.GetPosition(), 65536);
        // Nothing more fits: the system's own error.
        try {
            file.Write(data.data(), 10);
            ADD_FAILURE() << "write past the limit succeeded";
        } catch (const XFileException& e) {
            EXPECT_EQ(e.GetErrCode(), static_cast<DWORD>(EFBIG));
            EXPECT_EQ(std::string(e.GetFileName()), path);
        }
    }
    EXPECT_EQ(file.GetLength(), 65536);
    file.Write(data.data(), 10);
    EXPECT_EQ(file.GetLength(), 65546);
}

TEST(XFileFaults, SystemErrorsBecomeFileExceptions)
{
    XFilesTestDir dir;
    std::string path = dir("f.bin");
    XFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
    file.Write("abc", 3);
    FaultScope faults;
    struct Case {
        XSysCall nCall;
        int nError;
    };
    const Case cases[] = {{XSysCall::Write, ENOSPC}, {XSysCall::Read, EIO}, {XSysCall::Flush, EIO},
                          {XSysCall::SetEnd, EROFS}, {XSysCall::Seek, EOVERFLOW}};
    for (const Case& c : cases) {
        XfnSysInjectFault(c.nCall, c.nError);
        try {
            char buf[3];
            switch (c.nCall) {
            case XSysCall::Write: file.Write("xyz", 3); break;
            case XSysCall::Read: file.Read(buf, 3); break;
            case XSysCall::Flush: file.Flush(); break;
            case XSysCall::SetEnd: file.SetLength(1); break;
            default: file.GetPosition(); break;
            }
            ADD_FAILURE() << "no exception for call " << static_cast<int>(c.nCall);
        } catch (const XFileException& e) {
            EXPECT_EQ(e.GetErrCode(), static_cast<DWORD>(c.nError));
            EXPECT_EQ(std::string(e.GetFileName()), path);
        }
    }
    // The failed write wrote nothing, the failed SetLength cut nothing.
    EXPECT_EQ(file.GetLength(), 3);
    // Close never throws, whatever the platform says.
    file.Close();
    EXPECT_EQ(file.hFile, -1);
}

