#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XStdioFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <string>

class XStdioFileTest : public XFilesTest {};

TEST(XStdioFile, ModeStringTable)
{
    const unsigned int kRW = XFile::flagReadWrite, kCreate = XFile::flagCreate, kBinary = XFile::flagBinary;
    const std::pair<unsigned int, const char*> cases[] = {
        {XFile::flagRead, "rt"}, {kRW, "r+t"}, {XFile::flagWrite, "at"}, {XFile::flagWrite | kCreate, "wt"},
        {XFile::flagWrite | kCreate | kBinary, "wb"}, {kRW | kCreate, "w+t"},
        {kRW | kCreate | XFile::flagNoTruncate, "a+t"}, {XFile::flagRead | kBinary, "rb"},
    };
    for (const auto& c : cases) {
        char sz[4];
        XStdioFile::GetModeString(c.first, sz);
        EXPECT_STREQ(sz, c.second) << c.first;
    }
}

TEST_F(XStdioFileTest, LinesAreReadIn128ByteSteps)
{
    const std::string line128(128, 'a'), line300(300, 'b');
    std::string path = dir.Make("lines.txt", "short\n\n" + line128 + "\n" + line300 + "\nab\r\ncd");
    XStdioFile file(path.c_str(), XFile::flagRead);
    XString strLine;
    for (const std::string& strExpected : {std::string("short"), std::string(), line128, line300}) {
        EXPECT_EQ(file.ReadString(strLine), 1);
        EXPECT_EQ(std::string(strLine), strExpected);
    }
    // The buffer form keeps the line end.
    char buf[8];
    EXPECT_STREQ(file.ReadString(buf, sizeof(buf)), "ab\r\n");
    EXPECT_STREQ(file.ReadString(buf, sizeof(buf)), "cd");
    EXPECT_EQ(file.ReadString(buf, sizeof(buf)), nullptr);
    EXPECT_EQ(file.ReadString(strLine), 0);
    EXPECT_STREQ(strLine, "");
    // A last line of exactly one step is all there, but the last read of the loop found the end.
    XStdioFile end(dir.Make("end.txt", line128).c_str(), XFile::flagRead);
    EXPECT_EQ(end.ReadString(strLine), 0);
    EXPECT_EQ(std::string(strLine), line128);
}

TEST_F(XStdioFileTest, WriteSeekAppendAndAdopt)
{
    std::string path = dir("w.txt");
    {
        XStdioFile file(path.c_str(), XFile::flagReadWrite | XFile::flagCreate);
        file.WriteString("alpha\n");
        file.Write("beta", 4);
        EXPECT_EQ(file.Seek(6, XFile::begin), 6);
        char buf[5] = {};
        EXPECT_EQ(file.Read(buf, 4), 4u);
        EXPECT_STREQ(buf, "beta");
        EXPECT_EQ(file.Read(buf, 4), 0u);
    }
    // Writing without flagCreate appends.
    XStdioFile(path.c_str(), XFile::flagWrite).WriteString("\ngamma");
    EXPECT_EQ(XFilesTestDir::Slurp(path), "alpha\nbeta\ngamma");
    // An adopted stream stays open.
    FILE* pStream = std::fopen(path.c_str(), "a");
    ASSERT_NE(pStream, nullptr);
    XStdioFile(pStream).WriteString("\nkept");
    EXPECT_EQ(std::fputs(" open", pStream), 1);
    EXPECT_EQ(std::fclose(pStream), 0);
    EXPECT_EQ(XFilesTestDir::Slurp(path), "alpha\nbeta\ngamma\nkept open");
}

TEST_F(XStdioFileTest, FailuresUseCauseCodes)
{
    std::string path = dir.Make("r.txt", "abc");
    XStdioFile reader(path.c_str(), XFile::flagRead);
    XStdioFile writer(dir("w.txt").c_str(), XFile::flagWrite | XFile::flagCreate);
    XStdioFile closed;
    char buf[4];
    XString strLine;
    const struct {
        std::function<void()> call;
        int nCause;
        LONG nOsError;
    } cases[] = {
        {[&] { reader.Seek(-10, XFile::begin); }, XFileErrorException::badSeek, EINVAL},
        {[&] { reader.WriteString("x"); }, XFileErrorException::diskFull, EBADF},
        {[&] { writer.Read(buf, 1); }, XFileErrorException::genericException, EBADF},
        {[&] { writer.ReadString(strLine); }, XFileErrorException::genericException, EBADF},
        // A closed object fails as on a bad handle instead of touching no stream.
        {[&] { closed.Read(buf, 1); }, XFileErrorException::genericException, EBADF},
        {[&] { closed.WriteString("x"); }, XFileErrorException::diskFull, EBADF},
        {[&] { closed.Seek(0, XFile::begin); }, XFileErrorException::badSeek, EBADF},
        {[&] { closed.GetPosition(); }, XFileErrorException::invalidFile, EBADF},
    };
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(ThrownCause(cases[i].call), std::make_pair(cases[i].nCause, cases[i].nOsError)) << "case " << i;
    EXPECT_THROW(reader.Duplicate(), XNotSupportedException);
    EXPECT_THROW(reader.LockRange(0, 1), XNotSupportedException);
    // The path constructor reports as XFile does.
    EXPECT_THROW(XStdioFile(dir("missing").c_str(), XFile::flagRead), XFileException);
}
