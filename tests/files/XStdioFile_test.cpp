#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XStdioFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>

namespace {

std::string Mode(unsigned int nFlags)
{
    char sz[4];
    XStdioFile::GetModeString(nFlags, sz);
    return sz;
}

} // namespace

TEST(XStdioFile, ModeStringTable)
{
    EXPECT_EQ(Mode(XFile::flagRead), "rt");
    EXPECT_EQ(Mode(XFile::flagReadWrite), "r+t");
    EXPECT_EQ(Mode(XFile::flagWrite), "at");
    EXPECT_EQ(Mode(XFile::flagWrite | XFile::flagCreate), "wt");
    EXPECT_EQ(Mode(XFile::flagWrite | XFile::flagCreate | XFile::flagBinary), "wb");
    EXPECT_EQ(Mode(XFile::flagReadWrite | XFile::flagCreate), "w+t");
    EXPECT_EQ(Mode(XFile::flagReadWrite | XFile::flagCreate | XFile::flagNoTruncate), "a+t");
    EXPECT_EQ(Mode(XFile::flagRead | XFile::flagBinary), "rb");
}

TEST(XStdioFile, LinesAreReadIn128ByteSteps)
{
    XFilesTestDir dir;
    const std::string line128(128, 'a');
    const std::string line300(300, 'b');
    std::string path = dir.Make("lines.txt", "short\n\n" + line128 + "\n" + line300);
    XStdioFile file(path.c_str(), XFile::flagRead);
    XString strLine;
    EXPECT_EQ(file.ReadString(strLine), 1);
    EXPECT_STREQ(strLine, "short");
    EXPECT_EQ(file.ReadString(strLine), 1);
    EXPECT_STREQ(strLine, "");
    EXPECT_EQ(file.ReadString(strLine), 1);
    EXPECT_EQ(std::string(strLine), line128);
    EXPECT_EQ(file.ReadString(strLine), 1);
    EXPECT_EQ(std::string(strLine), line300);
    EXPECT_EQ(file.ReadString(strLine), 0);
    EXPECT_STREQ(strLine, "");
}

TEST(XStdioFile, LineOfExactlyOneStepAtTheEndReportsEnd)
{
    XFilesTestDir dir;
    const std::string line128(128, 'c');
    std::string path = dir.Make("end.txt", line128);
    XStdioFile file(path.c_str(), XFile::flagRead);
    XString strLine;
    // The text is all there, but the last read of the loop found the end.
    EXPECT_EQ(file.ReadString(strLine), 0);
    EXPECT_EQ(std::string(strLine), line128);
}

TEST(XStdioFile, WriteSeekAndAppend)
{
    XFilesTestDir dir;
    std::string path = dir("w.txt");
    {
        XStdioFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
        file.WriteString("alpha\n");
        file.Write("beta", 4);
        EXPECT_EQ(file.GetPosition(), 10);
        EXPECT_EQ(file.Seek(6, XFile::begin), 6);
        char buf[5] = {};
        EXPECT_EQ(file.Read(buf, 4), 4u);
        EXPECT_STREQ(buf, "beta");
        EXPECT_EQ(file.Read(buf, 4), 0u);
        file.Flush();
        EXPECT_EQ(file.GetLength(), 10);
    }
    {
        // Writing without flagCreate appends.
        XStdioFile file(path.c_str(), XFile::flagWrite);
        file.WriteString("\ngamma");
    }
    EXPECT_EQ(XFilesTestDir::Slurp(path), "alpha\nbeta\ngamma");
}

TEST(XStdioFile, FailuresUseCauseCodes)
{
    XFilesTestDir dir;
    std::string path = dir.Make("r.txt", "abc");
    XStdioFile file(path.c_str(), XFile::flagRead);
    try {
        file.Seek(-10, XFile::begin);
        ADD_FAILURE() << "negative seek accepted";
    } catch (const XFileErrorException& e) {
        EXPECT_EQ(e.nCause, XFileErrorException::badSeek);
        EXPECT_EQ(e.nOsError, EINVAL);
        EXPECT_EQ(std::string(e.strFileName), path);
    }
    // A write to a read-only stream fails in the runtime's buffer flush or
    // at once; either way as cause 1 or 13.
    try {
        file.Write("x", 1);
        file.Flush();
        ADD_FAILURE() << "write to a reading stream accepted";
    } catch (const XFileErrorException& e) {
        EXPECT_TRUE(e.nCause == XFileErrorException::genericException || e.nCause == XFileErrorException::diskFull);
        EXPECT_EQ(e.nOsError, EBADF);
    }
    EXPECT_THROW(file.Duplicate(), XNotSupportedException);
    EXPECT_THROW(file.LockRange(0, 1), XNotSupportedException);
    EXPECT_THROW(file.UnlockRange(0, 1), XNotSupportedException);
    // The path constructor reports as XFile does.
    EXPECT_THROW(XStdioFile(dir("missing").c_str(), XFile::flagRead), XFileException);
}

TEST(XStdioFile, AdoptedStreamStaysOpen)
{
    XFilesTestDir dir;
    std::string path = dir("adopt.txt");
    FILE* pStream = std::fopen(path.c_str(), "w+");
    ASSERT_NE(pStream, nullptr);
    {
        XStdioFile file(pStream);
        EXPECT_EQ(file.bOwnsHandle, 0);
        file.WriteString("kept");
    }
    EXPECT_EQ(std::fputs(" open", pStream), 1);
    EXPECT_EQ(std::fclose(pStream), 0);
    EXPECT_EQ(XFilesTestDir::Slurp(path), "kept open");
    {
        XStdioFile out(stdout);
    }
    EXPECT_GE(std::fflush(stdout), 0);
}

TEST(XStdioFile, CloseAndAbort)
{
    XFilesTestDir dir;
    std::string path = dir("c.txt");
    XStdioFile file(path.c_str(), XFile::flagWrite | XFile::flagCreate);
    file.WriteString("buffered");
    file.Close();
    EXPECT_EQ(file.pStream, nullptr);
    EXPECT_EQ(file.hFile, -1);
    EXPECT_EQ(XFilesTestDir::Slurp(path), "buffered");
    // A closed object fails as on a bad handle instead of touching no stream.
    XString strLine;
    try {
        file.ReadString(strLine);
        ADD_FAILURE() << "read from a closed stream";
    } catch (const XFileErrorException& e) {
        EXPECT_EQ(e.nCause, XFileErrorException::genericException);
        EXPECT_EQ(e.nOsError, EBADF);
    }
    EXPECT_THROW(file.Seek(0, XFile::begin), XFileErrorException);
    // The file is free again: its share mode went with the stream.
    XStdioFile again(path.c_str(), XFile::flagRead);
    again.Abort();
    EXPECT_EQ(again.pStream, nullptr);
    EXPECT_EQ(std::string(again.strPath), path);
    XFile exclusive(path.c_str(), XFile::flagRead);
    EXPECT_EQ(exclusive.GetLength(), 8);
}
