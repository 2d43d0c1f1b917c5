// The server's log: one line per event on standard error, stamped with the
// UTC time and the connection it concerns. Safe on any thread: lines never
// interleave. Detail lines are written only when verbose logging is on.
#pragma once

#include <string>

void XfnRFPSetVerbose(bool bVerbose);
bool XfnRFPIsVerbose();
// Redirects the log to a callback (tests capture it); null restores stderr.
typedef void (*XfnRFPLogSink)(const std::string& strLine);
void XfnRFPSetLogSink(XfnRFPLogSink pfnSink);

// printf-style; strWho names the connection ("#12 127.0.0.1:40522 alice")
// or is empty for the server itself.
void XfnRFPLog(const std::string& strWho, const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
void XfnRFPLogDetail(const std::string& strWho, const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
