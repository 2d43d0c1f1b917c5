// Requests of the remote file protocol: exact bytes against packets written
// out by hand, round trips, and the refusal of short and malformed packets.

#include <gtest/gtest.h>

#include "KVDbase/remote/XRFWire.h"
#include "remote/XRFWireTestBytes.h"

namespace {

TEST(XRFWireRequest, ExactBytesAndRoundTrips)
{
    const BYTE data[] = {0xDE, 0xAD, 0xBE};
    ExpectRequest(tagXRFCreateFileRequest{"data\\a.img", 0xC0000000, 3, 4, 0xFFFFFFFE}, XfnRFBuildCreateFileRequest,
                  XfnRFParseCreateFileRequest,
                  Packet(312, {{0, {0x00, 0, 0, 0, 0x30, 0x01, 0, 0}},
                               {8, Text("data\\a.img")},
                               {268, {0, 0, 0, 0xC0, 3, 0, 0, 0}},
                               {288, {4, 0, 0, 0}},
                               {296, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}}));
    // A read and a write announcement share one layout, and neither is the other.
    for (DWORD nCommand : {XRF_CMD_READ_FILE, XRF_CMD_WRITE_ANNOUNCE}) {
        auto build = [&](std::vector<BYTE>& buf, const tagXRFTransferRequest& req) {
            return XfnRFBuildTransferRequest(buf, nCommand, req);
        };
        auto parse = [&](const BYTE* p, size_t n, tagXRFTransferRequest& req) {
            return XfnRFParseTransferRequest(p, n, nCommand, req);
        };
        std::vector<BYTE> expected = Packet(32, {{0, {BYTE(nCommand), 0, 0, 0, 24, 0, 0, 0}},
                                                 {8, {0x89, 0x67, 0x45, 0x23, 0x01, 0, 0, 0}},
                                                 {16, {7, 0, 0, 0, 0, 0, 0, 0}},
                                                 {28, {0, 0, 4, 0}}});
        ExpectRequest(tagXRFTransferRequest{0x0000000123456789LL, 7, 0x40000}, build, parse, expected);
        tagXRFTransferRequest back{};
        DWORD nOther = nCommand == XRF_CMD_READ_FILE ? XRF_CMD_WRITE_ANNOUNCE : XRF_CMD_READ_FILE;
        EXPECT_EQ(XfnRFParseTransferRequest(expected.data(), expected.size(), nOther, back), XRF_WIRE_BAD_COMMAND);
    }
    for (DWORD nCommand : {3u, 4u, 5u, 7u, 13u, 14u, 16u})
        ExpectRequest(tagXRFHandleRequest{nCommand, 0x80000001}, XfnRFBuildHandleRequest, XfnRFParseHandleRequest,
                      Packet(24, {{0, {BYTE(nCommand), 0, 0, 0, 16, 0, 0, 0}},
                                  {8, {0x01, 0, 0, 0x80, 0xFF, 0xFF, 0xFF, 0xFF}}}));
    ExpectRequest(tagXRFSetFilePointerRequest{9, 2, -2, 1}, XfnRFBuildSetFilePointerRequest,
                  XfnRFParseSetFilePointerRequest,
                  Packet(32, {{0, {6, 0, 0, 0, 24, 0, 0, 0, 9}},
                              {20, {2, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0}}}));
    ExpectRequest(tagXRFSetFileTimeRequest{5, {0x11, 0x22}, {0x33, 0x44}, {0x55, 0x66}}, XfnRFBuildSetFileTimeRequest,
                  XfnRFParseSetFileTimeRequest,
                  Packet(48, {{0, {15, 0, 0, 0, 40, 0, 0, 0, 5}},
                              {24, {0x11, 0, 0, 0, 0x22, 0, 0, 0, 0x33, 0, 0, 0, 0x44}},
                              {40, {0x55, 0, 0, 0, 0x66}}}));
    ExpectRequest(tagXRFMoveFileRequest{"old", "new"}, XfnRFBuildMoveFileRequest, XfnRFParseMoveFileRequest,
                  Packet(528, {{0, {11, 0, 0, 0, 0x08, 0x02, 0, 0}}, {8, Text("old")}, {268, Text("new")}}));
    ExpectRequest(tagXRFLoginRequest{"A1B2", "C3"}, XfnRFBuildLoginRequest, XfnRFParseLoginRequest,
                  Packet(8200, {{0, {17, 0, 0, 0, 0x00, 0x20, 0, 0}}, {8, Text("A1B2")}, {4104, Text("C3")}}));
    ExpectRequest(tagXRFWriteDataRequest{4, data, 3}, XfnRFBuildWriteDataRequest, XfnRFParseWriteDataRequest,
                  Packet(27, {{0, {21, 0, 0, 0, 19, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0}},
                              {16, {3, 0, 0, 0, 19, 0, 0, 0, 0xDE, 0xAD, 0xBE}}}));
    auto parseHead = [](const BYTE* p, size_t n, tagXRFDataBlockHead& head) {
        return XfnRFParseDataBlockHead(p, n, 0xFFFFFFFF, head);
    };
    ExpectForm(tagXRFDataBlockHead{0x10203}, XfnRFBuildDataBlockHead, parseHead,
               Packet(16, {{0, {22, 0, 0, 0, 8, 0, 0, 0, 0x03, 0x02, 0x01, 0}}}));

    std::vector<BYTE> buf{0xAA};  // builders append behind what is there
    ASSERT_EQ(XfnRFBuildRootListRequest(buf), XRF_WIRE_OK);
    EXPECT_EQ(buf, Packet(17, {{0, {0xAA, 20, 0, 0, 0, 8}}}));
    EXPECT_EQ(XfnRFParseRootListRequest(buf.data() + 1, 16), XRF_WIRE_OK);
    // Builders refuse commands of another layout and leave the buffer alone.
    buf.clear();
    EXPECT_EQ(XfnRFBuildTransferRequest(buf, XRF_CMD_CLOSE_HANDLE, {}), XRF_WIRE_BAD_COMMAND);
    EXPECT_TRUE(buf.empty());
}

TEST(XRFWireRequest, PathRequestsPlaceTheirArgument)
{
    struct {
        DWORD nCommand;
        size_t nTotal;
        size_t nArgumentAt;  // 0: the word is not carried
    } cases[] = {{8, 272, 0}, {9, 272, 268}, {10, 272, 0}, {12, 272, 0}, {18, 280, 0}, {19, 272, 268}, {23, 280, 276}};
    for (const auto& c : cases) {
        std::vector<BYTE> expected = Packet(c.nTotal, {{0, {BYTE(c.nCommand), 0, 0, 0, BYTE(c.nTotal - 8), 1, 0, 0}},
                                                       {8, Text("d\\*.tif")}});
        if (c.nArgumentAt)
            expected[c.nArgumentAt] = 0x21;
        SCOPED_TRACE(c.nCommand);
        ExpectRequest(tagXRFPathRequest{c.nCommand, "d\\*.tif", 0x21}, XfnRFBuildPathRequest, XfnRFParsePathRequest,
                      expected);
        tagXRFPathRequest back{};
        ASSERT_EQ(XfnRFParsePathRequest(expected.data(), expected.size(), back), XRF_WIRE_OK);
        EXPECT_EQ(back.nArgument, c.nArgumentAt ? 0x21u : 0u);
    }
}

TEST(XRFWireRequest, SizeWordsOfWritesAndBlocks)
{
    // The largest write passes; one byte more is refused by both sides.
    std::vector<BYTE> big(XRF_MAX_WRITE + 1, 0x5A), buf;
    tagXRFWriteDataRequest back{};
    ASSERT_EQ(XfnRFBuildWriteDataRequest(buf, {4, big.data(), XRF_MAX_WRITE}), XRF_WIRE_OK);
    EXPECT_EQ(buf.size(), 24u + XRF_MAX_WRITE);
    EXPECT_EQ(XfnRFParseWriteDataRequest(buf.data(), buf.size(), back), XRF_WIRE_OK);
    EXPECT_EQ(back.pData, buf.data() + 24);
    std::vector<BYTE> over = Packet(24, {{0, {21, 0, 0, 0, 0x11, 0, 2, 0}}, {16, {1, 0, 2, 0, 0x11, 0, 2, 0}}});
    over.resize(24 + XRF_MAX_WRITE + 1);
    EXPECT_EQ(XfnRFParseWriteDataRequest(over.data(), over.size(), back), XRF_WIRE_BAD_LENGTH);
    // The three size words must agree.
    std::vector<BYTE> odd = Packet(27, {{0, {21, 0, 0, 0, 19}}, {16, {3, 0, 0, 0, 20}}});
    EXPECT_EQ(XfnRFParseWriteDataRequest(odd.data(), odd.size(), back), XRF_WIRE_BAD_LENGTH);
    EXPECT_EQ(XfnRFWireError(XRF_WIRE_BAD_LENGTH), XRF_ERROR_INVALID_PACKET);
}

TEST(XRFWireRequest, HeaderKnowsEveryCommandsLength)
{
    const DWORD lengths[] = {304, 24, 24, 16, 16, 16, 24, 16, 264, 264, 264, 520,
                             264, 16, 16, 40, 16, 8192, 272, 264, 8, 100, 8, 272};
    for (DWORD nCommand = 0; nCommand < XRF_CMD_COUNT; ++nCommand) {
        std::vector<BYTE> head = Packet(8, {{0, {BYTE(nCommand), 0, 0, 0}}});
        PutLE32(head, 4, lengths[nCommand]);
        tagXRFRequestHeader hdr{};
        ASSERT_EQ(XfnRFParseRequestHeader(head.data(), head.size(), hdr), XRF_WIRE_OK) << nCommand;
        EXPECT_EQ(hdr.nCommand, nCommand);
        EXPECT_EQ(hdr.nLength, lengths[nCommand]);
        PutLE32(head, 4, lengths[nCommand] + 1);
        EXPECT_EQ(XfnRFParseRequestHeader(head.data(), head.size(), hdr),
                  nCommand == XRF_CMD_WRITE_DATA ? XRF_WIRE_OK : XRF_WIRE_BAD_LENGTH);
    }
    tagXRFRequestHeader hdr{};
    std::vector<BYTE> write = Packet(8, {{0, {21, 0, 0, 0, 15}}});
    EXPECT_EQ(XfnRFParseRequestHeader(write.data(), write.size(), hdr), XRF_WIRE_BAD_LENGTH);
    PutLE32(write, 4, 16 + XRF_MAX_WRITE + 1);
    EXPECT_EQ(XfnRFParseRequestHeader(write.data(), write.size(), hdr), XRF_WIRE_BAD_LENGTH);
    std::vector<BYTE> unknown = Packet(8, {{0, {24, 0, 0, 0, 8}}});
    EXPECT_EQ(XfnRFParseRequestHeader(unknown.data(), unknown.size(), hdr), XRF_WIRE_BAD_COMMAND);
    EXPECT_EQ(XfnRFParseRequestHeader(unknown.data(), 7, hdr), XRF_WIRE_SHORT);
}

TEST(XRFWireRequest, TextsThatDoNotFitAreRefused)
{
    std::vector<BYTE> buf;
    std::string strLongest(259, 'p');
    tagXRFPathRequest back{};
    ExpectRequest(tagXRFPathRequest{XRF_CMD_DELETE_FILE, strLongest, 0}, XfnRFBuildPathRequest, XfnRFParsePathRequest,
                  Packet(272, {{0, {10, 0, 0, 0, 0x08, 0x01}}, {8, Text(strLongest)}}));
    EXPECT_EQ(XfnRFBuildPathRequest(buf, {XRF_CMD_DELETE_FILE, strLongest + "p", 0}), XRF_WIRE_TOO_LONG);
    EXPECT_EQ(XfnRFBuildLoginRequest(buf, {std::string(4096, 'F'), "x"}), XRF_WIRE_TOO_LONG);
    EXPECT_TRUE(buf.empty());
    EXPECT_EQ(XfnRFBuildLoginRequest(buf, {std::string(4095, 'F'), "x"}), XRF_WIRE_OK);
    EXPECT_EQ(XfnRFWireError(XRF_WIRE_TOO_LONG), XRF_ERROR_INVALID_PARAMETER);

    // A field filled to its end has no terminator: the parser says so and
    // still hands out text that is bounded by the field.
    std::vector<BYTE> hostile = Packet(272, {{0, {10, 0, 0, 0, 0x08, 0x01}}});
    std::fill(hostile.begin() + 8, hostile.begin() + 268, BYTE('x'));
    hostile[268] = 'y';
    EXPECT_EQ(XfnRFParsePathRequest(hostile.data(), hostile.size(), back), XRF_WIRE_BAD_TEXT);
    EXPECT_EQ(back.strPath, std::string(260, 'x'));
}

}  // namespace
