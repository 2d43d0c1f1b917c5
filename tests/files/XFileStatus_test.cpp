// Status, attributes, times, renames and removal of local files.
#include "KVDbase/files/XFile.h"
#include "platform/XSysFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

TEST(XFileStatus, InstanceAndStaticForms)
{
    XFilesTestDir dir;
    std::string path = dir.Make("s.bin", "12345");
    XFile file(path.c_str(), XFile::flagRead);
    XFileStatus status, byName;
    ASSERT_EQ(file.GetStatus(status), 1);
    ASSERT_EQ(XFile::GetStatus(path.c_str(), byName), 1);
    for (const XFileStatus* p : {&status, &byName}) {
        EXPECT_EQ(p->nSize, 5);
        EXPECT_EQ(p->nAttribute, FILE_ATTRIBUTE_ARCHIVE);
        EXPECT_EQ(std::string(p->szFullPath), path);
        EXPECT_NEAR(static_cast<double>(p->timeModified.GetTime()), XTime::GetTickCount().GetTime(), 60.0);
        EXPECT_NE(p->timeCreated.GetTime(), 0);
        EXPECT_NE(p->timeAccessed.GetTime(), 0);
    }
    EXPECT_EQ(XFile::GetStatus(dir("missing").c_str(), byName), 0);
    EXPECT_EQ(std::string(byName.szFullPath), dir("missing"));
    // The instance form keeps only the low word of the size.
    std::string big = dir("big.bin");
    XFile(big.c_str(), XFile::flagWrite | XFile::flagCreate).SetLength(0x100000010LL);
    ASSERT_EQ(XFile(big.c_str(), XFile::flagRead).GetStatus(status), 1);
    EXPECT_EQ(status.nSize, 0x10);
    ASSERT_EQ(XFile::GetStatus(big.c_str(), status), 1);
    EXPECT_EQ(status.nSize, 0x100000010LL);
}

TEST(XFileStatus, AttributeBitsFromTheFileSystem)
{
    XFilesTestDir dir;
    fs::create_directories(dir.path / "sub");
    dir.Make(".hidden", "h");
    fs::permissions(dir.Make("ro", "r"), fs::perms::owner_read | fs::perms::group_read);
    const std::pair<const char*, int> cases[] = {
        {"sub", FILE_ATTRIBUTE_DIRECTORY}, {".hidden", FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_HIDDEN},
        {"ro", FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY},
        // A wildcard finds the first matching entry, as a directory search does.
        {"r*", FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY},
    };
    for (const auto& c : cases) {
        XFileStatus status;
        ASSERT_EQ(XFile::GetStatus(dir(c.first).c_str(), status), 1) << c.first;
        EXPECT_EQ(status.nAttribute, c.second) << c.first;
    }
}

TEST(XFileStatus, SetStatusWritesTimesOnlyWithAModifiedTimeAroundTheReadOnlyBit)
{
    XFilesTestDir dir;
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
    status.timeModified = XTime(2010, 6, 7, 8, 9, 10);
    status.timeAccessed = XTime(2011, 1, 2, 3, 4, 5);
    XFile::SetStatus(path.c_str(), status);
    ASSERT_EQ(XFile::GetStatus(path.c_str(), after), 1);
    EXPECT_EQ(after.timeModified.GetTime(), XTime(2010, 6, 7, 8, 9, 10).GetTime());
    EXPECT_EQ(after.timeAccessed.GetTime(), XTime(2011, 1, 2, 3, 4, 5).GetTime());
    // The read-only bit is set after the times, and cleared before them.
    status.nAttribute = FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY;
    status.timeModified = XTime(2012, 1, 1, 0, 0, 0);
    XFile::SetStatus(path.c_str(), status);
    EXPECT_EQ(fs::status(path).permissions() & fs::perms::owner_write, fs::perms::none);
    ASSERT_EQ(XFile::GetStatus(path.c_str(), after), 1);
    EXPECT_EQ(after.timeModified.GetTime(), XTime(2012, 1, 1, 0, 0, 0).GetTime());
    // Back to writable, with a new time: the bit is cleared before the
    // times are written, or the open for them would be refused.
    status.nAttribute = FILE_ATTRIBUTE_ARCHIVE;
    status.timeModified = XTime(2013, 1, 1, 0, 0, 0);
    ASSERT_TRUE(XfnSysSetPermissionOverride(false));
    EXPECT_NO_THROW(XFile::SetStatus(path.c_str(), status));
    XfnSysSetPermissionOverride(true);
    EXPECT_NE(fs::status(path).permissions() & fs::perms::owner_write, fs::perms::none);
    XString strName;
    EXPECT_EQ(ThrownCode([&] { XFile::SetStatus(dir("missing").c_str(), status); }, &strName), static_cast<DWORD>(ENOENT));
    EXPECT_EQ(std::string(strName), dir("missing"));
}

TEST(XFileStatus, RenameAndRemove)
{
    XFilesTestDir dir;
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
    EXPECT_EQ(ThrownCode([&] { XFile::Remove(dir("missing").c_str()); }, &strName), static_cast<DWORD>(ENOENT));
    EXPECT_EQ(std::string(strName), dir("missing"));
    EXPECT_EQ(ThrownCode([&] { XFile::Remove(dir.path.string().c_str()); }), static_cast<DWORD>(EISDIR));
    EXPECT_TRUE(fs::exists(dir.path));
}

TEST(XFileStatus, RenameMovesToAnotherFileSystemWithoutReplacing)
{
    struct stat st1, st2;
    if (stat("/tmp", &st1) != 0 || stat("/dev/shm", &st2) != 0 || st1.st_dev == st2.st_dev)
        GTEST_SKIP() << "no second file system at /dev/shm";
    XFilesTestDir dir;
    std::string from = dir.Make("from", "moved bytes");
    std::string to = "/dev/shm/kvd_move_" + std::to_string(getpid());
    XFile::Rename(from.c_str(), to.c_str());
    EXPECT_FALSE(fs::exists(from));
    EXPECT_EQ(XFilesTestDir::Slurp(to), "moved bytes");
    dir.Make("from", "a");
    EXPECT_THROW(XFile::Rename(from.c_str(), to.c_str()), XFileException);
    EXPECT_EQ(XFilesTestDir::Slurp(from), "a");
    EXPECT_EQ(XFilesTestDir::Slurp(to), "moved bytes");
    fs::remove(to);
}
