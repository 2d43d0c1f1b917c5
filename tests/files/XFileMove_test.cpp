#include "KVDbase/core/XException.h"
#include "KVDbase/files/XFile.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string TempName(const char* pszDir, const char* pszTag)
{
    return std::string(pszDir) + "/kvd_move_" + pszTag + "_" + std::to_string(getpid());
}

bool SameFileSystem(const char* a, const char* b)
{
    struct stat sa, sb;
    return stat(a, &sa) == 0 && stat(b, &sb) == 0 && sa.st_dev == sb.st_dev;
}

} // namespace

TEST(XFileRename, MovesARegularFileToAnotherFileSystem)
{
    if (SameFileSystem("/tmp", "/dev/shm"))
        GTEST_SKIP() << "/tmp and /dev/shm share a file system here";
    std::string strFrom = TempName("/tmp", "from");
    std::string strTo = TempName("/dev/shm", "to");
    {
        XFile file(strFrom.c_str(), XFile::flagCreate | XFile::flagWrite);
        file.Write("moved bytes", 11);
    }
    XFile::Rename(strFrom.c_str(), strTo.c_str());
    EXPECT_NE(access(strFrom.c_str(), F_OK), 0);
    XFile back(strTo.c_str(), XFile::flagRead);
    char buf[16] = {};
    EXPECT_EQ(back.Read(buf, sizeof(buf)), 11u);
    EXPECT_STREQ(buf, "moved bytes");
    back.Close();
    std::remove(strTo.c_str());
}

TEST(XFileRename, MoveNeverReplacesAnExistingTarget)
{
    if (SameFileSystem("/tmp", "/dev/shm"))
        GTEST_SKIP() << "/tmp and /dev/shm share a file system here";
    std::string strFrom = TempName("/tmp", "keep");
    std::string strTo = TempName("/dev/shm", "taken");
    XFile(strFrom.c_str(), XFile::flagCreate | XFile::flagWrite).Write("a", 1);
    XFile(strTo.c_str(), XFile::flagCreate | XFile::flagWrite).Write("bb", 2);
    EXPECT_THROW(XFile::Rename(strFrom.c_str(), strTo.c_str()), XFileException);
    EXPECT_EQ(access(strFrom.c_str(), F_OK), 0);
    XFileStatus status;
    ASSERT_TRUE(XFile::GetStatus(strTo.c_str(), status));
    EXPECT_EQ(status.nSize, 2);
    std::remove(strFrom.c_str());
    std::remove(strTo.c_str());
}
