// Status, attributes, times, renames and removal of local files.
#include "KVDbase/files/XFile.h"
#include "platform/XSysFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

} // namespace

TEST(XFileStatus, InstanceAndStaticForms)
{
    XFilesTestDir dir;
    std::string path = dir.Make("s.bin", "12345");
    XFile file(path.c_str(), XFile::flagRead);
    XFileStatus status;
    ASSERT_EQ(file.GetStatus(status), 1);
    EXPECT_EQ(status.nSize, 5);
    EXPECT_EQ(status.nAttribute, FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(std::string(status.szFullPath), path);
    const int64_t nNow = XTime::GetTickCount().GetTime();
    EXPECT_NEAR(static_cast<double>(status.timeModified.GetTime()), static_cast<double>(nNow), 60.0);
    EXPECT_NE(status.timeCreated.GetTime(), 0);
    EXPECT_NE(status.timeAccessed.GetTime(), 0);

    XFileStatus byName;
    ASSERT_EQ(XFile::GetStatus(path.c_str(), byName), 1);
    EXPECT_EQ(byName.nSize, 5);
    EXPECT_EQ(byName.timeModified.GetTime(), status.timeModified.GetTime());
    EXPECT_EQ(std::string(byName.szFullPath), path);

    EXPECT_EQ(XFile::GetStatus(dir("missing").c_str(), byName), 0);
    EXPECT_EQ(std::string(byName.szFullPath), dir("missing"));
}

TEST(XFileStatus, AttributeBitsFromTheFileSystem)
{
    XFilesTestDir dir;
    fs::create_directories(dir.path / "sub");
    std::string hidden = dir.Make(".hidden", "h");
    std::string ro = dir.Make("ro", "r");
    fs::permissions(ro, fs::perms::owner_read | fs::perms::group_read);
    XFileStatus status;
    ASSERT_EQ(XFile::GetStatus(dir("sub").c_str(), status), 1);
    EXPECT_EQ(status.nAttribute, FILE_ATTRIBUTE_DIRECTORY);
    ASSERT_EQ(XFile::GetStatus(hidden.c_str(), status), 1);
    EXPECT_EQ(status.nAttribute, FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_HIDDEN);
    ASSERT_EQ(XFile::GetStatus(ro.c_str(), status), 1);
    EXPECT_EQ(status.nAttribute, FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY);
    // A wildcard finds the first matching entry, as a directory search does.
    ASSERT_EQ(XFile::GetStatus(dir("r*").c_str(), status), 1);
    EXPECT_EQ(status.nSize, 1);
}

TEST(XFileStatus, InstanceSizeKeepsOnlyTheLowWord)
{
    XFilesTestDir dir;
    std::string path = dir("big.bin");
    {
        XFile file(path.c_str(), XFile::flagWrite | XFile::flagCreate);
        file.SetLength(0x100000010LL);
    }
    XFile file(path.c_str(), XFile::flagRead);
    XFileStatus status;
    ASSERT_EQ(file.GetStatus(status), 1);
    EXPECT_EQ(status.nSize, 0x10);
    ASSERT_EQ(XFile::GetStatus(path.c_str(), status), 1);
    EXPECT_EQ(status.nSize, 0x100000010LL);
}

TEST(XFileStatus, SetStatusWritesTimesOnlyWithAModifiedTime)
{
    XFilesTestDir dir;
    std::string path = dir.Make("t.bin", "x");
    XFileStatus before;
    ASSERT_EQ(XFile::GetStatus(path.c_str(), before), 1);

    XFileStatus status = before;
    status.timeModified = XTime(0);
    status.timeCreated = XTime(2001, 2, 3, 4, 5, 6);
    status.timeAccessed = XTime(2001, 2, 3, 4, 5, 6);
    XFile::SetStatus(path.c_str(), status);
    XFileStatus after;
    ASSERT_EQ(XFile::GetStatus(path.c_str(), after), 1);
    EXPECT_EQ(after.timeModified.GetTime(), before.timeModified.GetTime());
    EXPECT_EQ(after.timeAccessed.GetTime(), before.timeAccessed.GetTime());

    status.timeModified = XTime(2010, 6, 7, 8, 9, 10);
    status.timeAccessed = XTime(2011, 1, 2, 3, 4, 5);
    XFile::SetStatus(path.c_str(), status);
    ASSERT_EQ(XFile::GetStatus(path.c_str(), after), 1);
    EXPECT_EQ(after.timeModified.GetTime(), XTime(2010, 6, 7, 8, 9, 10).GetTime());
    EXPECT_EQ(after.timeAccessed.GetTime(), XTime(2011, 1, 2, 3, 4, 5).GetTime());
}

TEST(XFileStatus, SetStatusTogglesReadOnlyAroundTheTimes)
{
    XFilesTestDir dir;
    std::string path = dir.Make("ro.bin", "x");
    XFileStatus status;
    ASSERT_EQ(XFile::GetStatus(path.c_str(), status), 1);
    status.nAttribute = FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_READONLY;
    status.timeModified = XTime(2012, 1, 1, 0, 0, 0);
    XFile::SetStatus(path.c_str(), status);
    EXPECT_EQ(fs::status(path).permissions() & fs::perms::owner_write, fs::perms::none);
    XFileStatus after;
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

    try {
        XFile::SetStatus(dir("missing").c_str(), status);
        ADD_FAILURE() << "missing file accepted";
    } catch (const XFileException& e) {
        EXPECT_EQ(e.GetErrCode(), static_cast<DWORD>(ENOENT));
        EXPECT_EQ(std::string(e.GetFileName()), dir("missing"));
    }
}

TEST(XFileStatus, RenameReportsTheNewNameAndNeverReplaces)
{
    XFilesTestDir dir;
    std::string a = dir.Make("a", "A");
    std::string b = dir.Make("b", "B");
    XString strName;
    EXPECT_EQ(ThrownCode([&] { XFile::Rename(dir("missing").c_str(), dir("new").c_str()); }, &strName), static_cast<DWORD>(ENOENT));
    EXPECT_EQ(std::string(strName), dir("new"));
    EXPECT_EQ(ThrownCode([&] { XFile::Rename(a.c_str(), b.c_str()); }, &strName), static_cast<DWORD>(EEXIST));
    EXPECT_EQ(XFilesTestDir::Slurp(b), "B");
    XFile::Rename(a.c_str(), dir("c").c_str());
    EXPECT_FALSE(fs::exists(a));
    EXPECT_EQ(XFilesTestDir::Slurp(dir("c")), "A");
    XFile::Remove(dir("c").c_str());
    EXPECT_FALSE(fs::exists(dir("c")));
}

TEST(XFileStatus, RemoveFilesNotDirectories)
{
    XFilesTestDir dir;
    XString strName;
    EXPECT_EQ(ThrownCode([&] { XFile::Remove(dir("missing").c_str()); }, &strName), static_cast<DWORD>(ENOENT));
    EXPECT_EQ(std::string(strName), dir("missing"));
    EXPECT_EQ(ThrownCode([&] { XFile::Remove(dir.path.string().c_str()); }, &strName), static_cast<DWORD>(EISDIR));
    EXPECT_TRUE(fs::exists(dir.path));
}
