#include "platform/XSysError.h"
#include "platform/XSysTime.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

TEST(XSysTime, FileTimesAndSystemTimes)
{
    // 1601-01-01 00:00:00 is file time 0, a Monday.
    _FILETIME ft = {0, 0};
    _SYSTEMTIME st;
    ASSERT_TRUE(XfnFileTimeToSystemTime(&ft, &st));
    EXPECT_EQ(st.wYear, 1601);
    EXPECT_EQ(st.wMonth, 1);
    EXPECT_EQ(st.wDay, 1);
    EXPECT_EQ(st.wDayOfWeek, 1);

    // The Unix epoch, and a leap day with milliseconds, both ways.
    _SYSTEMTIME leap = {2024, 2, 0, 29, 23, 59, 58, 123};
    ASSERT_TRUE(XfnSystemTimeToFileTime(&leap, &ft));
    int64_t nSeconds, nNanoseconds;
    XfnFileTimeToUnixTime(ft, nSeconds, nNanoseconds);
    EXPECT_EQ(nSeconds, 1709251198);
    EXPECT_EQ(nNanoseconds, 123000000);
    ASSERT_TRUE(XfnFileTimeToSystemTime(&ft, &st));
    EXPECT_EQ(st.wDay, 29);
    EXPECT_EQ(st.wDayOfWeek, 4); // a Thursday
    EXPECT_EQ(st.wMilliseconds, 123);
    _FILETIME ftEpoch = XfnUnixTimeToFileTime(0, 0);
    EXPECT_EQ((static_cast<uint64_t>(ftEpoch.dwHighDateTime) << 32) | ftEpoch.dwLowDateTime, 116444736000000000ull);

    // Invalid fields are refused.
    _SYSTEMTIME bad = {2023, 2, 0, 29, 0, 0, 0, 0};
    EXPECT_FALSE(XfnSystemTimeToFileTime(&bad, &ft));
    bad = {1600, 12, 0, 31, 0, 0, 0, 0};
    EXPECT_FALSE(XfnSystemTimeToFileTime(&bad, &ft));
    _FILETIME ftNegative = {0, 0x80000000u};
    EXPECT_FALSE(XfnFileTimeToSystemTime(&ftNegative, &st));
}

TEST(XSysTime, LocalFileTimesRoundTrip)
{
    _FILETIME ft = XfnUnixTimeToFileTime(1719828000, 0);
    _FILETIME ftLocal, ftBack;
    ASSERT_TRUE(XfnFileTimeToLocalFileTime(&ft, &ftLocal));
    ASSERT_TRUE(XfnLocalFileTimeToFileTime(&ftLocal, &ftBack));
    EXPECT_EQ(ftBack.dwLowDateTime, ft.dwLowDateTime);
    EXPECT_EQ(ftBack.dwHighDateTime, ft.dwHighDateTime);
}

TEST(XSysError, SocketNumbersAndTexts)
{
    EXPECT_EQ(XfnWinsockErrorFromErrno(ENOTCONN), 10057u);
    EXPECT_EQ(XfnWinsockErrorFromErrno(ECONNREFUSED), 10061u);
    EXPECT_EQ(XfnWinsockErrorFromErrno(ETIMEDOUT), 10060u);
    EXPECT_EQ(XfnWinsockErrorFromErrno(ECONNRESET), 10054u);
    EXPECT_EQ(XfnWinsockErrorFromErrno(EPIPE), 10054u);
    EXPECT_EQ(XfnWinsockErrorFromErrno(EAGAIN), 10035u);
    char text[256];
    EXPECT_TRUE(XfnSysErrorText(10060, text, sizeof(text)));
    EXPECT_NE(std::strstr(text, "timed out"), nullptr);
    EXPECT_TRUE(XfnSysErrorText(ENOENT, text, sizeof(text)));
    EXPECT_STREQ(text, std::strerror(ENOENT));
    EXPECT_TRUE(XfnSysErrorText(0, text, sizeof(text)));
    EXPECT_FALSE(XfnSysErrorText(0x2001001D, text, sizeof(text)));
    EXPECT_FALSE(XfnSysErrorText(9999, text, sizeof(text)));
}
