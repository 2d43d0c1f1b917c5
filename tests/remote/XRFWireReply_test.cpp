// Replies of the remote file protocol and the server's greeting: exact bytes,
// round trips, the reply code rules and hostile input.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "remote/XRFWireTestBytes.h"

namespace {

tagXRFGreeting Greeting(const char* szVersion, const std::string& strKey)
{
    tagXRFGreeting greeting{};
    std::memcpy(greeting.szVersion, szVersion, std::min<size_t>(std::strlen(szVersion), 4));
    greeting.strPublicKey = strKey;
    return greeting;
}

TEST(XRFWireReply, GreetingBytesVersionsAndKeyLimits)
{
    ExpectForm(Greeting(XRF_VERSION, "30819D30"), XfnRFBuildGreeting, XfnRFParseGreeting,
               Packet(1460, {{0, {'1', '.', '0', '0', 8, 0, 0, 0}}, {8, Text("30819D30")}}));
    std::vector<BYTE> buf;
    tagXRFGreeting back{};
    // 1024 key bytes are the most that a greeting may carry.
    std::string strKey(1024, 'A');
    ASSERT_EQ(XfnRFBuildGreeting(buf, Greeting(XRF_VERSION, strKey)), XRF_WIRE_OK);
    ASSERT_EQ(XfnRFParseGreeting(buf.data(), buf.size(), back), XRF_WIRE_OK);
    EXPECT_EQ(back.strPublicKey, strKey);
    buf[4] = 0x01;  // key length 1025
    buf[5] = 0x04;
    EXPECT_EQ(XfnRFParseGreeting(buf.data(), buf.size(), back), XRF_WIRE_BAD_KEY);
    EXPECT_TRUE(back.strPublicKey.empty());

    // A key that is empty as C text is refused; a NUL inside the key ends it.
    std::vector<BYTE> empty = Packet(1460, {{0, {'1', '.', '0', '0', 5}}});
    EXPECT_EQ(XfnRFParseGreeting(empty.data(), empty.size(), back), XRF_WIRE_BAD_KEY);
    std::vector<BYTE> cut = Packet(1460, {{0, {'1', '.', '0', '0', 5, 0, 0, 0, 'A', 'B', 0, 'C', 'D'}}});
    ASSERT_EQ(XfnRFParseGreeting(cut.data(), cut.size(), back), XRF_WIRE_OK);
    EXPECT_EQ(back.strPublicKey, "AB");
    EXPECT_EQ(XfnRFWireError(XRF_WIRE_BAD_KEY), XRF_ERROR_INVALID_PUBLIC_KEY);

    // Other versions; a peer that closed early leaves a cleared buffer: no
    // version at all.
    for (const char* szVersion : {"1.01", "1.0", ""}) {
        buf.clear();
        ASSERT_EQ(XfnRFBuildGreeting(buf, Greeting(szVersion, "AB")), XRF_WIRE_OK);
        EXPECT_EQ(XfnRFParseGreeting(buf.data(), buf.size(), back), XRF_WIRE_BAD_VERSION) << szVersion;
        EXPECT_STREQ(back.szVersion, szVersion);
    }
    std::vector<BYTE> cleared(1460, 0);
    EXPECT_EQ(XfnRFParseGreeting(cleared.data(), cleared.size(), back), XRF_WIRE_BAD_VERSION);
    EXPECT_EQ(XfnRFWireError(XRF_WIRE_BAD_VERSION), XRF_ERROR_VERSION_MISMATCH);
}

TEST(XRFWireReply, SmallReplyLayouts)
{
    struct {
        DWORD nCommand;
        std::vector<BYTE> expected;
    } cases[] = {
        {2, Packet(16, {{0, {25, 0, 0, 0, 0, 0, 0, 0, 0x11, 0, 0, 0, 0x33}}})},
        {3, Packet(16, {{0, {26}}, {8, {0x33}}})},
        {6, Packet(24, {{0, {29}}, {8, {0x11, 0, 0, 0, 0x22, 0, 0, 0, 0x33}}})},
        {7, Packet(24, {{0, {30}}, {8, {0x33}}})},
        {8, Packet(16, {{0, {31}}, {8, {0x11, 0, 0, 0, 0x33}}})},
        {15, Packet(16, {{0, {38}}, {12, {0x33}}})},
        {16, Packet(24, {{0, {39}}, {8, {0x11, 0, 0, 0, 0x22, 0, 0, 0, 0x33}}})},
        {17, Packet(16, {{0, {40}}, {8, {0x33}}})},
        {20, Packet(16, {{0, {43}}, {8, {0x11, 0, 0, 0, 0x33}}})},
    };
    for (const auto& c : cases) {
        tagXRFReply reply{XfnRFReplyCode(c.nCommand), 0x11, 0x22, 0x33};
        std::vector<BYTE> buf;
        ASSERT_EQ(XfnRFBuildReply(buf, c.nCommand, reply), XRF_WIRE_OK);
        EXPECT_EQ(buf, c.expected) << "command " << c.nCommand;
        EXPECT_EQ(buf.size(), XfnRFReplySize(c.nCommand));
        tagXRFReply back{};
        ASSERT_EQ(XfnRFParseReply(buf.data(), buf.size(), c.nCommand, back), XRF_WIRE_OK);
        EXPECT_EQ(back.nError, 0x33u);
        EXPECT_EQ(back.nValue, c.expected[8] == 0x11 ? 0x11u : 0u);
        EXPECT_EQ(back.nValueHigh, c.nCommand == 6 || c.nCommand == 16 ? 0x22u : 0u);
        EXPECT_EQ(XfnRFParseReply(buf.data(), buf.size() - 1, c.nCommand, back), XRF_WIRE_SHORT);
    }
    std::vector<BYTE> buf;
    EXPECT_EQ(XfnRFBuildReply(buf, XRF_CMD_CREATE_FILE, {}), XRF_WIRE_BAD_COMMAND);
    EXPECT_TRUE(buf.empty());
}

TEST(XRFWireReply, ReplyCodeRules)
{
    EXPECT_EQ(XfnRFReplyCode(XRF_CMD_WRITE_DATA), 24u);
    EXPECT_EQ(XfnRFReplyCode(XRF_CMD_DATA_BLOCK), 22u);
    EXPECT_EQ(XfnRFReplyCode(XRF_CMD_FIND_FILE_LIST), 44u);
    EXPECT_EQ(XfnRFReplySize(XRF_CMD_WRITE_ANNOUNCE), 0u);
    EXPECT_EQ(XfnRFWrongCodeError(XRF_CMD_CREATE_FILE), XRF_ERROR_INVALID_PACKET);
    EXPECT_EQ(XfnRFWrongCodeError(XRF_CMD_FIND_FILE_LIST), XRF_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(XfnRFWrongCodeError(XRF_CMD_CLOSE_HANDLE), 0u);

    // A wrong code is reported, yet the error word is there for the caller.
    std::vector<BYTE> wrong = Packet(16, {{0, {99}}, {8, {0x05}}});
    tagXRFReply reply{};
    EXPECT_EQ(XfnRFParseReply(wrong.data(), wrong.size(), XRF_CMD_DELETE_FILE, reply), XRF_WIRE_BAD_CODE);
    EXPECT_EQ(reply.nError, 5u);
    // Login and root directory list replies are taken whatever their code.
    EXPECT_EQ(XfnRFParseReply(wrong.data(), wrong.size(), XRF_CMD_LOGIN, reply), XRF_WIRE_OK);
    EXPECT_EQ(reply.nError, 5u);
    EXPECT_EQ(XfnRFParseReply(wrong.data(), wrong.size(), XRF_CMD_GET_ROOT_DIR_LIST, reply), XRF_WIRE_OK);
    EXPECT_EQ(reply.nValue, 5u);
}

TEST(XRFWireReply, ReadReplyAndRootEntries)
{
    // An error comes with a count of 0 and no data.
    std::vector<BYTE> head = Packet(16, {{0, {25}}, {12, {0x06}}});
    tagXRFReply reply{};
    ASSERT_EQ(XfnRFParseReadReply(head.data(), head.size(), 100, reply), XRF_WIRE_OK);
    EXPECT_EQ(reply.nValue, 0u);
    EXPECT_EQ(reply.nError, 6u);
    // More data than was asked for cannot be stored.
    head[8] = 101;
    EXPECT_EQ(XfnRFParseReadReply(head.data(), head.size(), 100, reply), XRF_WIRE_BAD_LENGTH);
    head[8] = 100;
    EXPECT_EQ(XfnRFParseReadReply(head.data(), head.size(), 100, reply), XRF_WIRE_OK);

    std::vector<BYTE> buf;
    ASSERT_EQ(XfnRFBuildRootEntry(buf, "C:"), XRF_WIRE_OK);
    ASSERT_EQ(XfnRFBuildRootEntry(buf, std::string(264, 'r')), XRF_WIRE_OK);
    EXPECT_EQ(XfnRFBuildRootEntry(buf, std::string(265, 'r')), XRF_WIRE_TOO_LONG);
    ASSERT_EQ(buf.size(), 530u);
    EXPECT_EQ(std::vector<BYTE>(buf.begin(), buf.begin() + 265), Packet(265, {{0, Text("C:")}}));
    std::string strRoot;
    ASSERT_EQ(XfnRFParseRootEntry(buf.data(), buf.size(), strRoot), XRF_WIRE_OK);
    EXPECT_EQ(strRoot, "C:");
    ASSERT_EQ(XfnRFParseRootEntry(buf.data() + 265, 265, strRoot), XRF_WIRE_OK);
    EXPECT_EQ(strRoot, std::string(264, 'r'));
    EXPECT_EQ(XfnRFParseRootEntry(buf.data(), 264, strRoot), XRF_WIRE_SHORT);
    std::vector<BYTE> full(265, 'z');
    EXPECT_EQ(XfnRFParseRootEntry(full.data(), full.size(), strRoot), XRF_WIRE_BAD_TEXT);
    EXPECT_EQ(strRoot.size(), 265u);
}

TEST(XRFWireReply, CreateWriteTimeAndListReplies)
{
    ExpectForm(tagXRFCreateFileReply{23, 0xFFFFFFFF, 0, 0x100000002LL}, XfnRFBuildCreateFileReply,
               XfnRFParseCreateFileReply,
               Packet(32, {{0, {23, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
                           {24, {2, 0, 0, 0, 1, 0, 0, 0}}}));
    // Only the low word of a handle counts; a wrong code is an invalid packet.
    tagXRFCreateFileReply create{};
    std::vector<BYTE> odd = Packet(32, {{0, {24}}, {8, {7, 0, 0, 0, 0x12, 0x34, 0x56, 0x78}}, {20, {9}}});
    EXPECT_EQ(XfnRFParseCreateFileReply(odd.data(), odd.size(), create), XRF_WIRE_BAD_CODE);
    EXPECT_EQ(create.hFile, 7u);
    EXPECT_EQ(create.nError, 9u);

    ExpectForm(tagXRFWriteReply{24, 0x20000, 0x20000, 0}, XfnRFBuildWriteReply, XfnRFParseWriteReply,
               Packet(24, {{0, {24}}, {8, {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 2, 0}}}));
    ExpectForm(tagXRFFileTimeReply{37, {1, 2}, {3, 4}, {5, 6}, 7}, XfnRFBuildFileTimeReply, XfnRFParseFileTimeReply,
               Packet(40, {{0, {37}}, {8, {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 5, 0, 0, 0, 6}},
                           {32, {7}}}));

    // An empty list is a single head with item size 0; an item is 312 bytes.
    ExpectForm(tagXRFFileListHead{44, 0, 0}, XfnRFBuildFileListHead, XfnRFParseFileListHead,
               Packet(24, {{0, {44}}}));
    ExpectForm(tagXRFFileListHead{44, 0, 312}, XfnRFBuildFileListHead, XfnRFParseFileListHead,
               Packet(24, {{0, {44}}, {12, {0x38, 0x01}}}));
    tagXRFFileListHead head{};
    std::vector<BYTE> big = Packet(24, {{0, {44}}, {12, {0x39, 0x01}}});
    EXPECT_EQ(XfnRFParseFileListHead(big.data(), big.size(), head), XRF_WIRE_BAD_LENGTH);
    std::vector<BYTE> other = Packet(24, {{0, {43}}, {8, {2}}});
    EXPECT_EQ(XfnRFParseFileListHead(other.data(), other.size(), head), XRF_WIRE_BAD_CODE);
    EXPECT_EQ(head.nError, 2u);
}

TEST(XRFWireReply, FindRepliesCarryTheFindDataImage)
{
    tagXRFFindReply reply{};
    reply.nCode = 35;
    reply.hFind = 3;
    reply.data.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    reply.data.ftLastWriteTime = {0x01020304, 0x05060708};
    reply.data.nFileSizeLow = 0x99;
    std::strcpy(reply.data.cFileName, "scene.tif");
    std::strcpy(reply.data.cAlternateFileName, "SCENE.TIF");
    std::vector<BYTE> findData = Packet(320, {{0, {0x10}},
                                              {20, {0x04, 0x03, 0x02, 0x01, 0x08, 0x07, 0x06, 0x05}},
                                              {32, {0x99}},
                                              {44, Text("scene.tif")},
                                              {304, Text("SCENE.TIF")}});
    std::vector<BYTE> first = Packet(24, {{0, {35, 0, 0, 0, 0, 0, 0, 0, 3}}});
    first.insert(first.end(), findData.begin(), findData.end());
    ExpectForm(reply, XfnRFBuildFindFirstReply, XfnRFParseFindFirstReply, first);

    reply.nCode = 36;
    reply.nError = 18;
    std::vector<BYTE> expected = Packet(8, {{0, {36}}});
    expected.insert(expected.end(), findData.begin(), findData.end());
    expected.resize(336);
    expected[328] = 18;
    ExpectForm(reply, XfnRFBuildFindNextReply, XfnRFParseFindNextReply, expected);

    // A name that fills its field is cut so that it stays C text.
    tagXRFFindReply back{};
    std::fill(expected.begin() + 8 + 44, expected.begin() + 8 + 304, BYTE('n'));
    ASSERT_EQ(XfnRFParseFindNextReply(expected.data(), expected.size(), back), XRF_WIRE_BAD_TEXT);
    EXPECT_EQ(std::strlen(back.data.cFileName), 259u);
}

}  // namespace
