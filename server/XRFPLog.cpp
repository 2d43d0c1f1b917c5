#include "XRFPLog.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <mutex>

namespace {

std::mutex g_logLock;
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
