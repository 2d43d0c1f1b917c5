#include "KVDbase/core/XException.h"
#include "KVDbase/core/XTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace {

// Runs each test in a fixed zone with daylight saving time, so that local
// conversions are predictable: UTC+1 in winter, UTC+2 in summer.
class XTimeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const char* p = std::getenv("TZ");
        bHadZone = p != nullptr;
        if (bHadZone)
            strOldZone = p;
        setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
        tzset();
    }
    void TearDown() override
    {
        if (bHadZone)
            setenv("TZ", strOldZone.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    bool bHadZone = false;
    std::string strOldZone;
};

} // namespace

TEST_F(XTimeTest, LocalConstructionAndFields)
{
    XTime t(2024, 1, 15, 13, 30, 45);
    EXPECT_EQ(t.GetTime(), 1705321845); // 12:30:45 UTC
    EXPECT_EQ(t.GetYear(), 2024);
    EXPECT_EQ(t.GetMonth(), 1);
    EXPECT_EQ(t.GetDay(), 15);
    EXPECT_EQ(t.GetHour(), 13);
    EXPECT_EQ(t.GetMinute(), 30);
    EXPECT_EQ(t.GetSecond(), 45);
    EXPECT_EQ(t.GetDayOfWeek(), 2); // a Monday; Sunday is 1
    XTime summer(2024, 7, 1, 12, 0, 0);
    EXPECT_EQ(summer.GetTime(), 1719828000); // 10:00 UTC
    EXPECT_STREQ(summer.FormatGmt("%H:%M"), "10:00");
    EXPECT_STREQ(summer.Format("%Y-%m-%d %H:%M"), "2024-07-01 12:00");
}

TEST_F(XTimeTest, DosSystemAndFileTimeForms)
{
    // 2024-01-15 13:30:44: date (44 << 9) | (1 << 5) | 15, time (13 << 11) | (30 << 5) | 22.
    XTime dos(static_cast<WORD>((44 << 9) | (1 << 5) | 15), static_cast<WORD>((13 << 11) | (30 << 5) | 22));
    EXPECT_EQ(dos.GetTime(), 1705321844);

    _SYSTEMTIME st = {2024, 1, 1, 15, 13, 30, 45, 999};
    EXPECT_EQ(XTime(st).GetTime(), 1705321845);
    st.wYear = 1899;
    EXPECT_EQ(XTime(st).GetTime(), 0);

    // 2024-01-15 12:30:45 UTC as a file time.
    int64_t nTicks = (1705321845LL + 11644473600LL) * 10000000LL;
    _FILETIME ft = {static_cast<DWORD>(nTicks & 0xFFFFFFFF), static_cast<DWORD>(nTicks >> 32)};
    EXPECT_EQ(XTime(ft).GetTime(), 1705321845);
    _FILETIME ftOut;
    XfnTimeToFileTime(XTime(1705321845), &ftOut);
    EXPECT_EQ(ftOut.dwLowDateTime, ft.dwLowDateTime);
    EXPECT_EQ(ftOut.dwHighDateTime, ft.dwHighDateTime);
    _FILETIME ftBad = {0, 0x80000000u};
    EXPECT_EQ(XTime(ftBad).GetTime(), 0);

    _SYSTEMTIME stOut;
    ASSERT_TRUE(XTime(1719828000).GetAsSystemTime(stOut));
    EXPECT_EQ(stOut.wHour, 12);
    EXPECT_EQ(stOut.wDayOfWeek, 1);
    EXPECT_EQ(stOut.wMilliseconds, 0);
}

TEST_F(XTimeTest, BrokenDownBuffers)
{
    XTime t(86400);
    struct tm mine;
    EXPECT_EQ(t.GetGmtTm(&mine), &mine);
    EXPECT_EQ(mine.tm_mday, 2);
    struct tm* pShared = t.GetLocalTm(nullptr);
    ASSERT_NE(pShared, nullptr);
    EXPECT_EQ(pShared->tm_hour, 1);
    EXPECT_EQ(XTime(INT64_MAX).GetLocalTm(nullptr), nullptr);
    EXPECT_EQ(XTime(INT64_MAX).GetGmtTm(&mine), nullptr);
    EXPECT_STREQ(XTime(INT64_MAX).Format("%Y"), "");
}

TEST_F(XTimeTest, FormatLimit)
{
    XTime t(0);
    EXPECT_STREQ(t.FormatGmt("%Y"), "1970");
    std::string longFormat(130, 'x');
    EXPECT_STREQ(t.FormatGmt(longFormat.c_str()), "");
    std::string fits(127, 'x');
    EXPECT_EQ(t.FormatGmt(fits.c_str()).GetLength(), 127);
}

TEST(XTimeArithmetic, CompareAddAndWrap)
{
    XTime a(1000), b(1060);
    EXPECT_TRUE(a < b);
    EXPECT_EQ((b - a).GetTotalSeconds(), 60);
    a += XTimeSpan(5);
    a -= XTimeSpan(15);
    EXPECT_EQ(a.GetTime(), 990);
    EXPECT_EQ((XTime(INT64_MAX) + XTimeSpan(1)).GetTime(), INT64_MIN);
    EXPECT_GE(XTime::GetTickCount().GetTime(), 1700000000);
}

TEST(XTimeSpan, PartsAndTotals)
{
    XTimeSpan day(1, 0, 0, 0);
    EXPECT_EQ(day.GetDays(), 1);
    EXPECT_EQ(day.GetHours(), 0);
    EXPECT_EQ(day.GetTotalHours(), 24);
    XTimeSpan neg(-90);
    EXPECT_EQ(neg.GetMinutes(), -1);
    EXPECT_EQ(neg.GetSeconds(), -30);
    XTimeSpan mixed(2, 3, 4, 5);
    EXPECT_EQ(mixed.nTimeSpan, 2 * 86400 + 3 * 3600 + 4 * 60 + 5);
    EXPECT_EQ(mixed.GetHours(), 3);
    EXPECT_EQ(mixed.GetMinutes(), 4);
    EXPECT_EQ(mixed.GetSeconds(), 5);
    // 24 856 days overflow the 32-bit product and wrap negative.
    EXPECT_LT(XTimeSpan(24856, 0, 0, 0).nTimeSpan, 0);
    EXPECT_GT(XTimeSpan(24855, 0, 0, 0).nTimeSpan, 0);
}

TEST(XTimeSpan, Format)
{
    XTimeSpan ts(90061);
    EXPECT_STREQ(ts.Format("%D %H %M %S"), "1 01 01 01");
    EXPECT_STREQ(ts.Format("100%% %x%"), "100% x");
    EXPECT_STREQ(ts.Format("\xc3\xa9%D"), "\xc3\xa9" "1");
}
