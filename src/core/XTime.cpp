#include "KVDbase/core/XTime.h"

#include "KVDbase/core/XException.h"
#include "platform/XMbText.h"
#include "platform/XSysError.h"
#include "platform/XSysTime.h"

namespace {

int64_t Wrap(uint64_t n)
{
    return static_cast<int64_t>(n);
}

// The local fields of t, or a zeroed record (1900-01-01, Sunday) when the
// C library cannot convert t.
struct tm LocalFields(int64_t t)
{
    struct tm tmLocal = {};
    if (!XfnSysLocalTime(t, &tmLocal))
        tmLocal = {};
    return tmLocal;
}

XString FormatTm(const char* pszFormat, const struct tm* pTm)
{
    char szBuffer[128];
    if (pTm == nullptr || pszFormat == nullptr || XfnSysFormatTime(szBuffer, sizeof(szBuffer), pszFormat, pTm) == 0)
        return XString();
    return XString(szBuffer);
}

} // namespace

XTime::XTime(int nYear, int nMonth, int nDay, int nHour, int nMin, int nSec, int nDST)
{
    struct tm atm = {};
    atm.tm_sec = nSec;
    atm.tm_min = nMin;
    atm.tm_hour = nHour;
    atm.tm_mday = nDay;
    atm.tm_mon = nMonth - 1;
    atm.tm_year = nYear - 1900;
    atm.tm_isdst = nDST;
    nTime = XfnSysMakeTime(&atm);
}

XTime::XTime(WORD wDosDate, WORD wDosTime, int nDST)
    : XTime((wDosDate >> 9) + 1980, (wDosDate >> 5) & 0xF, wDosDate & 0x1F, wDosTime >> 11, (wDosTime >> 5) & 0x3F,
            (wDosTime & 0x1F) * 2, nDST)
{
}

XTime::XTime(const _SYSTEMTIME& st, int nDST)
{
    if (st.wYear < 1900)
        nTime = 0;
    else
        nTime = XTime(st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, nDST).nTime;
}

XTime::XTime(const _FILETIME& ft, int nDST)
{
    _FILETIME ftLocal;
    _SYSTEMTIME st;
    if (!XfnFileTimeToLocalFileTime(&ft, &ftLocal) || !XfnFileTimeToSystemTime(&ftLocal, &st))
        nTime = 0;
    else
        nTime = XTime(st, nDST).nTime;
}

XTime XTime::GetTickCount()
{
    return XTime(XfnSysTimeNow());
}

struct tm* XTime::GetGmtTm(struct tm* p) const
{
    struct tm* pBuffer = XfnSysTmBuffer();
    if (!XfnSysGmTime(nTime, pBuffer))
        return nullptr;
    if (p == nullptr)
        return pBuffer;
    *p = *pBuffer;
    return p;
}

struct tm* XTime::GetLocalTm(struct tm* p) const
{
    struct tm* pBuffer = XfnSysTmBuffer();
    if (!XfnSysLocalTime(nTime, pBuffer))
        return nullptr;
    if (p == nullptr)
        return pBuffer;
    *p = *pBuffer;
    return p;
}

BOOL XTime::GetAsSystemTime(_SYSTEMTIME& st) const
{
    struct tm atm;
    if (GetLocalTm(&atm) == nullptr)
        return 0;
    st.wYear = static_cast<WORD>(atm.tm_year + 1900);
    st.wMonth = static_cast<WORD>(atm.tm_mon + 1);
    st.wDayOfWeek = static_cast<WORD>(atm.tm_wday);
    st.wDay = static_cast<WORD>(atm.tm_mday);
    st.wHour = static_cast<WORD>(atm.tm_hour);
    st.wMinute = static_cast<WORD>(atm.tm_min);
    st.wSecond = static_cast<WORD>(atm.tm_sec);
    st.wMilliseconds = 0;
    return 1;
}

int XTime::GetYear() const { return LocalFields(nTime).tm_year + 1900; }
int XTime::GetMonth() const { return LocalFields(nTime).tm_mon + 1; }
int XTime::GetDay() const { return LocalFields(nTime).tm_mday; }
int XTime::GetHour() const { return LocalFields(nTime).tm_hour; }
int XTime::GetMinute() const { return LocalFields(nTime).tm_min; }
int XTime::GetSecond() const { return LocalFields(nTime).tm_sec; }
int XTime::GetDayOfWeek() const { return LocalFields(nTime).tm_wday + 1; }

