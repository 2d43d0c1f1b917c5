#include "XRFPServer.h"

#include "XRFPFileSystem.h"
#include "XRFPKeys.h"
#include "XRFPLog.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <ftw.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

// The socket's own timeouts are short slices; the stream itself ends a
// connection that stays silent for the idle time, that trickles one read or
// write past it, or that passes the session's deadline.
const int kSliceMs = 1000;
// How long a session watches for the next request before it sleeps.
const int kAwaitMicroseconds = 50;

// A connected socket as a session's stream. Reads are buffered, so that the
// head and the body of a small request (and requests sent back to back) come
// in one call.
class XRFPSocketStream : public XRFPStream {
public:
    XRFPSocketStream(int fd, int nIdleSeconds) : fd(fd), nIdle(nIdleSeconds), vecBuffer(16384) {}
    bool ReadExact(void* pData, size_t nSize) override
    {
        BYTE* p = static_cast<BYTE*>(pData);
        size_t nTaken = std::min(nSize, nEnd - nStart);
        if (nTaken)
            std::memcpy(p, vecBuffer.data() + nStart, nTaken);
        nStart += nTaken;
        p += nTaken;
        nSize -= nTaken;
        Deadline tEnd = Deadline::max();
        // Once part of what is asked has come, the rest is on its way (a
        // client sends a packet in one call): watching for it costs less than
        // the sleep and wake-up between the pieces of a write's data.
        bool bMidway = nTaken > 0;
        while (nSize) {
            // Large reads go straight to their destination.
            bool bDirect = nSize >= vecBuffer.size();
            if ((tEnd == Deadline::max() && !bDirect) || bMidway)
                AwaitShortly();
            ssize_t n = recv(fd, bDirect ? p : vecBuffer.data(), bDirect ? nSize : vecBuffer.size(), 0);
            if (int nStep = Step(n, tEnd); nStep <= 0) {
                if (nStep < 0)
                    return false;
                continue;
            }
            size_t nGot = static_cast<size_t>(n);
            bMidway = true;
            if (!bDirect) {
                nStart = std::min(nSize, nGot);
                nEnd = nGot;
                std::memcpy(p, vecBuffer.data(), nStart);
                nGot = nStart;
            }
            p += nGot;
            nSize -= nGot;
        }
        return true;
    }
    bool WriteAll(const void* pData, size_t nSize) override { return SendAll(pData, nSize, 0); }
    bool SendsFiles() const override { return true; }
    bool WriteThenFile(const void* pHead, size_t nHead, int fdFile, int64_t nPosition, size_t nSize,
                       size_t& nSent) override
    {
        nSent = 0;
        // The head waits for the file's first bytes to share a segment.
        if (!SendAll(pHead, nHead, nSize ? MSG_MORE : 0))
            return false;
        off_t nOffset = static_cast<off_t>(nPosition);
        Deadline tEnd = Deadline::max();
        while (nSent < nSize) {
            ssize_t n = sendfile(fd, fdFile, &nOffset, nSize - nSent);
            if (n < 0 && errno == EPIPE)
                TakeBrokenPipeSignal();
            // The end of the file, or a file the system cannot send so: the
            // caller reads the rest, and meets any real failure itself.
            if (n == 0 || (n < 0 && errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK))
                break;
            // A client that takes the data too slowly runs out of time here
            // as it would in WriteAll.
            int nStep = Step(n, tEnd);
            if (nStep < 0)
                return false;
            if (nStep > 0)
                nSent += static_cast<size_t>(n);
        }
        return true;
    }
    void SetDeadline(Deadline t) override { tDeadline = t; }
    bool Pause(std::chrono::milliseconds nWait) override
    {
        Deadline tWake = std::chrono::steady_clock::now() + nWait;
        if (tWake > tDeadline)
            return false;
        for (;;) {
            auto nLeft =
                std::chrono::duration_cast<std::chrono::milliseconds>(tWake - std::chrono::steady_clock::now());
            if (nLeft.count() <= 0)
                return true;
            // Only a hang-up ends the wait early; bytes sent meanwhile wait.
            pollfd pfd{fd, POLLRDHUP, 0};
            int n = poll(&pfd, 1, static_cast<int>(std::min<long long>(nLeft.count(), kSliceMs)));
            if (n > 0 && (pfd.revents & (POLLRDHUP | POLLHUP | POLLERR | POLLNVAL)))
                return false;
        }
    }

