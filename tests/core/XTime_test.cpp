#include "KVDbase/core/XException.h"
#include "KVDbase/core/XTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

// A fixed zone with daylight saving time, so that local conversions are predictable: UTC+1 in winter, UTC+2 in summer.
class XTimeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const char* p = std::getenv("TZ");
        pOldZone.reset(p != nullptr ? new std::string(p) : nullptr);
        setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
        tzset();
    }
    void TearDown() override
    {
        pOldZone ? setenv("TZ", pOldZone->c_str(), 1) : unsetenv("TZ");
        tzset();
    }
    std::unique_ptr<std::string> pOldZone;
};

} // namespace

TEST_F(XTimeTest, LocalFieldsAndUnconvertibleTimes)
{
    XTime t(2024, 1, 15, 13, 30, 45);
    EXPECT_EQ(t.GetTime(), 1705321845); // 12:30:45 UTC
    // The fields are local; a Monday is day 2, Sunday being 1.
    const int fields[] = {t.GetYear(), t.GetMonth(), t.GetDay(), t.GetHour(), t.GetMinute(), t.GetSecond(),
                          t.GetDayOfWeek()};
    EXPECT_EQ(std::vector<int>(std::begin(fields), std::end(fields)), (std::vector<int>{2024, 1, 15, 13, 30, 45, 2}));
    EXPECT_EQ(XTime(2024, 7, 1, 12, 0, 0).GetTime(), 1719828000); // 10:00 UTC in summer
    // A time the C library cannot convert reads as a zeroed record.
    XTime far(INT64_MAX);
    struct tm mine;
    _SYSTEMTIME st;
    EXPECT_EQ(far.GetYear(), 1900);
    EXPECT_EQ(far.GetLocalTm(nullptr), nullptr);
    EXPECT_EQ(far.GetGmtTm(&mine), nullptr);
    EXPECT_STREQ(far.Format("%Y"), "");
    EXPECT_FALSE(far.GetAsSystemTime(st));
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
    // 2024-01-15 12:30:45 UTC as a file time, both ways.
    int64_t nTicks = (1705321845LL + 11644473600LL) * 10000000LL;
    _FILETIME ft = {static_cast<DWORD>(nTicks & 0xFFFFFFFF), static_cast<DWORD>(nTicks >> 32)}, ftOut;
    EXPECT_EQ(XTime(ft).GetTime(), 1705321845);
    XfnTimeToFileTime(XTime(1705321845), &ftOut);
    EXPECT_EQ(std::make_pair(ftOut.dwLowDateTime, ftOut.dwHighDateTime),
              std::make_pair(ft.dwLowDateTime, ft.dwHighDateTime));
    EXPECT_EQ(XTime(_FILETIME{0, 0x80000000u}).GetTime(), 0);
    // Before 1601 there is no file time.
    EXPECT_THROW(XfnTimeToFileTime(XTime(-12000000000LL), &ftOut), XFileException);
    ASSERT_TRUE(XTime(1719828000).GetAsSystemTime(st));
    EXPECT_EQ(std::make_tuple(st.wHour, st.wDayOfWeek, st.wMilliseconds), std::make_tuple(12, 1, 0));
}

TEST(XTime, FormatLimitAndWrap)
{
    XTime t(0);
    EXPECT_STREQ(t.FormatGmt("%Y"), "1970");
    EXPECT_STREQ(t.FormatGmt(std::string(130, 'x').c_str()), "");
    EXPECT_EQ(t.FormatGmt(std::string(127, 'x').c_str()).GetLength(), 127);
    EXPECT_EQ((XTime(INT64_MAX) + XTimeSpan(1)).GetTime(), INT64_MIN);
    XTime a(1000);
    a -= XTimeSpan(10);
    EXPECT_EQ((a - XTime(1060)).GetTotalSeconds(), -70);
}

TEST(XTimeSpan, PartsTotalsAndFormat)
{
    XTimeSpan mixed(2, 3, 4, 5), neg(-90), ts(90061);
    const LONG parts[] = {mixed.GetDays(), mixed.GetHours(), mixed.GetMinutes(), mixed.GetSeconds(),
                          mixed.GetTotalHours(), neg.GetMinutes(), neg.GetSeconds()};
    EXPECT_EQ(std::vector<LONG>(std::begin(parts), std::end(parts)), (std::vector<LONG>{2, 3, 4, 5, 51, -1, -30}));
    // 24 856 days overflow the 32-bit product and wrap negative.
    EXPECT_LT(XTimeSpan(24856, 0, 0, 0).nTimeSpan, 0);
    EXPECT_STREQ(ts.Format("%D %H %M %S"), "1 01 01 01");
    EXPECT_STREQ(ts.Format("100%% %x%"), "100% x");
    EXPECT_STREQ(ts.Format("\xc3\xa9%D"), "\xc3\xa9" "1");
    EXPECT_STREQ(ts.Format(nullptr), "");
}
