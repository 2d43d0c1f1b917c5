#include "XRFPLog.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>

namespace {

std::mutex g_logLock;

// A burst of this many lines of one kind, then one line per interval.
const double kBurst = 20;
const double kLinesPerSecond = 0.2;

struct tagBucket {
    double dTokens = kBurst;
    timespec tLast{};
    long nHeld = 0;
};
std::mutex g_limitLock;
std::map<std::string, tagBucket> g_mapBuckets;

// True when a line of the kind may go out now; nHeld is how many were held
// back since the last one.
bool Allowed(const char* pszKind, long& nHeld)
{
    timespec tNow{};
    clock_gettime(CLOCK_MONOTONIC, &tNow);
    std::lock_guard<std::mutex> guard(g_limitLock);
    tagBucket& bucket = g_mapBuckets[pszKind];
    if (bucket.tLast.tv_sec != 0 || bucket.tLast.tv_nsec != 0) {
        double dSeconds = static_cast<double>(tNow.tv_sec - bucket.tLast.tv_sec) +
                          static_cast<double>(tNow.tv_nsec - bucket.tLast.tv_nsec) / 1e9;
        bucket.dTokens = std::min(kBurst, bucket.dTokens + dSeconds * kLinesPerSecond);
    }
    bucket.tLast = tNow;
    if (bucket.dTokens < 1) {
        ++bucket.nHeld;
        return false;
    }
    bucket.dTokens -= 1;
    nHeld = bucket.nHeld;
    bucket.nHeld = 0;
    return true;
}
std::atomic<bool> g_bVerbose{false};
XfnRFPLogSink g_pfnSink = nullptr;

void WriteV(const std::string& strWho, const char* pszFormat, va_list args)
{
    char szMessage[1024];
    std::vsnprintf(szMessage, sizeof szMessage, pszFormat, args);
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    tm utc{};
    gmtime_r(&ts.tv_sec, &utc);
    char szTime[32];
    std::strftime(szTime, sizeof szTime, "%Y-%m-%dT%H:%M:%S", &utc);
    char szLine[1200];
    std::snprintf(szLine, sizeof szLine, "%s.%03ldZ xrfpd%s%s: %s", szTime, ts.tv_nsec / 1000000,
                  strWho.empty() ? "" : " ", strWho.c_str(), szMessage);
    std::lock_guard<std::mutex> guard(g_logLock);
    if (g_pfnSink)
        g_pfnSink(szLine);
    else
        std::fprintf(stderr, "%s\n", szLine);
}

} // namespace

void XfnRFPSetVerbose(bool bVerbose)
{
    g_bVerbose = bVerbose;
}

bool XfnRFPIsVerbose()
{
    return g_bVerbose;
}

void XfnRFPSetLogSink(XfnRFPLogSink pfnSink)
{
    std::lock_guard<std::mutex> guard(g_logLock);
    g_pfnSink = pfnSink;
}

void XfnRFPLog(const std::string& strWho, const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    WriteV(strWho, pszFormat, args);
    va_end(args);
}

void XfnRFPLogDetail(const std::string& strWho, const char* pszFormat, ...)
{
    if (!g_bVerbose)
        return;
    va_list args;
    va_start(args, pszFormat);
    WriteV(strWho, pszFormat, args);
    va_end(args);
}

void XfnRFPLogLimited(const char* pszKind, const std::string& strWho, const char* pszFormat, ...)
{
    long nHeld = 0;
    if (!Allowed(pszKind, nHeld))
        return;
    char szMessage[900];
    va_list args;
    va_start(args, pszFormat);
    std::vsnprintf(szMessage, sizeof szMessage, pszFormat, args);
    va_end(args);
    if (nHeld)
        XfnRFPLog(strWho, "%s (%ld more of these held back)", szMessage, nHeld);
    else
        XfnRFPLog(strWho, "%s", szMessage);
}