    // sendfile has no MSG_NOSIGNAL: on a connection shut down under it, it
    // raises SIGPIPE, which would end the whole process hosting the server.
    // Session threads hold the signal back, and take the one left pending.
    static void HoldBackBrokenPipeSignal()
    {
        sigset_t set = BrokenPipeSet();
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
    }

private:
    static sigset_t BrokenPipeSet()
    {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGPIPE);
        return set;
    }
    static void TakeBrokenPipeSignal()
    {
        sigset_t set = BrokenPipeSet();
        timespec tNoWait{};
        int nSaved = errno;
        while (sigtimedwait(&set, nullptr, &tNoWait) == SIGPIPE) {
        }
        errno = nSaved;
    }
    // A client that has just had its reply usually sends its next request
    // within a few tens of microseconds: watching for it that long (without
    // taking the socket's lock) saves the wake-up that a sleep would cost,
    // which on a small machine is the larger part of an exchange.
    void AwaitShortly()
    {
        // A watch that saw nothing sends the next waits straight to sleep,
        // twice as many after each such watch (up to 256): on a busy machine
        // requests come late, and watching only takes time from the clients.
        if (nSkip > 0) {
            --nSkip;
            return;
        }
        auto tStop = std::chrono::steady_clock::now() + std::chrono::microseconds(kAwaitMicroseconds);
        pollfd pfd{fd, POLLIN, 0};
        bool bSeen = false;
        while (!(bSeen = poll(&pfd, 1, 0) != 0) && std::chrono::steady_clock::now() < tStop) {
        }
        nMisses = bSeen ? 0 : std::min(nMisses + 1, 8u);
        nSkip = bSeen ? 0 : 1u << nMisses;
    }
    bool SendAll(const void* pData, size_t nSize, int nFlags)
    {
        const BYTE* p = static_cast<const BYTE*>(pData);
        Deadline tEnd = Deadline::max();
        while (nSize) {
            ssize_t n = send(fd, p, nSize, MSG_NOSIGNAL | nFlags);
            if (int nStep = Step(n, tEnd); nStep <= 0) {
                if (nStep < 0)
                    return false;
                continue;
            }
            p += n;
            nSize -= static_cast<size_t>(n);
        }
        return true;
    }
    // After a receive or send that returned n: 1 when it moved bytes, 0 to
    // call again (interrupted, or nothing yet within the time), -1 when the
    // peer closed, the call failed or the time ran out.
    int Step(ssize_t n, Deadline& tEnd)
    {
        if (n < 0 && errno == EINTR)
            return 0;
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) || OutOfTime(tEnd))
            return -1;
        return n < 0 ? 0 : 1;
    }
    // Called after every call that moved fewer bytes than wanted: the first
    // such call fixes when this read or write must be done.
    bool OutOfTime(Deadline& tEnd)
    {
        auto tNow = std::chrono::steady_clock::now();
        if (tEnd == Deadline::max())
            tEnd = std::min(tDeadline, tNow + std::chrono::seconds(nIdle));
        return tNow >= tEnd;
    }

    int fd;
    int nIdle;
    Deadline tDeadline = Deadline::max();
    std::vector<BYTE> vecBuffer;
    size_t nStart = 0;  // unread bytes of the buffer: nStart to nEnd
    size_t nEnd = 0;
    unsigned nSkip = 0;    // waits that sleep at once, after a watch saw nothing
    unsigned nMisses = 0;  // watches in a row that saw nothing
};

int RemoveEntry(const char* pszPath, const struct stat*, int nType, FTW*)
{
    return nType == FTW_DP ? rmdir(pszPath) : unlink(pszPath);
}

std::string AddressText(const sockaddr_in& addr)
{
    char szAddress[INET_ADDRSTRLEN] = "?";
    inet_ntop(AF_INET, &addr.sin_addr, szAddress, sizeof szAddress);
    return szAddress;
}

// Descriptors a connection may need at once besides its socket: a list
// walk holds one per level it has entered.
const size_t kDescriptorsPerConnection = 4;
const size_t kDescriptorReserve = 256;

} // namespace

XRFPServer::XRFPServer(const tagXRFPSettings& settings) : pContext(std::make_unique<tagXRFPContext>())
{
    pContext->settings = settings;
}

