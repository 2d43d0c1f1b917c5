#include "XRFPFiles.h"
#include "XRFPLogins.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>

namespace fs = std::filesystem;

namespace {

// A reply sink that keeps what it is given. With bFiles it takes files,
// sending at most nFileShare bytes from them; a file named in shrink is cut
// to nothing first, as a writer elsewhere might between head and data.
struct KeptReply : XRFPReplySink {
    bool bFiles = false;
    fs::path shrink;
    size_t nFileShare = SIZE_MAX;
    DWORD nCount = 0;
    std::string strData;
    bool ReadHead(DWORD n, DWORD) override { return nCount = n, true; }
    bool ReadData(const BYTE* p, size_t n) override { return strData.append(reinterpret_cast<const char*>(p), n), true; }
    bool ListItem(const XRFPFileInfoItem&) override { return true; }
    bool TakesFiles() const override { return bFiles; }
    bool ReadDataFromFile(int fd, int64_t nPosition, size_t nSize, size_t& nSent) override
    {
        if (!shrink.empty())
            fs::resize_file(shrink, 0);
        std::string strPiece(std::min(nSize, nFileShare), '\0');
        nSent = static_cast<size_t>(std::max<ssize_t>(pread(fd, strPiece.data(), strPiece.size(), nPosition), 0));
        strData.append(strPiece, 0, nSent);
        return true;
    }
};

} // namespace

// Whatever route the data takes after the first piece (the piece loop, the
// file itself, or both), the reply carries the promised count of the file's
// bytes; a file cut short on the way is padded with zeros.
TEST(XRFPFiles, ReadRoutesGiveTheSameBytes)
{
    fs::path root = fs::temp_directory_path() / ("kvd_files_" + std::to_string(std::random_device{}()));
    fs::create_directories(root);
    std::string strContent(600000, '\0');
    for (size_t i = 0; i < strContent.size(); ++i)
        strContent[i] = static_cast<char>(i * 7 + i / 4093);
    std::ofstream(root / "f.bin", std::ios::binary) << strContent;
    XRFPLogin login("u", root.string(), XRFPFd(open(root.c_str(), O_RDONLY | O_DIRECTORY)), 1 << 24);
    XRFPFiles files(login, tagXRFPFileLimits{});
    DWORD hFile = 0;
    int64_t nSize = 0;
    ASSERT_EQ(files.CreateFile({"f.bin", 0x80000000u, 1, 3, 0}, hFile, nSize), 0u);

    const struct {
        bool bFiles;
        size_t nFileShare;
    } routes[] = {{false, 0}, {true, SIZE_MAX}, {true, 100000}, {true, 0}};
    for (const auto& r : routes) {
        KeptReply reply;
        reply.bFiles = r.bFiles;
        reply.nFileShare = r.nFileShare;
        ASSERT_TRUE(files.ReadFile(hFile, 50000, 0x40000, reply));
        EXPECT_EQ(reply.nCount, 0x40000u);
        EXPECT_TRUE(reply.strData == strContent.substr(50000, 0x40000)) << r.bFiles << " " << r.nFileShare;
    }
    KeptReply shrunk;
    shrunk.bFiles = true;
    shrunk.shrink = root / "f.bin";
    ASSERT_TRUE(files.ReadFile(hFile, 0, 0x40000, shrunk));
    EXPECT_EQ(shrunk.strData.size(), 0x40000u);
    EXPECT_TRUE(shrunk.strData == strContent.substr(0, 4096) + std::string(0x40000 - 4096, '\0'));
    login.CloseAll();
    fs::remove_all(root);
}
