#include "platform/XSysTime.h"

#include <cerrno>

namespace {

const int64_t kTicksPerSecond = 10000000;
// Seconds from 1601-01-01 to 1970-01-01.
const int64_t kEpochDifference = 11644473600LL;

// Days since 1970-01-01 of a proleptic Gregorian date.
int64_t DaysFromCivil(int64_t y, unsigned m, unsigned d)
{
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

void CivilFromDays(int64_t z, int64_t& y, unsigned& m, unsigned& d)
{
    z += 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    y = static_cast<int64_t>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y += m <= 2;
}

bool IsLeap(int64_t y)
{
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

int64_t Ticks(const _FILETIME& ft)
{
    return static_cast<int64_t>((static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime);
}

_FILETIME FromTicks(int64_t n)
{
    _FILETIME ft;
    ft.dwLowDateTime = static_cast<DWORD>(static_cast<uint64_t>(n) & 0xFFFFFFFFu);
    ft.dwHighDateTime = static_cast<DWORD>(static_cast<uint64_t>(n) >> 32);
    return ft;
}

// Offset of local time from UTC, in seconds, at the UTC moment t.
bool LocalOffsetAt(int64_t t, int64_t& nOffset)
{
    struct tm tmLocal;
    if (!XfnSysLocalTime(t, &tmLocal))
        return false;
    nOffset = tmLocal.tm_gmtoff;
    return true;
}

} // namespace

int64_t XfnSysTimeNow()
{
    return static_cast<int64_t>(time(nullptr));
}

bool XfnSysLocalTime(int64_t t, struct tm* pOut)
{
    time_t tt = static_cast<time_t>(t);
    return localtime_r(&tt, pOut) != nullptr;
}

bool XfnSysGmTime(int64_t t, struct tm* pOut)
{
    time_t tt = static_cast<time_t>(t);
    return gmtime_r(&tt, pOut) != nullptr;
}

int64_t XfnSysMakeTime(struct tm* pTm)
{
    return static_cast<int64_t>(mktime(pTm));
}

struct tm* XfnSysTmBuffer()
{
    static thread_local struct tm tmBuffer;
    return &tmBuffer;
}

size_t XfnSysFormatTime(char* pBuf, size_t cb, const char* pszFormat, const struct tm* pTm)
{
    return strftime(pBuf, cb, pszFormat, pTm);
}

bool XfnFileTimeToSystemTime(const _FILETIME* pFileTime, _SYSTEMTIME* pSystemTime)
{
    int64_t n = Ticks(*pFileTime);
    if (n < 0) {
        errno = EINVAL;
        return false;
    }
    int64_t nSeconds = n / kTicksPerSecond;
    int64_t nDays = nSeconds / 86400 - kEpochDifference / 86400;
    int64_t nSecondOfDay = nSeconds % 86400;
    int64_t y;
    unsigned m, d;
    CivilFromDays(nDays, y, m, d);
    pSystemTime->wYear = static_cast<WORD>(y);
    pSystemTime->wMonth = static_cast<WORD>(m);
    pSystemTime->wDay = static_cast<WORD>(d);
    // 1601-01-01 was a Monday.
    pSystemTime->wDayOfWeek = static_cast<WORD>((nSeconds / 86400 + 1) % 7);
    pSystemTime->wHour = static_cast<WORD>(nSecondOfDay / 3600);
    pSystemTime->wMinute = static_cast<WORD>(nSecondOfDay / 60 % 60);
    pSystemTime->wSecond = static_cast<WORD>(nSecondOfDay % 60);
    pSystemTime->wMilliseconds = static_cast<WORD>(n % kTicksPerSecond / 10000);
    return true;
}

bool XfnSystemTimeToFileTime(const _SYSTEMTIME* pSystemTime, _FILETIME* pFileTime)
{
    const _SYSTEMTIME& st = *pSystemTime;
    static const unsigned kDaysInMonth[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (st.wYear < 1601 || st.wYear > 30827 || st.wMonth < 1 || st.wMonth > 12 || st.wDay < 1 ||
        st.wDay > kDaysInMonth[st.wMonth - 1] + (st.wMonth == 2 && IsLeap(st.wYear) ? 1u : 0u) ||
        st.wHour > 23 || st.wMinute > 59 || st.wSecond > 59 || st.wMilliseconds > 999) {
        errno = EINVAL;
        return false;
    }
    int64_t nDays = DaysFromCivil(st.wYear, st.wMonth, st.wDay) + kEpochDifference / 86400;
    int64_t nSeconds = nDays * 86400 + st.wHour * 3600 + st.wMinute * 60 + st.wSecond;
    *pFileTime = FromTicks(nSeconds * kTicksPerSecond + st.wMilliseconds * 10000LL);
    return true;
}

bool XfnFileTimeToLocalFileTime(const _FILETIME* pFileTime, _FILETIME* pLocalFileTime)
{
    int64_t n = Ticks(*pFileTime);
    int64_t nOffset;
    if (n < 0 || !LocalOffsetAt(n / kTicksPerSecond - kEpochDifference, nOffset)) {
        errno = EINVAL;
        return false;
    }
    *pLocalFileTime = FromTicks(n + nOffset * kTicksPerSecond);
    return true;
}

bool XfnLocalFileTimeToFileTime(const _FILETIME* pLocalFileTime, _FILETIME* pFileTime)
{
    int64_t n = Ticks(*pLocalFileTime);
    int64_t nLocal = n / kTicksPerSecond - kEpochDifference;
    int64_t nOffset;
    // The offset depends on the UTC moment sought: guess, then correct once.
    if (n < 0 || !LocalOffsetAt(nLocal, nOffset) || !LocalOffsetAt(nLocal - nOffset, nOffset)) {
        errno = EINVAL;
        return false;
    }
    *pFileTime = FromTicks(n - nOffset * kTicksPerSecond);
    return true;
}

_FILETIME XfnUnixTimeToFileTime(int64_t nSeconds, int64_t nNanoseconds)
{
    return FromTicks((nSeconds + kEpochDifference) * kTicksPerSecond + nNanoseconds / 100);
}

void XfnFileTimeToUnixTime(const _FILETIME& ft, int64_t& nSeconds, int64_t& nNanoseconds)
{
    int64_t n = Ticks(ft);
    nSeconds = n / kTicksPerSecond - kEpochDifference;
    nNanoseconds = n % kTicksPerSecond * 100;
}
