#include "platform/XSysSocket.h"

#include "platform/XSysError.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
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
    for (;;) {
        ssize_t n = send(Fd(s), pData, nSize, MSG_NOSIGNAL);
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

uint32_t XfnSysSocketClose(XSysSocket s)
{
    if (close(Fd(s)) != 0)
        return XfnWinsockErrorFromErrno(errno);
    return 0;
}
