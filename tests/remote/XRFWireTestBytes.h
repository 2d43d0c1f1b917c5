// Expected packets for the wire tests, written out as byte runs placed at
// offsets in an otherwise zero packet, and the round trip of a record.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

#include "KVDbase/remote/XRFWire.h"

struct tagBytesAt {
    size_t nAt;
    std::vector<BYTE> bytes;
};

inline std::vector<BYTE> Packet(size_t nSize, std::initializer_list<tagBytesAt> runs)
{
    std::vector<BYTE> packet(nSize, 0);
    for (const tagBytesAt& run : runs)
        for (size_t i = 0; i < run.bytes.size(); ++i)
            packet.at(run.nAt + i) = run.bytes[i];
    return packet;
}

inline std::vector<BYTE> Text(const std::string& str)
{
    return std::vector<BYTE>(str.begin(), str.end());
}

// For loops over many values, where writing each run by hand is no clearer.
inline void PutLE32(std::vector<BYTE>& packet, size_t nAt, DWORD nValue)
{
    for (int i = 0; i < 4; ++i)
        packet.at(nAt + i) = static_cast<BYTE>(nValue >> (8 * i));
}

// Builds value and checks the exact bytes, then parses them and builds again
// from what was parsed: every field carried must come back. Every cut copy,
// in a buffer of exactly its size, is short.
template <class T, class Build, class Parse>
void ExpectForm(const T& value, Build build, Parse parse, const std::vector<BYTE>& expected)
{
    std::vector<BYTE> buf, again;
    ASSERT_EQ(build(buf, value), XRF_WIRE_OK);
    EXPECT_EQ(buf, expected);
    T back{};
    ASSERT_EQ(parse(buf.data(), buf.size(), back), XRF_WIRE_OK);
    ASSERT_EQ(build(again, back), XRF_WIRE_OK);
    EXPECT_EQ(again, buf);
    for (size_t n = 0; n < buf.size(); ++n) {
        std::vector<BYTE> cut(buf.begin(), buf.begin() + n);
        ASSERT_EQ(parse(cut.data(), cut.size(), back), XRF_WIRE_SHORT) << "cut to " << n;
    }
}

// A request also tells a wrong command word and a wrong length word apart.
template <class T, class Build, class Parse>
void ExpectRequest(const T& value, Build build, Parse parse, const std::vector<BYTE>& expected)
{
    ExpectForm(value, build, parse, expected);
    std::vector<BYTE> wrong = expected;
    T back{};
    wrong[0] = 30;
    EXPECT_EQ(parse(wrong.data(), wrong.size(), back), XRF_WIRE_BAD_COMMAND);
    wrong = expected;
    wrong[4] ^= 0x40;
    EXPECT_EQ(parse(wrong.data(), wrong.size(), back), XRF_WIRE_BAD_LENGTH);
}