XRFPServer::~XRFPServer()
{
    Stop();
}

bool XRFPServer::PrepareUsersAndKey(std::string& strError)
{
    tagXRFPSettings& settings = pContext->settings;
    if (!XfnRFPTakePasswords(settings, std::cin, strError))
        return false;
    std::vector<std::string> vecUsers = settings.vecUsers;
    tagXRFPKey first;
    if (settings.bThrowaway) {
        const char* pszTemp = std::getenv("TMPDIR");
        std::string strTemplate = std::string(pszTemp && *pszTemp ? pszTemp : "/tmp") + "/xrfpd.XXXXXX";
        if (!mkdtemp(strTemplate.data())) {
            strError = "cannot make a throwaway directory: " + std::string(std::strerror(errno));
            return false;
        }
        strThrowawayDir = strTemplate;
        strThrowawayRoot = strThrowawayDir + "/root";
        if (mkdir(strThrowawayRoot.c_str(), 0700) != 0) {
            strError = "cannot make the throwaway root: " + std::string(std::strerror(errno));
            return false;
        }
        XfnRFPGenerateKey(settings.nKeyBits, first.strPrivate, first.strPublic);
        if (vecUsers.empty() && settings.strUsersFile.empty())
            vecUsers.push_back("demo:demo");
    } else {
        bool bCreated = false;
        if (!XfnRFPLoadOrCreateKey(settings.strKeyFile, settings.nKeyBits, first.strPrivate, first.strPublic, bCreated,
                                   strError))
            return false;
        if (bCreated)
            XfnRFPLog("", "made a new %d-bit key in %s", settings.nKeyBits, settings.strKeyFile.c_str());
    }
    if (first.strPublic.size() > XRF_MAX_KEY_LENGTH) {
        strError = "the public key is too long for the greeting; keys of up to 3072 bits fit";
        return false;
    }
    tagXRFPKeyRotation rotation;
    rotation.nBits = settings.nKeyBits;
    rotation.nUses = settings.nKeyUses;
    rotation.nLifetimeSeconds = settings.nKeyLifetimeSeconds;
    pContext->keys.Start(first, rotation);
    if (settings.strUsersFile.empty() && vecUsers.empty())
        settings.strUsersFile = "xrfpd.users";
    if (!settings.strUsersFile.empty() && !pContext->users.Load(settings.strUsersFile, strError))
        return false;
    for (const std::string& strUser : vecUsers) {
        size_t nColon = strUser.find(':');
        size_t nRootColon = nColon == std::string::npos ? nColon : strUser.find(':', nColon + 1);
        std::string strName = strUser.substr(0, nColon);
        std::string strPassword =
            nColon == std::string::npos ? "" : strUser.substr(nColon + 1, nRootColon - nColon - 1);
        std::string strRoot = nRootColon == std::string::npos ? strThrowawayRoot : strUser.substr(nRootColon + 1);
        if (strRoot.empty()) {
            strError = "--user " + strName + " needs a root: NAME:ROOT";
            return false;
        }
        if (!pContext->users.Add(strName, strPassword, strRoot, strError)) {
            strError = "--user " + strName + ": " + strError;
            return false;
        }
    }
    if (pContext->users.Size() == 0) {
        strError = "no users: give --users FILE, --user NAME:ROOT (with its password on standard input) or "
                   "--throwaway";
        return false;
    }
    return true;
}

void XRFPServer::PrepareDescriptors()
{
    const tagXRFPSettings& settings = pContext->settings;
    // Connections and handles both need descriptors: the soft limit goes up
    // to what the system allows, and handles get what the connections leave.
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        rlim_t nOld = limit.rlim_cur;
        limit.rlim_cur = limit.rlim_max;
        if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
            limit.rlim_cur = nOld;
    }
    size_t nBudget = static_cast<size_t>(settings.nMaxOpenHandles);
    if (nBudget == 0) {
        size_t nConnections = static_cast<size_t>(settings.nMaxConnections) + settings.nMaxUnauthenticated;
        size_t nReserve = nConnections * kDescriptorsPerConnection + kDescriptorReserve;
        size_t nLimit = limit.rlim_cur == RLIM_INFINITY ? 1u << 20 : static_cast<size_t>(limit.rlim_cur);
        nBudget = nLimit > nReserve + 16 ? nLimit - nReserve : 16;
    }
    pContext->pDescriptors = std::make_shared<XRFPBudget>(nBudget);
}

