// Time on this platform: the present moment, conversions between a moment
// (seconds since 1970 UTC) and broken-down local or UTC time through the C
// library, strftime, and file times: 100-nanosecond units since 1601-01-01
// UTC, with the broken-down _SYSTEMTIME form. Local time is the C library's
// time zone. Every function is thread-safe; failures answer false or -1.
#pragma once

#include "KVDbase/platform/Win32Types.h"

#include <cstddef>
#include <ctime>

int64_t XfnSysTimeNow();
// Broken-down local or UTC time of t into *pOut; false if out of range.
bool XfnSysLocalTime(int64_t t, struct tm* pOut);
bool XfnSysGmTime(int64_t t, struct tm* pOut);
// The moment of a local broken-down time (normalising *pTm), or -1.
int64_t XfnSysMakeTime(struct tm* pTm);
// The calling thread's own broken-down time buffer.
struct tm* XfnSysTmBuffer();
// strftime: the bytes written, 0 when the output does not fit.
size_t XfnSysFormatTime(char* pBuf, size_t cb, const char* pszFormat, const struct tm* pTm);

// File times. Conversions between UTC and local file times use the offset of
// the local time zone at that moment.
bool XfnFileTimeToSystemTime(const _FILETIME* pFileTime, _SYSTEMTIME* pSystemTime);
bool XfnSystemTimeToFileTime(const _SYSTEMTIME* pSystemTime, _FILETIME* pFileTime);
bool XfnFileTimeToLocalFileTime(const _FILETIME* pFileTime, _FILETIME* pLocalFileTime);
bool XfnLocalFileTimeToFileTime(const _FILETIME* pLocalFileTime, _FILETIME* pFileTime);
// A moment given as seconds and nanoseconds since 1970 UTC, as a file time.
_FILETIME XfnUnixTimeToFileTime(int64_t nSeconds, int64_t nNanoseconds);
// The file time as seconds and nanoseconds since 1970 UTC.
void XfnFileTimeToUnixTime(const _FILETIME& ft, int64_t& nSeconds, int64_t& nNanoseconds);
