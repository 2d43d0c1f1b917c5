// The server's log: one line per event on standard error, stamped with the
// UTC time and the connection it concerns. Safe on any thread: lines never
// interleave. Detail lines are written only when verbose logging is on.
// Lines that a client can cause at will (refused logins and connections,
// failed accepts) go through a limit per kind, so that a flood of them
// cannot flood the log: what was held back is counted in the next line.
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
// As XfnRFPLog, but at most a burst of lines of this kind and then one every
// few seconds; pszKind names the kind ("login", "accept").
void XfnRFPLogLimited(const char* pszKind, const std::string& strWho, const char* pszFormat, ...)
    __attribute__((format(printf, 3, 4)));
