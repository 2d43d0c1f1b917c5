// The platform's error numbers: the text of an errno value or of one of the
// Winsock-style numbers that socket errors are reported as, and the mapping
// from a socket call's errno to those numbers. Thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>

// Writes the platform's text for nCode into pBuf (cb bytes, terminated) and
// returns true, or returns false when the platform has no such number.
bool XfnSysErrorText(uint32_t nCode, char* pBuf, size_t cb);

// The calling thread's last system error (errno).
int XfnSysLastError();
void XfnSysSetLastError(int nError);

// The Winsock-style number of a socket call's errno (10054 for a reset
// connection, 10060 for a timeout, ...); unknown values keep their number.
uint32_t XfnWinsockErrorFromErrno(int nErrno);
// The number of a name-resolution failure (a getaddrinfo result).
uint32_t XfnWinsockErrorFromResolver(int nResult);