bool XRFPServer::Start(std::string& strError)
{
    XfnRFPSetVerbose(pContext->settings.bVerbose);
    std::string strWhy;
    if (XfnRFPCheckBeneathSupport(strWhy) != 0) {
        strError = strWhy;
        return false;
    }
    if (!PrepareUsersAndKey(strError))
        return false;
    PrepareDescriptors();
    const tagXRFPSettings& settings = pContext->settings;
    tagXRFPAdmissionLimits admission;
    admission.nMaxConnections = static_cast<size_t>(settings.nMaxConnections);
    admission.nMaxUnauthenticated = static_cast<size_t>(settings.nMaxUnauthenticated);
    admission.nMaxPerAddress = static_cast<size_t>(settings.nMaxPerAddress);
    pContext->admission.SetLimits(admission);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(settings.nPort));
    if (inet_pton(AF_INET, settings.strListen.c_str(), &addr.sin_addr) != 1) {
        strError = "--listen takes an IPv4 address, not " + settings.strListen;
        return false;
    }
    fdListen = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP);
    int nOn = 1;
    if (fdListen < 0 || setsockopt(fdListen, SOL_SOCKET, SO_REUSEADDR, &nOn, sizeof nOn) != 0 ||
        bind(fdListen, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || listen(fdListen, 128) != 0) {
        strError = "cannot listen on " + settings.strListen + ":" + std::to_string(settings.nPort) + ": " +
                   std::strerror(errno);
        return false;
    }
    socklen_t nLength = sizeof addr;
    getsockname(fdListen, reinterpret_cast<sockaddr*>(&addr), &nLength);
    nPort = ntohs(addr.sin_port);
    if (pipe2(fdWake, O_CLOEXEC) != 0) {
        strError = "cannot make the wake pipe: " + std::string(std::strerror(errno));
        return false;
    }
    if (!settings.strPortFile.empty()) {
        if (int nError = XfnRFPWriteFileAtomically(settings.strPortFile, std::to_string(nPort) + "\n")) {
            strError = "cannot write the port file " + settings.strPortFile + ": " + std::strerror(nError);
            return false;
        }
    }
    XfnRFPLog("", "listening on %s:%u, %zu user(s)%s%s", settings.strListen.c_str(), nPort,
              pContext->users.Size(), strThrowawayRoot.empty() ? "" : ", throwaway root ", strThrowawayRoot.c_str());
    bStopping = false;
    acceptThread = std::thread(&XRFPServer::AcceptLoop, this);
    return true;
}

