#include "platform/XSysSocket.h"

#include "platform/XSysError.h"
#include "platform/XSysWatch.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

// A blocking socket with a timeout reports the timeout as "would block".
uint32_t TransferError(int nErrno)
{
    if (nErrno == EAGAIN || nErrno == EWOULDBLOCK)
        return 10060;
    return XfnWinsockErrorFromErrno(nErrno);
}

int Fd(XSysSocket s)
{
    return static_cast<int>(s);
}

} // namespace

XSysSocket XfnSysSocketOpen(uint32_t& nError)
{
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    if (fd < 0) {
        nError = XfnWinsockErrorFromErrno(errno);
        return XSYS_INVALID_SOCKET;
    }
    nError = 0;
    return fd;
}

uint32_t XfnSysSocketConnect(XSysSocket s, const char* pszHost, uint16_t nPort)
{
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(nPort);
    if (inet_pton(AF_INET, pszHost, &addr.sin_addr) != 1)
        return 10049;
    for (;;) {
        if (connect(Fd(s), reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0)
            return 0;
        if (errno != EINTR)
            return XfnWinsockErrorFromErrno(errno);
    }
}

uint32_t XfnSysSocketSetTimeout(XSysSocket s, bool bReceive, int nMilliseconds)
{
    timeval tv{};
    if (nMilliseconds > 0) {
        tv.tv_sec = nMilliseconds / 1000;
        tv.tv_usec = (nMilliseconds % 1000) * 1000;
    }
    if (setsockopt(Fd(s), SOL_SOCKET, bReceive ? SO_RCVTIMEO : SO_SNDTIMEO, &tv, sizeof tv) != 0)
        return XfnWinsockErrorFromErrno(errno);
    return 0;
}

uint32_t XfnSysSocketSetNoDelay(XSysSocket s, bool bNoDelay)
{
    int nOn = bNoDelay ? 1 : 0;
    if (setsockopt(Fd(s), IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn) != 0)
        return XfnWinsockErrorFromErrno(errno);
    return 0;
}

long XfnSysSocketSend(XSysSocket s, const void* pData, size_t nSize, uint32_t& nError)
{
    return XfnSysSocketSendPair(s, pData, nSize, nullptr, 0, nError);
}

long XfnSysSocketRecv(XSysSocket s, void* pData, size_t nSize, uint32_t& nError)
{
    for (;;) {
        ssize_t n = recv(Fd(s), pData, nSize, 0);
        if (n >= 0) {
            nError = 0;
            return static_cast<long>(n);
        }
        if (errno != EINTR) {
            nError = errno == EBADF ? 10057 : TransferError(errno);
            return -1;
        }
    }
}

long XfnSysSocketSendPair(XSysSocket s, const void* pFirst, size_t nFirst, const void* pSecond, size_t nSecond,
                          uint32_t& nError)
{
    iovec aPieces[2] = {{const_cast<void*>(pFirst), nFirst}, {const_cast<void*>(pSecond), nSecond}};
    msghdr msg{};
    msg.msg_iov = aPieces;
    msg.msg_iovlen = 2;
    for (;;) {
        ssize_t n = sendmsg(Fd(s), &msg, MSG_NOSIGNAL);
        if (n >= 0) {
            nError = 0;
            return static_cast<long>(n);
        }
        if (errno != EINTR) {
            nError = errno == EBADF ? 10057 : TransferError(errno);
            return -1;
        }
    }
}

long XfnSysSocketRecvSpin(XSysSocket s, void* pData, size_t nSize, uint32_t& nError, int nSpinMicroseconds)
{
    // The back-off is this thread's: on a busy machine answers come late, and
    // watching only takes time from whoever is to send them.
    thread_local XSysWatchBackoff backoff;
    if (backoff.SkipWatch())
        return XfnSysSocketRecv(s, pData, nSize, nError);
    // Polling reads the socket's state without taking its lock, so the
    // watch does not slow the delivery it waits for.
    auto tEnd = std::chrono::steady_clock::now() + std::chrono::microseconds(nSpinMicroseconds);
    pollfd pfd{Fd(s), POLLIN, 0};
    bool bSeen = false;
    while (!(bSeen = poll(&pfd, 1, 0) != 0) && std::chrono::steady_clock::now() < tEnd) {
    }
    backoff.Saw(bSeen);
    return XfnSysSocketRecv(s, pData, nSize, nError);
}

XSysSocket XfnSysSocketListen(const char* pszHost, uint16_t& nPort, uint32_t& nError)
{
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(nPort);
    if (inet_pton(AF_INET, pszHost, &addr.sin_addr) != 1) {
        nError = 10049;
        return XSYS_INVALID_SOCKET;
    }
    XSysSocket s = XfnSysSocketOpen(nError);
    if (s == XSYS_INVALID_SOCKET)
        return s;
    int nOn = 1;
    socklen_t nLength = sizeof addr;
    if (setsockopt(Fd(s), SOL_SOCKET, SO_REUSEADDR, &nOn, sizeof nOn) != 0 ||
        bind(Fd(s), reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || listen(Fd(s), 16) != 0 ||
        getsockname(Fd(s), reinterpret_cast<sockaddr*>(&addr), &nLength) != 0) {
        nError = XfnWinsockErrorFromErrno(errno);
        close(Fd(s));
        return XSYS_INVALID_SOCKET;
    }
    nPort = ntohs(addr.sin_port);
    return s;
}

XSysSocket XfnSysSocketAccept(XSysSocket s, uint32_t& nError)
{
    for (;;) {
        int fd = accept4(Fd(s), nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) {
            nError = 0;
            return fd;
        }
        if (errno != EINTR) {
            nError = XfnWinsockErrorFromErrno(errno);
            return XSYS_INVALID_SOCKET;
        }
    }
}

uint32_t XfnSysSocketClose(XSysSocket s)
{
    if (close(Fd(s)) != 0)
        return XfnWinsockErrorFromErrno(errno);
    return 0;
}

uint32_t XfnSysSocketShutdown(XSysSocket s)
{
    if (shutdown(Fd(s), SHUT_RDWR) != 0 && errno != ENOTCONN)
        return XfnWinsockErrorFromErrno(errno);
    return 0;
}

XSysSocket XfnSysSocketDuplicate(XSysSocket s, uint32_t& nError)
{
    int fd = fcntl(Fd(s), F_DUPFD_CLOEXEC, 0);
    if (fd < 0) {
        nError = XfnWinsockErrorFromErrno(errno);
        return XSYS_INVALID_SOCKET;
    }
    nError = 0;
    return fd;
}
