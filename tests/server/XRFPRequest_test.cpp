#include "XRFPRequest.h"

#include <gtest/gtest.h>

namespace {

XRFPReadResult ReadOne(const std::vector<BYTE>& vecBytes, tagXRFPRequest& req, std::string& strWhy,
                       tagXRFPLimits limits = tagXRFPLimits())
{
    XRFPMemoryStream stream(vecBytes.data(), vecBytes.size());
    return XfnRFPReadRequest(stream, limits, req, strWhy);
}

} // namespace

TEST(XRFPRequest, JoinsTheTwoPacketsOfAWrite)
{
    std::vector<BYTE> vecBytes;
    XfnRFBuildTransferRequest(vecBytes, XRF_CMD_WRITE_ANNOUNCE, tagXRFTransferRequest{4096, 7, 3});
    const BYTE data[3] = {'a', 'b', 'c'};
    XfnRFBuildWriteDataRequest(vecBytes, tagXRFWriteDataRequest{7, data, 3});
    XfnRFBuildHandleRequest(vecBytes, tagXRFHandleRequest{XRF_CMD_CLOSE_HANDLE, 7});

    XRFPMemoryStream stream(vecBytes.data(), vecBytes.size());
    tagXRFPRequest req;
    std::string strWhy;
    ASSERT_EQ(XfnRFPReadRequest(stream, tagXRFPLimits(), req, strWhy), XRFP_READ_OK);
    EXPECT_EQ(req.nCommand, static_cast<DWORD>(XRF_CMD_WRITE_DATA));
    EXPECT_EQ(req.transfer.nPosition, 4096);
    EXPECT_EQ(req.write.hFile, 7u);
    ASSERT_EQ(req.write.nDataSize, 3u);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(req.write.pData), 3), "abc");
    ASSERT_EQ(XfnRFPReadRequest(stream, tagXRFPLimits(), req, strWhy), XRFP_READ_OK);
    EXPECT_EQ(req.nCommand, static_cast<DWORD>(XRF_CMD_CLOSE_HANDLE));
    EXPECT_EQ(XfnRFPReadRequest(stream, tagXRFPLimits(), req, strWhy), XRFP_READ_CLOSED);
}

TEST(XRFPRequest, ReadsDataBlocksWithinTheirLimit)
{
    std::vector<BYTE> vecBytes;
    XfnRFBuildDataBlockHead(vecBytes, tagXRFDataBlockHead{5});
    vecBytes.insert(vecBytes.end(), {1, 2, 3, 4, 5});
    tagXRFPRequest req;
    std::string strWhy;
    tagXRFPLimits limits;
    limits.nMaxBlock = 5;
    ASSERT_EQ(ReadOne(vecBytes, req, strWhy, limits), XRFP_READ_OK);
    EXPECT_EQ(req.vecBlock, (std::vector<BYTE>{1, 2, 3, 4, 5}));
    limits.nMaxBlock = 4;
    EXPECT_EQ(ReadOne(vecBytes, req, strWhy, limits), XRFP_READ_MALFORMED);
    EXPECT_NE(strWhy.find("limit"), std::string::npos);
    vecBytes.pop_back();
    limits.nMaxBlock = 5;
    EXPECT_EQ(ReadOne(vecBytes, req, strWhy, limits), XRFP_READ_CLOSED) << "the block ends early";
}

TEST(XRFPRequest, ReportsWhatIsMalformed)
{
    tagXRFPRequest req;
    std::string strWhy;
    std::vector<BYTE> vecBytes{30, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(ReadOne(vecBytes, req, strWhy), XRFP_READ_MALFORMED);
    EXPECT_NE(strWhy.find("command 30"), std::string::npos);

    vecBytes.clear();
    XfnRFBuildPathRequest(vecBytes, tagXRFPathRequest{XRF_CMD_DELETE_FILE, "x", 0});
    vecBytes[4] = 7;  // length word
    EXPECT_EQ(ReadOne(vecBytes, req, strWhy), XRFP_READ_MALFORMED);
    EXPECT_NE(strWhy.find("length"), std::string::npos);

    vecBytes.clear();
    XfnRFBuildMoveFileRequest(vecBytes, tagXRFMoveFileRequest{"a", "b"});
    std::fill(vecBytes.begin() + 8 + 260, vecBytes.end(), 'x');
    EXPECT_EQ(ReadOne(vecBytes, req, strWhy), XRFP_READ_MALFORMED);
    EXPECT_NE(strWhy.find("terminator"), std::string::npos);

    // A block is charged to the user's memory while it is held.
    vecBytes.clear();
    XfnRFBuildDataBlockHead(vecBytes, tagXRFDataBlockHead{100});
    vecBytes.resize(vecBytes.size() + 100);
    tagXRFPLimits limits;
    limits.pMemory = std::make_shared<XRFPBudget>(199);
    ASSERT_EQ(ReadOne(vecBytes, req, strWhy, limits), XRFP_READ_OK);
    EXPECT_EQ(limits.pMemory->Used(), 100u);
    tagXRFPRequest other;
    EXPECT_EQ(ReadOne(vecBytes, other, strWhy, limits), XRFP_READ_MALFORMED);
    EXPECT_NE(strWhy.find("budget"), std::string::npos);
    EXPECT_EQ(ReadOne(vecBytes, req, strWhy, limits), XRFP_READ_OK) << "the request's own block is given back first";

    vecBytes.clear();
    XfnRFBuildTransferRequest(vecBytes, XRF_CMD_READ_FILE, tagXRFTransferRequest{0, 1, 100});
    vecBytes.resize(20);
    EXPECT_EQ(ReadOne(vecBytes, req, strWhy), XRFP_READ_CLOSED) << "a packet cut short";
    EXPECT_EQ(ReadOne({}, req, strWhy), XRFP_READ_CLOSED);
}