void XRFPServer::Stop()
{
    if (acceptThread.joinable()) {
        bStopping = true;
        char ch = 0;
        if (write(fdWake[1], &ch, 1) < 0)
            XfnRFPLog("", "cannot wake the listener: %s", std::strerror(errno));
        acceptThread.join();
        {
            std::lock_guard<std::mutex> guard(lock);
            for (auto& pConnection : listConnections)
                shutdown(pConnection->fd, SHUT_RDWR);
        }
        ReapConnections(true);
        XfnRFPLog("", "stopped");
    }
    pContext->keys.Stop();
    for (int* pfd : {&fdListen, &fdWake[0], &fdWake[1]}) {
        if (*pfd >= 0)
            close(*pfd);
        *pfd = -1;
    }
    pContext->logins.Clear();
    if (!strThrowawayDir.empty()) {
        nftw(strThrowawayDir.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
        strThrowawayDir.clear();
    }
}

size_t XRFPServer::ActiveConnections()
{
    std::lock_guard<std::mutex> guard(lock);
    size_t nActive = 0;
    for (auto& pConnection : listConnections)
        nActive += pConnection->bDone ? 0 : 1;
    return nActive;
}

void XRFPServer::AcceptLoop()
{
    const std::chrono::seconds nLinger(pContext->settings.nLingerSeconds);
    while (!bStopping) {
        // While descriptors are short the listener is left alone for a
        // while, since it stays readable and would be polled in a spin.
        pollfd fds[2] = {{fdWake[0], POLLIN, 0}, {fdListen, POLLIN, 0}};
        int n = poll(fds, nBackoffMs ? 1 : 2, nBackoffMs ? nBackoffMs : 1000);
        if (nBackoffMs && n == 0) {
            fds[1].revents = POLLIN;
            n = 1;
        }
        if (bStopping)
            break;
        // Nothing that goes wrong with one connection may end the listener.
        try {
            if (n > 0 && (fds[1].revents & POLLIN))
                Accept();
        } catch (const std::exception& e) {
            XfnRFPLogLimited("failure", "", "accepting a connection failed (%s)", e.what());
        }
        ReapConnections(false);
        pContext->logins.Reap(nLinger);
    }
}

void XRFPServer::Accept()
{
    sockaddr_in addr{};
    socklen_t nLength = sizeof addr;
    int fd = accept4(fdListen, reinterpret_cast<sockaddr*>(&addr), &nLength, SOCK_CLOEXEC);
    if (fd < 0) {
        int nError = errno;
        if (nError == EMFILE || nError == ENFILE || nError == ENOBUFS || nError == ENOMEM) {
            nBackoffMs = std::min(std::max(2 * nBackoffMs, 50), 1000);
            XfnRFPLogLimited("accept", "", "cannot accept connections: %s; waiting", std::strerror(nError));
        } else if (nError != EINTR && nError != EAGAIN && nError != ECONNABORTED) {
            XfnRFPLogLimited("accept", "", "accept failed: %s", std::strerror(nError));
        }
        return;
    }
    nBackoffMs = 0;
    std::string strAddress = AddressText(addr);
    std::string strWho =
        "#" + std::to_string(++nConnectionSerial) + " " + strAddress + ":" + std::to_string(ntohs(addr.sin_port));
    XRFPAdmit admit = pContext->admission.Admit(strAddress);
    if (admit != XRFP_ADMIT_OK) {
        XfnRFPLogLimited("refused", strWho, "closed at once: %s",
                         admit == XRFP_ADMIT_ADDRESS_FULL ? "the address holds its share of connections"
                                                          : "too many connections wait for their login");
        close(fd);
        return;
    }
    timeval tv{kSliceMs / 1000, (kSliceMs % 1000) * 1000};
    int nOn = 1;
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
    XfnRFPLogDetail(strWho, "connected");

    std::lock_guard<std::mutex> guard(lock);
    try {
        listConnections.push_back(std::make_unique<tagConnection>());
        tagConnection* pRaw = listConnections.back().get();
        pRaw->fd = fd;
        pRaw->strAddress = strAddress;
        pRaw->thread = std::thread([this, pRaw, strWho] {
            bool bLoggedIn = false;
            XRFPSocketStream::HoldBackBrokenPipeSignal();
            try {
                XRFPSocketStream stream(pRaw->fd, pContext->settings.nIdleSeconds);
                XRFPSession session(*pContext, stream, strWho, pRaw->strAddress);
                session.Run();
                bLoggedIn = session.LoggedIn();
            } catch (const std::exception& e) {
                ++pContext->nFailed;
                XfnRFPLogLimited("failure", strWho, "connection failed (%s)", e.what());
            }
            pContext->admission.Leave(pRaw->strAddress, bLoggedIn);
            // The client sees the end of the stream at once; the descriptor
            // itself is closed when the thread is reaped.
            shutdown(pRaw->fd, SHUT_RDWR);
            XfnRFPLogDetail(strWho, "disconnected");
            pRaw->bDone = true;
        });
    } catch (const std::exception& e) {
        XfnRFPLogLimited("failure", strWho, "closed at once: no thread for it (%s)", e.what());
        if (!listConnections.empty() && listConnections.back()->fd == fd && !listConnections.back()->thread.joinable())
            listConnections.pop_back();
        pContext->admission.Leave(strAddress, false);
        close(fd);
    }
}

void XRFPServer::ReapConnections(bool bAll)
{
    std::list<std::unique_ptr<tagConnection>> listDone;
    {
        std::lock_guard<std::mutex> guard(lock);
        for (auto it = listConnections.begin(); it != listConnections.end();) {
            if (bAll || (*it)->bDone) {
                listDone.push_back(std::move(*it));
                it = listConnections.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (auto& pConnection : listDone) {
        pConnection->thread.join();
        close(pConnection->fd);
    }
}
