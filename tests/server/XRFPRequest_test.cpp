// The server's request reader: data blocks within their limit and the user's
// budget, and what is malformed, with why. (A write's two packets joined: every
// remote write of the end-to-end tests.)
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

TEST(XRFPRequest, BlocksAreHeldWithinTheirLimitAndBudget)
{
    std::vector<BYTE> vecBytes;
    XfnRFBuildDataBlockHead(vecBytes, tagXRFDataBlockHead{5});
    vecBytes.insert(vecBytes.end(), {1, 2, 3, 4, 5});
    tagXRFPRequest req, other;
    std::string strWhy;
    tagXRFPLimits limits;
    limits.nMaxBlock = 4;
    EXPECT_EQ(ReadOne(vecBytes, req, strWhy, limits), XRFP_READ_MALFORMED);
    EXPECT_NE(strWhy.find("limit"), std::string::npos);
    limits.nMaxBlock = 5;
    limits.pMemory = std::make_shared<XRFPBudget>(9);
    ASSERT_EQ(ReadOne(vecBytes, req, strWhy, limits), XRFP_READ_OK);
    EXPECT_EQ(req.vecBlock, (std::vector<BYTE>{1, 2, 3, 4, 5}));
    // The block is charged to the user while it is held; the request's own
    // block is given back before its next one is read.
    EXPECT_EQ(limits.pMemory->Used(), 5u);
    EXPECT_EQ(ReadOne(vecBytes, other, strWhy, limits), XRFP_READ_MALFORMED);
    EXPECT_NE(strWhy.find("budget"), std::string::npos);
    EXPECT_EQ(ReadOne(vecBytes, req, strWhy, limits), XRFP_READ_OK);
    vecBytes.pop_back();
    EXPECT_EQ(ReadOne(vecBytes, other, strWhy), XRFP_READ_CLOSED) << "the block ends early";
}

TEST(XRFPRequest, ReportsWhatIsMalformed)
{
    std::vector<BYTE> vecLength, vecText, vecCut;
    XfnRFBuildPathRequest(vecLength, tagXRFPathRequest{XRF_CMD_DELETE_FILE, "x", 0});
    vecLength[4] = 7;
    XfnRFBuildMoveFileRequest(vecText, tagXRFMoveFileRequest{"a", "b"});
    std::fill(vecText.begin() + 8 + 260, vecText.end(), 'x');
    XfnRFBuildTransferRequest(vecCut, XRF_CMD_READ_FILE, tagXRFTransferRequest{0, 1, 100});
    vecCut.resize(20);
    // A write's data packet must follow its announcement, its words agreeing.
    const BYTE data[1] = {1};
    std::vector<BYTE> vecLonely, vecOther, vecOdd;
    XfnRFBuildWriteDataRequest(vecLonely, tagXRFWriteDataRequest{7, data, 1});
    XfnRFBuildTransferRequest(vecOther, XRF_CMD_WRITE_ANNOUNCE, tagXRFTransferRequest{0, 7, 1});
    vecOdd = vecOther;
    XfnRFBuildHandleRequest(vecOther, tagXRFHandleRequest{XRF_CMD_GET_FILE_SIZE, 7});
    XfnRFBuildWriteDataRequest(vecOdd, tagXRFWriteDataRequest{7, data, 1});
    vecOdd[32 + 16] = 2;  // the data packet's size word
    const struct {
        std::vector<BYTE> vecBytes;
        XRFPReadResult nResult;
        const char* pszWhy;
    } cases[] = {
        {{30, 0, 0, 0, 0, 0, 0, 0}, XRFP_READ_MALFORMED, "command 30"},
        {vecLength, XRFP_READ_MALFORMED, "length"},
        {vecText, XRFP_READ_MALFORMED, "terminator"},
        {vecLonely, XRFP_READ_MALFORMED, "without its announcement"},
        {vecOther, XRFP_READ_MALFORMED, "followed by command 16"},
        {vecOdd, XRFP_READ_MALFORMED, "(command 21)"},
        {vecCut, XRFP_READ_CLOSED, ""},
        {{}, XRFP_READ_CLOSED, ""},
    };
    for (const auto& c : cases) {
        tagXRFPRequest req;
        std::string strWhy;
        EXPECT_EQ(ReadOne(c.vecBytes, req, strWhy), c.nResult) << c.pszWhy;
        EXPECT_NE(strWhy.find(c.pszWhy), std::string::npos) << strWhy;
    }
}