XString XTime::Format(const char* pszFormat) const
{
    return FormatTm(pszFormat, GetLocalTm(nullptr));
}

XString XTime::FormatGmt(const char* pszFormat) const
{
    return FormatTm(pszFormat, GetGmtTm(nullptr));
}

XTimeSpan XTime::operator-(XTime t) const
{
    return XTimeSpan(Wrap(static_cast<uint64_t>(nTime) - static_cast<uint64_t>(t.nTime)));
}

XTime XTime::operator-(XTimeSpan ts) const
{
    return XTime(Wrap(static_cast<uint64_t>(nTime) - static_cast<uint64_t>(ts.nTimeSpan)));
}

XTime XTime::operator+(XTimeSpan ts) const
{
    return XTime(Wrap(static_cast<uint64_t>(nTime) + static_cast<uint64_t>(ts.nTimeSpan)));
}

const XTime& XTime::operator+=(XTimeSpan ts)
{
    *this = *this + ts;
    return *this;
}

const XTime& XTime::operator-=(XTimeSpan ts)
{
    *this = *this - ts;
    return *this;
}

void XfnTimeToFileTime(const XTime& t, _FILETIME* pFileTime)
{
    _SYSTEMTIME st = {};
    st.wYear = static_cast<WORD>(t.GetYear());
    st.wMonth = static_cast<WORD>(t.GetMonth());
    st.wDay = static_cast<WORD>(t.GetDay());
    st.wHour = static_cast<WORD>(t.GetHour());
    st.wMinute = static_cast<WORD>(t.GetMinute());
    st.wSecond = static_cast<WORD>(t.GetSecond());
    st.wMilliseconds = 0;
    _FILETIME ftLocal;
    if (!XfnSystemTimeToFileTime(&st, &ftLocal) || !XfnLocalFileTimeToFileTime(&ftLocal, pFileTime))
        XFileException::ThrowError(static_cast<DWORD>(XfnSysLastError()), XString());
}

// -------------------------------------------------------------- XTimeSpan

XTimeSpan::XTimeSpan(int nDays, int nHours, int nMins, int nSecs)
{
    // 32-bit arithmetic with wrap-around, widened by sign afterwards.
    uint32_t n = ((static_cast<uint32_t>(nDays) * 24 + static_cast<uint32_t>(nHours)) * 60 +
                  static_cast<uint32_t>(nMins)) * 60 + static_cast<uint32_t>(nSecs);
    nTimeSpan = static_cast<int32_t>(n);
}

LONG XTimeSpan::GetDays() const { return static_cast<LONG>(nTimeSpan / 86400); }
LONG XTimeSpan::GetTotalHours() const { return static_cast<LONG>(nTimeSpan / 3600); }
LONG XTimeSpan::GetTotalMinutes() const { return static_cast<LONG>(nTimeSpan / 60); }
LONG XTimeSpan::GetTotalSeconds() const { return static_cast<LONG>(static_cast<uint32_t>(nTimeSpan)); }

LONG XTimeSpan::GetHours() const
{
    return static_cast<LONG>(static_cast<uint32_t>(GetTotalHours()) - static_cast<uint32_t>(GetDays()) * 24u);
}

LONG XTimeSpan::GetMinutes() const
{
    return static_cast<LONG>(static_cast<uint32_t>(GetTotalMinutes()) - static_cast<uint32_t>(GetTotalHours()) * 60u);
}

LONG XTimeSpan::GetSeconds() const
{
    return static_cast<LONG>(static_cast<uint32_t>(GetTotalSeconds()) - static_cast<uint32_t>(GetTotalMinutes()) * 60u);
}

XString XTimeSpan::Format(const char* pszFormat) const
{
    XString strResult;
    if (pszFormat == nullptr)
        return strResult;
    XString strItem;
    for (const char* p = pszFormat; *p != '\0';) {
        if (*p != '%') {
            int n = XMbText::CharLen(p);
            strResult += XString(p, n);
            p += n;
            continue;
        }
        ++p;
        switch (*p) {
        case '\0':
            continue;
        case 'D':
            strItem.Format("%ld", GetDays());
            break;
        case 'H':
            strItem.Format("%02d", GetHours());
            break;
        case 'M':
            strItem.Format("%02d", GetMinutes());
            break;
        case 'S':
            strItem.Format("%02d", GetSeconds());
            break;
        default:
            strItem = XString(p, XMbText::CharLen(p));
            p += XMbText::CharLen(p) - 1;
            break;
        }
        strResult += strItem;
        ++p;
    }
    return strResult;
}
