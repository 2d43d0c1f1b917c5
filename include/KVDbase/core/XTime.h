// XTime and XTimeSpan: a moment as signed 64-bit seconds since 1970-01-01
// UTC, and a signed 64-bit count of seconds. Value classes with no range
// checks: arithmetic wraps, and the fields of a moment are read in local
// time through the C library. GetLocalTm(nullptr) and GetGmtTm(nullptr) hand
// out the calling thread's own broken-down time buffer.
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

struct tm;
class XTimeSpan;

class KVD_API XTime {
public:
    XTime() : nTime(0) {}
    XTime(int64_t t) : nTime(t) {}
    XTime(const XTime& src) = default;
    // A local time; nDST is the C library's daylight flag (-1: let it decide).
    // A date the C library refuses gives -1.
    XTime(int nYear, int nMonth, int nDay, int nHour, int nMin, int nSec, int nDST = -1);
    // An MS-DOS date and time, local.
    XTime(WORD wDosDate, WORD wDosTime, int nDST = -1);
    // A local _SYSTEMTIME; years before 1900 give 0.
    XTime(const _SYSTEMTIME& st, int nDST = -1);
    // A UTC file time; 0 when it cannot be converted.
    XTime(const _FILETIME& ft, int nDST = -1);

    XTime& operator=(const XTime& src) = default;
    XTime& operator=(int64_t t)
    {
        nTime = t;
        return *this;
    }

    int64_t GetTime() const { return nTime; }
    // The present moment in whole seconds (the name is historical).
    static XTime GetTickCount();

    // With p, the broken-down time is copied into *p and p returned; without,
    // the thread's buffer is returned. Null when the moment is out of range.
    struct tm* GetGmtTm(struct tm* p = nullptr) const;
    struct tm* GetLocalTm(struct tm* p = nullptr) const;
    BOOL GetAsSystemTime(_SYSTEMTIME& st) const;

    // Local fields. A moment out of the C library's range reads as
    // 1900-01-01 00:00:00, a Sunday.
    int GetYear() const;
    int GetMonth() const;
    int GetDay() const;
    int GetHour() const;
    int GetMinute() const;
    int GetSecond() const;
    int GetDayOfWeek() const; // Sunday is 1

    // strftime of the local or UTC time into at most 127 bytes; the empty
    // string if the output does not fit or the moment is out of range.
    XString Format(const char* pszFormat) const;
    XString FormatGmt(const char* pszFormat) const;

    XTimeSpan operator-(XTime t) const;
    XTime operator-(XTimeSpan ts) const;
    XTime operator+(XTimeSpan ts) const;
    const XTime& operator+=(XTimeSpan ts);
    const XTime& operator-=(XTimeSpan ts);
    BOOL operator==(XTime t) const { return nTime == t.nTime; }
    BOOL operator!=(XTime t) const { return nTime != t.nTime; }
    BOOL operator<(XTime t) const { return nTime < t.nTime; }
    BOOL operator>(XTime t) const { return nTime > t.nTime; }
    BOOL operator<=(XTime t) const { return nTime <= t.nTime; }
    BOOL operator>=(XTime t) const { return nTime >= t.nTime; }

    int64_t nTime;
};

class KVD_API XTimeSpan {
public:
    XTimeSpan() : nTimeSpan(0) {}
    XTimeSpan(int64_t t) : nTimeSpan(t) {}
    // Computed in 32-bit arithmetic, then widened: 24 856 days or more wrap.
    XTimeSpan(int nDays, int nHours, int nMins, int nSecs);

    LONG GetDays() const;
    LONG GetTotalHours() const;
    LONG GetHours() const;
    LONG GetTotalMinutes() const;
    LONG GetMinutes() const;
    LONG GetTotalSeconds() const;
    LONG GetSeconds() const;

    // Replaces %D with the days, %H, %M and %S with two-digit hours, minutes
    // and seconds; % before any other character gives that character.
    XString Format(const char* pszFormat) const;

    XTimeSpan operator-(XTimeSpan ts) const { return XTimeSpan(static_cast<int64_t>(static_cast<uint64_t>(nTimeSpan) - static_cast<uint64_t>(ts.nTimeSpan))); }
    XTimeSpan operator+(XTimeSpan ts) const { return XTimeSpan(static_cast<int64_t>(static_cast<uint64_t>(nTimeSpan) + static_cast<uint64_t>(ts.nTimeSpan))); }
    XTimeSpan operator-() const { return XTimeSpan(static_cast<int64_t>(0 - static_cast<uint64_t>(nTimeSpan))); }
    const XTimeSpan& operator+=(XTimeSpan ts) { return *this = *this + ts; }
    const XTimeSpan& operator-=(XTimeSpan ts) { return *this = *this - ts; }
    BOOL operator==(XTimeSpan ts) const { return nTimeSpan == ts.nTimeSpan; }
    BOOL operator!=(XTimeSpan ts) const { return nTimeSpan != ts.nTimeSpan; }
    BOOL operator<(XTimeSpan ts) const { return nTimeSpan < ts.nTimeSpan; }
    BOOL operator>(XTimeSpan ts) const { return nTimeSpan > ts.nTimeSpan; }
    BOOL operator<=(XTimeSpan ts) const { return nTimeSpan <= ts.nTimeSpan; }
    BOOL operator>=(XTimeSpan ts) const { return nTimeSpan >= ts.nTimeSpan; }

    int64_t nTimeSpan;
};

// The UTC file time of t's local wall-clock time. Throws XFileException with
// the system error when the time cannot be converted.
KVD_API void XfnTimeToFileTime(const XTime& t, _FILETIME* pFileTime);
