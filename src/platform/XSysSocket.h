// Blocking IPv4 TCP client sockets for the remote file client: one function
// per sockets-layer call that the connection needs, each reporting failure
// by the Winsock-style number that callers of the remote functions see
// (10057 for a closed socket, 10060 for a timeout, ...). A socket is used by
// one thread at a time; the functions themselves keep no state.
#pragma once

#include <cstddef>
#include <cstdint>

typedef intptr_t XSysSocket;
const XSysSocket XSYS_INVALID_SOCKET = -1;

// A new TCP socket, or XSYS_INVALID_SOCKET with the error in nError.
XSysSocket XfnSysSocketOpen(uint32_t& nError);
// Connects to a dotted-quad IPv4 address; names are not resolved, and a text
// that is no address fails as a connect to the invalid address does (10049).
uint32_t XfnSysSocketConnect(XSysSocket s, const char* pszHost, uint16_t nPort);
// The send or receive timeout in milliseconds; 0 means none.
uint32_t XfnSysSocketSetTimeout(XSysSocket s, bool bReceive, int nMilliseconds);
uint32_t XfnSysSocketSetNoDelay(XSysSocket s, bool bNoDelay);
// One send or receive call: the bytes moved, 0 from a receive when the peer
// has closed, or -1 with the error in nError. Interrupted calls are resumed;
// a send to a closed peer fails and never raises a signal.
long XfnSysSocketSend(XSysSocket s, const void* pData, size_t nSize, uint32_t& nError);
long XfnSysSocketRecv(XSysSocket s, void* pData, size_t nSize, uint32_t& nError);
// One send of two pieces as one stream of bytes, neither copied first.
long XfnSysSocketSendPair(XSysSocket s, const void* pFirst, size_t nFirst, const void* pSecond, size_t nSecond,
                          uint32_t& nError);
// A receive that first polls for up to nSpinMicroseconds before it sleeps:
// an answer that comes within that time costs no wake-up. After a poll that
// saw nothing, the calling thread's next few such receives sleep at once.
long XfnSysSocketRecvSpin(XSysSocket s, void* pData, size_t nSize, uint32_t& nError, int nSpinMicroseconds);
uint32_t XfnSysSocketClose(XSysSocket s);
// Ends the connection in both directions for every descriptor that shares
// it, without closing this one; a socket that was never connected is no
// error.
uint32_t XfnSysSocketShutdown(XSysSocket s);
// A second descriptor on the same connection, closed on its own; or
// XSYS_INVALID_SOCKET with the error in nError.
XSysSocket XfnSysSocketDuplicate(XSysSocket s, uint32_t& nError);

// The listening side, for programs that play a server to the client in tests
// and benchmarks: listens on a dotted-quad address (port 0 picks a free one,
// reported in nPort) and accepts one connection at a time.
XSysSocket XfnSysSocketListen(const char* pszHost, uint16_t& nPort, uint32_t& nError);
XSysSocket XfnSysSocketAccept(XSysSocket s, uint32_t& nError);
