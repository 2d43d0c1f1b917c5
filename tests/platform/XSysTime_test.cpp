// File times, system times and local times; socket error numbers and texts.
#include "platform/XSysError.h"
#include "platform/XSysTime.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

TEST(XSysTime, FileTimesAndSystemTimes)
{
    // 1601-01-01 00:00:00 is file time 0, a Monday.
    _FILETIME ft = {0, 0}, ftLocal, ftBack;
    _SYSTEMTIME st;
    ASSERT_TRUE(XfnFileTimeToSystemTime(&ft, &st));
    EXPECT_EQ((std::vector<int>{st.wYear, st.wMonth, st.wDay, st.wDayOfWeek}), (std::vector<int>{1601, 1, 1, 1}));
    // The Unix epoch, and a leap day (a Thursday) with milliseconds, both ways.
    _SYSTEMTIME leap = {2024, 2, 0, 29, 23, 59, 58, 123};
    ASSERT_TRUE(XfnSystemTimeToFileTime(&leap, &ft));
    int64_t nSeconds, nNanoseconds;
    XfnFileTimeToUnixTime(ft, nSeconds, nNanoseconds);
    EXPECT_EQ(nSeconds, 1709251198);
    EXPECT_EQ(nNanoseconds, 123000000);
    ASSERT_TRUE(XfnFileTimeToSystemTime(&ft, &st));
    EXPECT_EQ((std::vector<int>{st.wDay, st.wDayOfWeek, st.wMilliseconds}), (std::vector<int>{29, 4, 123}));
    const _FILETIME ftEpoch = XfnUnixTimeToFileTime(0, 0);
    EXPECT_EQ((static_cast<uint64_t>(ftEpoch.dwHighDateTime) << 32) | ftEpoch.dwLowDateTime, 116444736000000000ull);
    // Local times come back to the same instant.
    ASSERT_TRUE(XfnFileTimeToLocalFileTime(&ft, &ftLocal));
    ASSERT_TRUE(XfnLocalFileTimeToFileTime(&ftLocal, &ftBack));
    EXPECT_EQ((std::vector<DWORD>{ftBack.dwLowDateTime, ftBack.dwHighDateTime}),
              (std::vector<DWORD>{ft.dwLowDateTime, ft.dwHighDateTime}));
    // Invalid fields and times before 1601 are refused.
    _SYSTEMTIME notLeap = {2023, 2, 0, 29, 0, 0, 0, 0}, early = {1600, 12, 0, 31, 0, 0, 0, 0};
    _FILETIME ftNegative = {0, 0x80000000u};
    EXPECT_FALSE(XfnSystemTimeToFileTime(&notLeap, &ft));
    EXPECT_FALSE(XfnSystemTimeToFileTime(&early, &ft));
    EXPECT_FALSE(XfnFileTimeToSystemTime(&ftNegative, &st));
}

TEST(XSysError, SocketNumbersAndTexts)
{
    const std::pair<int, unsigned> numbers[] = {{ENOTCONN, 10057}, {ECONNREFUSED, 10061}, {ETIMEDOUT, 10060},
                                                {ECONNRESET, 10054}, {EPIPE, 10054},       {EAGAIN, 10035}};
    for (const auto& n : numbers)
        EXPECT_EQ(XfnWinsockErrorFromErrno(n.first), n.second) << n.first;
    char text[256];
    EXPECT_TRUE(XfnSysErrorText(10060, text, sizeof(text)));
    EXPECT_NE(std::strstr(text, "timed out"), nullptr);
    EXPECT_TRUE(XfnSysErrorText(ENOENT, text, sizeof(text)));
    EXPECT_STREQ(text, std::strerror(ENOENT));
    EXPECT_TRUE(XfnSysErrorText(0, text, sizeof(text)));
    EXPECT_FALSE(XfnSysErrorText(0x2001001D, text, sizeof(text)));
    EXPECT_FALSE(XfnSysErrorText(9999, text, sizeof(text)));
}
