#include "platform/XSysError.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <netdb.h>

namespace {

struct XWinsockError {
    uint32_t nCode;
    int nErrno;
    const char* pszText;
};

// Socket errors as callers of the remote functions know them.
const XWinsockError kWinsockErrors[] = {
    {10004, EINTR, "A blocking socket call was interrupted."},
    {10009, EBADF, "The socket handle is not valid."},
    {10013, EACCES, "Permission to use the socket was denied."},
    {10014, EFAULT, "A socket call was given a bad address."},
    {10022, EINVAL, "A socket call was given an invalid argument."},
    {10024, EMFILE, "Too many sockets are open."},
    {10035, EWOULDBLOCK, "The socket operation would block."},
    {10036, EINPROGRESS, "A blocking socket operation is in progress."},
    {10037, EALREADY, "An operation is already in progress on this socket."},
    {10038, ENOTSOCK, "The handle is not a socket."},
    {10039, EDESTADDRREQ, "A destination address is required."},
    {10040, EMSGSIZE, "The message is larger than the socket can carry."},
    {10041, EPROTOTYPE, "The protocol does not suit this kind of socket."},
    {10042, ENOPROTOOPT, "The socket option is not known or not supported."},
    {10043, EPROTONOSUPPORT, "The protocol is not supported."},
    {10044, ESOCKTNOSUPPORT, "The socket type is not supported."},
    {10045, EOPNOTSUPP, "The operation is not supported on this socket."},
    {10046, EPFNOSUPPORT, "The protocol family is not supported."},
    {10047, EAFNOSUPPORT, "The address family is not supported."},
    {10048, EADDRINUSE, "The address is already in use."},
    {10049, EADDRNOTAVAIL, "The address is not available on this machine."},
    {10050, ENETDOWN, "The network is down."},
    {10051, ENETUNREACH, "The network cannot be reached."},
    {10052, ENETRESET, "The connection was dropped by a network reset."},
    {10053, ECONNABORTED, "The connection was aborted on this machine."},
    {10054, ECONNRESET, "The connection was reset by the remote host."},
    {10055, ENOBUFS, "No buffer space is available for the socket."},
    {10056, EISCONN, "The socket is already connected."},
    {10057, ENOTCONN, "The socket is not connected: the connection is closed."},
    {10058, ESHUTDOWN, "The socket has been shut down."},
    {10059, ETOOMANYREFS, "Too many references to a kernel object."},
    {10060, ETIMEDOUT, "The connection timed out: the remote host did not answer in time."},
    {10061, ECONNREFUSED, "The connection was refused by the remote host."},
    {10062, ELOOP, "A name could not be translated."},
    {10063, ENAMETOOLONG, "A name is too long."},
    {10064, EHOSTDOWN, "The remote host is down."},
    {10065, EHOSTUNREACH, "The remote host cannot be reached."},
    {10066, ENOTEMPTY, "The directory is not empty."},
    {10068, EUSERS, "There are too many users."},
    {10069, EDQUOT, "The disk quota is exceeded."},
    {10070, ESTALE, "The file handle is stale."},
    {10071, EREMOTE, "The item is not available locally."},
    {10091, 0, "The network subsystem is not ready."},
    {10092, 0, "The requested socket version is not supported."},
    {10093, 0, "The socket layer has not been started."},
    {10101, 0, "The remote host is shutting the connection down gracefully."},
    {11001, 0, "The host is not known."},
    {11002, 0, "The host name could not be resolved now; try again later."},
    {11003, 0, "The host name lookup failed for good."},
    {11004, 0, "The host name is valid but has no address of the requested kind."},
};

} // namespace

bool XfnSysErrorText(uint32_t nCode, char* pBuf, size_t cb)
{
    const char* pszText = nullptr;
    char work[256];
    if (nCode < 4096 && (nCode == 0 || strerrorname_np(static_cast<int>(nCode)) != nullptr)) {
        pszText = strerror_r(static_cast<int>(nCode), work, sizeof(work));
    } else {
        for (const XWinsockError& e : kWinsockErrors)
            if (e.nCode == nCode)
                pszText = e.pszText;
    }
    if (pszText == nullptr)
        return false;
    if (cb > 0)
        std::snprintf(pBuf, cb, "%s", pszText);
    return true;
}

int XfnSysLastError()
{
    return errno;
}

void XfnSysSetLastError(int nError)
{
    errno = nError;
}

uint32_t XfnWinsockErrorFromErrno(int nErrno)
{
    if (nErrno == EPIPE)
        return 10054;
    if (nErrno == EAGAIN)
        return 10035;
    for (const XWinsockError& e : kWinsockErrors)
        if (e.nErrno != 0 && e.nErrno == nErrno)
            return e.nCode;
    return static_cast<uint32_t>(nErrno);
}

uint32_t XfnWinsockErrorFromResolver(int nResult)
{
    switch (nResult) {
    case EAI_NONAME:
    case EAI_NODATA:
        return nResult == EAI_NONAME ? 11001u : 11004u;
    case EAI_AGAIN:
        return 11002;
    case EAI_FAIL:
        return 11003;
    case EAI_FAMILY:
        return 10047;
    case EAI_MEMORY:
        return 10055;
    case EAI_SYSTEM:
        return XfnWinsockErrorFromErrno(errno);
    default:
        return 11003;
    }
}
