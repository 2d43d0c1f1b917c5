// Requests of the remote file protocol: exact bytes against packets written
// out by hand, round trips, and the refusal of short and malformed packets.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KVDbase/remote/XRFWire.h"
#include "remote/XRFWireTestBytes.h"

namespace {

TEST(XRFWireRequest, CreateFileBytesAndRoundTrip)
{
    tagXRFCreateFileRequest req{"data\\a.img", 0xC0000000, 3, 4, 0xFFFFFFFE};
    std::vector<BYTE> buf{0xAA};  // builders append behind what is there
    ASSERT_EQ(XfnRFBuildCreateFileRequest(buf, req), XRF_WIRE_OK);
    std::vector<BYTE> expected = Packet(312, {{0, {0x00, 0, 0, 0, 0x30, 0x01, 0, 0}},
                                              {8, Text("data\\a.img")},
                                              {268, {0, 0, 0, 0xC0, 3, 0, 0, 0}},
                                              {288, {4, 0, 0, 0}},
                                              {296, {0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}});
    expected.insert(expected.begin(), 0xAA);
    EXPECT_EQ(buf, expected);

    tagXRFCreateFileRequest back{};
    ASSERT_EQ(XfnRFParseCreateFileRequest(buf.data() + 1, buf.size() - 1, back), XRF_WIRE_OK);
    EXPECT_EQ(back.strPath, req.strPath);
    EXPECT_EQ(back.nDesiredAccess, req.nDesiredAccess);
    EXPECT_EQ(back.nShareMode, 3u);
    EXPECT_EQ(back.nDisposition, 4u);
    EXPECT_EQ(back.hTemplate, 0xFFFFFFFEu);
}

TEST(XRFWireRequest, ReadAndWriteAnnouncementShareOneLayout)
{
    tagXRFTransferRequest req{0x0000000123456789LL, 7, 0x40000};
    for (DWORD nCommand : {XRF_CMD_READ_FILE, XRF_CMD_WRITE_ANNOUNCE}) {
        std::vector<BYTE> buf;
        ASSERT_EQ(XfnRFBuildTransferRequest(buf, nCommand, req), XRF_WIRE_OK);
        EXPECT_EQ(buf, Packet(32, {{0, {BYTE(nCommand), 0, 0, 0, 24, 0, 0, 0}},
                                   {8, {0x89, 0x67, 0x45, 0x23, 0x01, 0, 0, 0}},
                                   {16, {7, 0, 0, 0, 0, 0, 0, 0}},
                                   {28, {0, 0, 4, 0}}}));
        tagXRFTransferRequest back{};
        ASSERT_EQ(XfnRFParseTransferRequest(buf.data(), buf.size(), nCommand, back), XRF_WIRE_OK);
        EXPECT_EQ(back.nPosition, req.nPosition);
        EXPECT_EQ(back.hFile, 7u);
        EXPECT_EQ(back.nCount, 0x40000u);
        // A read is not an announcement and the other way round.
        DWORD nOther = nCommand == XRF_CMD_READ_FILE ? XRF_CMD_WRITE_ANNOUNCE : XRF_CMD_READ_FILE;
        EXPECT_EQ(XfnRFParseTransferRequest(buf.data(), buf.size(), nOther, back), XRF_WIRE_BAD_COMMAND);
    }
    std::vector<BYTE> buf;
    EXPECT_EQ(XfnRFBuildTransferRequest(buf, XRF_CMD_CLOSE_HANDLE, req), XRF_WIRE_BAD_COMMAND);
    EXPECT_TRUE(buf.empty());
}

TEST(XRFWireRequest, HandleRequestsForEachHandleCommand)
{
    for (DWORD nCommand : {3u, 4u, 5u, 7u, 13u, 14u, 16u}) {
        std::vector<BYTE> buf;
        ASSERT_EQ(XfnRFBuildHandleRequest(buf, {nCommand, 0x80000001}), XRF_WIRE_OK);
        EXPECT_EQ(buf, Packet(24, {{0, {BYTE(nCommand), 0, 0, 0, 16, 0, 0, 0}},
                                   {8, {0x01, 0, 0, 0x80, 0xFF, 0xFF, 0xFF, 0xFF}}}));
        tagXRFHandleRequest back{};
        ASSERT_EQ(XfnRFParseHandleRequest(buf.data(), buf.size(), back), XRF_WIRE_OK);
        EXPECT_EQ(back.nCommand, nCommand);
        EXPECT_EQ(back.hFile, 0x80000001u);
    }
    std::vector<BYTE> buf;
    EXPECT_EQ(XfnRFBuildHandleRequest(buf, {XRF_CMD_DELETE_FILE, 1}), XRF_WIRE_BAD_COMMAND);
    EXPECT_TRUE(buf.empty());
}

TEST(XRFWireRequest, SetFilePointerAndSetFileTime)
{
    std::vector<BYTE> buf;
    ASSERT_EQ(XfnRFBuildSetFilePointerRequest(buf, {9, 2, -2, 1}), XRF_WIRE_OK);
    EXPECT_EQ(buf, Packet(32, {{0, {6, 0, 0, 0, 24, 0, 0, 0, 9}},
                               {20, {2, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF, 1, 0, 0, 0}}}));
    tagXRFSetFilePointerRequest ptr{};
    ASSERT_EQ(XfnRFParseSetFilePointerRequest(buf.data(), buf.size(), ptr), XRF_WIRE_OK);
    EXPECT_EQ(ptr.nMoveMethod, 2u);
    EXPECT_EQ(ptr.nDistanceLow, -2);
    EXPECT_EQ(ptr.nDistanceHigh, 1);

    buf.clear();
    ASSERT_EQ(XfnRFBuildSetFileTimeRequest(buf, {5, {0x11, 0x22}, {0x33, 0x44}, {0x55, 0x66}}), XRF_WIRE_OK);
    EXPECT_EQ(buf, Packet(48, {{0, {15, 0, 0, 0, 40, 0, 0, 0, 5}},
                               {24, {0x11, 0, 0, 0, 0x22, 0, 0, 0, 0x33, 0, 0, 0, 0x44}},
                               {40, {0x55, 0, 0, 0, 0x66}}}));
    tagXRFSetFileTimeRequest times{};
    ASSERT_EQ(XfnRFParseSetFileTimeRequest(buf.data(), buf.size(), times), XRF_WIRE_OK);
    EXPECT_EQ(times.hFile, 5u);
    EXPECT_EQ(times.ftLastAccess.dwHighDateTime, 0x44u);
    EXPECT_EQ(times.ftLastWrite.dwLowDateTime, 0x55u);
}

TEST(XRFWireRequest, PathRequestsPlaceTheirArgument)
{
    struct {
        DWORD nCommand;
        size_t nTotal;
        size_t nArgumentAt;  // 0: the word is not carried
    } cases[] = {{8, 272, 0}, {9, 272, 268}, {10, 272, 0}, {12, 272, 0}, {18, 280, 0}, {19, 272, 268}, {23, 280, 276}};
    for (const auto& c : cases) {
        std::vector<BYTE> buf;
        ASSERT_EQ(XfnRFBuildPathRequest(buf, {c.nCommand, "d\\*.tif", 0x21}), XRF_WIRE_OK);
        std::vector<BYTE> expected = Packet(c.nTotal, {{0, {BYTE(c.nCommand), 0, 0, 0, BYTE(c.nTotal - 8), 1, 0, 0}},
                                                       {8, Text("d\\*.tif")}});
        if (c.nArgumentAt)
            expected[c.nArgumentAt] = 0x21;
        EXPECT_EQ(buf, expected) << "command " << c.nCommand;
        tagXRFPathRequest back{};
        ASSERT_EQ(XfnRFParsePathRequest(buf.data(), buf.size(), back), XRF_WIRE_OK);
        EXPECT_EQ(back.nCommand, c.nCommand);
        EXPECT_EQ(back.strPath, "d\\*.tif");
        EXPECT_EQ(back.nArgument, c.nArgumentAt ? 0x21u : 0u);
    }
}

TEST(XRFWireRequest, MoveFileLoginAndRootList)
{
    std::vector<BYTE> buf;
    ASSERT_EQ(XfnRFBuildMoveFileRequest(buf, {"old", "new"}), XRF_WIRE_OK);
    EXPECT_EQ(buf, Packet(528, {{0, {11, 0, 0, 0, 0x08, 0x02, 0, 0}}, {8, Text("old")}, {268, Text("new")}}));
    tagXRFMoveFileRequest move{};
    ASSERT_EQ(XfnRFParseMoveFileRequest(buf.data(), buf.size(), move), XRF_WIRE_OK);
    EXPECT_EQ(move.strOldPath, "old");
    EXPECT_EQ(move.strNewPath, "new");

    buf.clear();
    ASSERT_EQ(XfnRFBuildLoginRequest(buf, {"A1B2", "C3"}), XRF_WIRE_OK);
    EXPECT_EQ(buf, Packet(8200, {{0, {17, 0, 0, 0, 0x00, 0x20, 0, 0}}, {8, Text("A1B2")}, {4104, Text("C3")}}));
    tagXRFLoginRequest login{};
    ASSERT_EQ(XfnRFParseLoginRequest(buf.data(), buf.size(), login), XRF_WIRE_OK);
    EXPECT_EQ(login.strUser, "A1B2");
    EXPECT_EQ(login.strPassword, "C3");

    buf.clear();
    ASSERT_EQ(XfnRFBuildRootListRequest(buf), XRF_WIRE_OK);
    EXPECT_EQ(buf, Packet(16, {{0, {20, 0, 0, 0, 8}}}));
    EXPECT_EQ(XfnRFParseRootListRequest(buf.data(), buf.size()), XRF_WIRE_OK);
}

TEST(XRFWireRequest, WriteDataPacketCarriesItsData)
{
    const BYTE data[] = {0xDE, 0xAD, 0xBE};
    std::vector<BYTE> buf;
    ASSERT_EQ(XfnRFBuildWriteDataRequest(buf, {4, data, 3}), XRF_WIRE_OK);
    EXPECT_EQ(buf, Packet(27, {{0, {21, 0, 0, 0, 19, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0}},
                               {16, {3, 0, 0, 0, 19, 0, 0, 0, 0xDE, 0xAD, 0xBE}}}));
    tagXRFWriteDataRequest back{};
    ASSERT_EQ(XfnRFParseWriteDataRequest(buf.data(), buf.size(), back), XRF_WIRE_OK);
    EXPECT_EQ(back.hFile, 4u);
    ASSERT_EQ(back.nDataSize, 3u);
    EXPECT_EQ(back.pData, buf.data() + 24);

    // The largest write passes; one byte more is refused by both sides.
    std::vector<BYTE> big(XRF_MAX_WRITE + 1, 0x5A);
    buf.clear();
    ASSERT_EQ(XfnRFBuildWriteDataRequest(buf, {4, big.data(), XRF_MAX_WRITE}), XRF_WIRE_OK);
    EXPECT_EQ(buf.size(), 24u + XRF_MAX_WRITE);
    EXPECT_EQ(XfnRFParseWriteDataRequest(buf.data(), buf.size(), back), XRF_WIRE_OK);
    std::vector<BYTE> none;
    EXPECT_EQ(XfnRFBuildWriteDataRequest(none, {4, big.data(), XRF_MAX_WRITE + 1}), XRF_WIRE_TOO_LONG);
    EXPECT_TRUE(none.empty());
    std::vector<BYTE> over = Packet(24, {{0, {21, 0, 0, 0, 0x11, 0, 2, 0}}, {16, {1, 0, 2, 0, 0x11, 0, 2, 0}}});
    over.resize(24 + XRF_MAX_WRITE + 1);
    EXPECT_EQ(XfnRFParseWriteDataRequest(over.data(), over.size(), back), XRF_WIRE_BAD_LENGTH);

    // The three size words must agree.
    std::vector<BYTE> odd = Packet(27, {{0, {21, 0, 0, 0, 19}}, {16, {3, 0, 0, 0, 20}}});
    EXPECT_EQ(XfnRFParseWriteDataRequest(odd.data(), odd.size(), back), XRF_WIRE_BAD_LENGTH);
}

TEST(XRFWireRequest, DataBlockHead)
{
    std::vector<BYTE> buf;
    ASSERT_EQ(XfnRFBuildDataBlockHead(buf, {0x10203}), XRF_WIRE_OK);
    EXPECT_EQ(buf, Packet(16, {{0, {22, 0, 0, 0, 8, 0, 0, 0, 0x03, 0x02, 0x01, 0}}}));
    tagXRFDataBlockHead head{};
    ASSERT_EQ(XfnRFParseDataBlockHead(buf.data(), buf.size(), 0xFFFFFFFF, head), XRF_WIRE_OK);
    EXPECT_EQ(head.nBlockSize, 0x10203u);
    EXPECT_EQ(XfnRFParseDataBlockHead(buf.data(), buf.size(), 0x10202, head), XRF_WIRE_BAD_LENGTH);
    // A length word of 16 is refused before anything else is looked at.
    buf[4] = 16;
    EXPECT_EQ(XfnRFParseDataBlockHead(buf.data(), buf.size(), 0xFFFFFFFF, head), XRF_WIRE_BAD_LENGTH);
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
    EXPECT_EQ(XfnRFBuildPathRequest(buf, {XRF_CMD_DELETE_FILE, strLongest, 0}), XRF_WIRE_OK);
    tagXRFPathRequest back{};
    ASSERT_EQ(XfnRFParsePathRequest(buf.data(), buf.size(), back), XRF_WIRE_OK);
    EXPECT_EQ(back.strPath, strLongest);
    buf.clear();
    EXPECT_EQ(XfnRFBuildPathRequest(buf, {XRF_CMD_DELETE_FILE, strLongest + "p", 0}), XRF_WIRE_TOO_LONG);
    EXPECT_EQ(XfnRFBuildCreateFileRequest(buf, {strLongest + "p", 0, 0, 0, 0}), XRF_WIRE_TOO_LONG);
    EXPECT_EQ(XfnRFBuildMoveFileRequest(buf, {"a", strLongest + "p"}), XRF_WIRE_TOO_LONG);
    EXPECT_EQ(XfnRFBuildLoginRequest(buf, {std::string(4096, 'F'), "x"}), XRF_WIRE_TOO_LONG);
    EXPECT_EQ(XfnRFBuildPathRequest(buf, {XRF_CMD_MOVE_FILE, "a", 0}), XRF_WIRE_BAD_COMMAND);
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

TEST(XRFWireRequest, EveryTruncationIsShortAndNothingIsReadBeyond)
{
    // Each truncated copy lives in a buffer of exactly its size, so a read
    // past the end shows up under the address sanitizer.
    const BYTE data[] = {1, 2, 3, 4, 5};
    std::vector<std::vector<BYTE>> packets(9);
    XfnRFBuildCreateFileRequest(packets[0], {"f", 1, 2, 3, 4});
    XfnRFBuildTransferRequest(packets[1], XRF_CMD_READ_FILE, {1, 2, 3});
    XfnRFBuildHandleRequest(packets[2], {XRF_CMD_GET_FILE_SIZE, 2});
    XfnRFBuildSetFilePointerRequest(packets[3], {1, 0, 5, 0});
    XfnRFBuildPathRequest(packets[4], {XRF_CMD_FIND_FILE_LIST, "p", 1});
    XfnRFBuildMoveFileRequest(packets[5], {"a", "b"});
    XfnRFBuildSetFileTimeRequest(packets[6], {1, {}, {}, {}});
    XfnRFBuildLoginRequest(packets[7], {"u", "p"});
    XfnRFBuildWriteDataRequest(packets[8], {1, data, 5});
    auto parseAll = [](const std::vector<BYTE>& in, size_t i) {
        const BYTE* p = in.data();
        size_t n = in.size();
        tagXRFCreateFileRequest create;
        tagXRFTransferRequest transfer;
        tagXRFHandleRequest handle;
        tagXRFSetFilePointerRequest pointer;
        tagXRFPathRequest path;
        tagXRFMoveFileRequest move;
        tagXRFSetFileTimeRequest times;
        tagXRFLoginRequest login;
        tagXRFWriteDataRequest write;
        switch (i) {
        case 0: return XfnRFParseCreateFileRequest(p, n, create);
        case 1: return XfnRFParseTransferRequest(p, n, XRF_CMD_READ_FILE, transfer);
        case 2: return XfnRFParseHandleRequest(p, n, handle);
        case 3: return XfnRFParseSetFilePointerRequest(p, n, pointer);
        case 4: return XfnRFParsePathRequest(p, n, path);
        case 5: return XfnRFParseMoveFileRequest(p, n, move);
        case 6: return XfnRFParseSetFileTimeRequest(p, n, times);
        case 7: return XfnRFParseLoginRequest(p, n, login);
        default: return XfnRFParseWriteDataRequest(p, n, write);
        }
    };
    for (size_t i = 0; i < packets.size(); ++i) {
        ASSERT_EQ(parseAll(packets[i], i), XRF_WIRE_OK) << "packet " << i;
        for (size_t n = 0; n < packets[i].size(); ++n) {
            std::vector<BYTE> cut(packets[i].begin(), packets[i].begin() + n);
            ASSERT_EQ(parseAll(cut, i), XRF_WIRE_SHORT) << "packet " << i << " cut to " << n;
        }
        // A wrong command word is told apart from a short packet.
        std::vector<BYTE> wrong = packets[i];
        wrong[0] = 30;
        EXPECT_EQ(parseAll(wrong, i), XRF_WIRE_BAD_COMMAND) << "packet " << i;
        // And so is a wrong length word.
        std::vector<BYTE> longer = packets[i];
        longer[4] ^= 0x40;
        EXPECT_EQ(parseAll(longer, i), XRF_WIRE_BAD_LENGTH) << "packet " << i;
    }
}

}  // namespace
