#include "KVDbase/files/XFile.h"
#include "KVDbase/files/XMMFile.h"
#include "KVDbase/files/XPath.h"
#include "platform/XSysFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

namespace {

const uint64_t kGranule = 65536;

// A file of n bytes where each byte is its offset modulo 251.
std::string MakePattern(const XFilesTestDir& dir, const std::string& name, size_t n)
{
    std::string s(n, '\0');
    for (size_t i = 0; i < n; ++i)
        s[i] = static_cast<char>(i % 251);
    return dir.Make(name, s);
}

bool IsPattern(const std::vector<unsigned char>& buf, uint64_t nFrom)
{
    for (size_t i = 0; i < buf.size(); ++i)
        if (buf[i] != static_cast<unsigned char>((nFrom + i) % 251))
            return false;
    return true;
}

std::string LastError(XMMFile& file)
{
    XString s;
    file.GetLastError(s);
    return std::string(s);
}

} // namespace

class XMMFileTest : public XFilesTest {};

TEST_F(XMMFileTest, OpenFailuresKeepTheirTexts)
{
    XMMFile file;
    FaultScope faults;
    std::string path = MakePattern(dir, "p.bin", 10);
    const struct {
        std::string path;
        XSysCall nFault;
        int nSkip;
        bool bCreate;
        const char* pszError;
    } cases[] = {
        // A missing file is created, then refused for being empty.
        {dir("new.bin"), XSysCall::Count, 0, false, "Cannot open zero byte file."},
        {dir.path.string(), XSysCall::Count, 0, false, "Error encountered during file open."},
        {dir.path.string(), XSysCall::Count, 0, true, "Failed to create file."},
        {dir("c.bin"), XSysCall::Seek, 0, true, "The file pointer cannot be set to specified location."},
        {path, XSysCall::Map, 0, false, "Failed to create file mapping object."},
        {path, XSysCall::Map, 1, false, "Failed to map view of file."},
    };
    for (const auto& c : cases) {
        if (c.nFault != XSysCall::Count)
            XfnSysInjectFault(c.nFault, ENOMEM, c.nSkip);
        EXPECT_FALSE(c.bCreate ? file.Create(c.path.c_str(), 10) : file.Open(c.path.c_str(), XFile::flagRead));
        EXPECT_EQ(LastError(file), c.pszError);
        XfnSysClearFaults();
    }
    EXPECT_TRUE(std::filesystem::exists(dir("new.bin")));
    EXPECT_TRUE(file.Open(path.c_str(), XFile::flagRead));
}

TEST_F(XMMFileTest, ReadsAcrossWindows)
{
    const uint64_t nSize = 3 * kGranule + 100;
    XMMFile file;
    ASSERT_TRUE(file.Open(MakePattern(dir, "r.bin", nSize).c_str(), XFile::flagRead));
    // Reads that cross one or two window boundaries return the whole count.
    ASSERT_TRUE(file.Seek(static_cast<int64_t>(kGranule - 10), 0));
    std::vector<unsigned char> buf(100);
    EXPECT_EQ(file.Read(buf.data(), 100), 100u);
    EXPECT_TRUE(IsPattern(buf, kGranule - 10));
    std::vector<unsigned char> big(2 * kGranule + 7);
    ASSERT_TRUE(file.Seek(-static_cast<int64_t>(kGranule + 85), 1));
    EXPECT_EQ(file.Read(big.data(), static_cast<unsigned int>(big.size())), big.size());
    EXPECT_TRUE(IsPattern(big, 5));
    // A read to the very end works, and leaves the seek message behind.
    ASSERT_TRUE(file.Seek(-50, 2));
    EXPECT_EQ(file.Read(buf.data(), 100), 50u);
    EXPECT_EQ(file.GetPosition(), nSize);
    EXPECT_EQ(LastError(file), "Seek request lies outside file boundary.");
    EXPECT_EQ(file.Read(buf.data(), 100), 0u);
    // A read that ends at a window's edge moves the window on.
    ASSERT_TRUE(file.Seek(0, 0));
    big.resize(kGranule + 16);
    EXPECT_EQ(file.Read(big.data(), static_cast<unsigned int>(kGranule)), kGranule);
    EXPECT_EQ(file.Read(big.data() + kGranule, 16), 16u);
    EXPECT_TRUE(IsPattern(big, 0));
}

TEST_F(XMMFileTest, WritePastTheEndGrowsByAGranule)
{
    std::string path = dir("w.bin");
    XMMFile file;
    ASSERT_TRUE(file.Create(path.c_str(), 100));
    std::vector<unsigned char> data(kGranule + 50);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<unsigned char>((80 + i) % 251);
    ASSERT_TRUE(file.Seek(80, 0));
    file.Write(data.data(), static_cast<unsigned int>(data.size()), true);
    const uint64_t nEnd = 80 + data.size();
    EXPECT_EQ(file.GetLength(), nEnd);
    EXPECT_EQ(std::filesystem::file_size(path), nEnd + kGranule);
    // Writing inside the window.
    ASSERT_TRUE(file.Seek(0, 0));
    unsigned char head[80];
    for (int i = 0; i < 80; ++i)
        head[i] = static_cast<unsigned char>(i);
    file.Write(head, 80, false);
    EXPECT_TRUE(file.Flush());
    file.Close();
    std::string disk = XFilesTestDir::Slurp(path);
    EXPECT_TRUE(IsPattern(std::vector<unsigned char>(disk.begin(), disk.begin() + static_cast<long>(nEnd)), 0));
}

TEST_F(XMMFileTest, FailedGrowthLeavesTheFileReadable)
{
    std::string path = MakePattern(dir, "g.bin", 100);
    XMMFile file;
    ASSERT_TRUE(file.Open(path.c_str(), XFile::flagReadWrite));
    std::vector<unsigned char> data(200, 7);
    for (const auto& fault : {std::make_pair(XSysCall::SetEnd, "Failed to set end of file."),
                              std::make_pair(XSysCall::Seek, "The file pointer cannot be set to specified location.")}) {
        XfnSysInjectFault(fault.first, ENOSPC);
        ASSERT_TRUE(file.Seek(50, 0));
        file.Write(data.data(), 200, false);
        XfnSysClearFaults();
        EXPECT_EQ(LastError(file), fault.second);
        EXPECT_EQ(file.GetLength(), 100u);
        EXPECT_EQ(std::filesystem::file_size(path), 100u);
        // The same object still reads what the file holds.
        std::vector<unsigned char> back(100);
        ASSERT_TRUE(file.Seek(0, 0));
        EXPECT_EQ(file.Read(back.data(), 100), 100u);
        EXPECT_TRUE(IsPattern(back, 0));
    }
}
