#include "XRFPServer.h"

#include "XRFPKeys.h"
#include "XRFPLog.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <ftw.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

// Connections beyond the limit that are still greeted and refused at login;
// past these they are closed unanswered.
const size_t kRefusedExtra = 16;

// A connected socket as a session's stream; the socket's timeouts end a
// connection that falls silent. Reads are buffered, so that the head and the
// body of a small request (and requests sent back to back) come in one call.
class XRFPSocketStream : public XRFPStream {
public:
    explicit XRFPSocketStream(int fd) : fd(fd), vecBuffer(16384) {}
    bool ReadExact(void* pData, size_t nSize) override
    {
        BYTE* p = static_cast<BYTE*>(pData);
        size_t nTaken = std::min(nSize, nEnd - nStart);
        if (nTaken)
            std::memcpy(p, vecBuffer.data() + nStart, nTaken);
        nStart += nTaken;
        p += nTaken;
        nSize -= nTaken;
        while (nSize) {
            // Large reads go straight to their destination.
            bool bDirect = nSize >= vecBuffer.size();
            ssize_t n = recv(fd, bDirect ? p : vecBuffer.data(), bDirect ? nSize : vecBuffer.size(), 0);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return false;
            size_t nGot = static_cast<size_t>(n);
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
    bool WriteAll(const void* pData, size_t nSize) override
    {
        const BYTE* p = static_cast<const BYTE*>(pData);
        while (nSize) {
            ssize_t n = send(fd, p, nSize, MSG_NOSIGNAL);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                return false;
            p += n;
            nSize -= static_cast<size_t>(n);
        }
        return true;
    }

private:
    int fd;
    std::vector<BYTE> vecBuffer;
    size_t nStart = 0;  // unread bytes of the buffer: nStart to nEnd
    size_t nEnd = 0;
};

int RemoveEntry(const char* pszPath, const struct stat*, int nType, FTW*)
{
    return nType == FTW_DP ? rmdir(pszPath) : unlink(pszPath);
}

std::string PeerName(int fd)
{
    sockaddr_in addr{};
    socklen_t nLength = sizeof addr;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&addr), &nLength) != 0)
        return "?";
    char szAddress[INET_ADDRSTRLEN] = "?";
    inet_ntop(AF_INET, &addr.sin_addr, szAddress, sizeof szAddress);
    return std::string(szAddress) + ":" + std::to_string(ntohs(addr.sin_port));
}

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
    std::vector<std::string> vecUsers = settings.vecUsers;
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
        XfnRFPGenerateKey(settings.nKeyBits, pContext->strPrivateKey, pContext->strPublicKey);
        if (vecUsers.empty() && settings.strUsersFile.empty())
            vecUsers.push_back("demo:demo");
    } else {
        bool bCreated = false;
        if (!XfnRFPLoadOrCreateKey(settings.strKeyFile, settings.nKeyBits, pContext->strPrivateKey,
                                   pContext->strPublicKey, bCreated, strError))
            return false;
        if (bCreated)
            XfnRFPLog("", "made a new %d-bit key in %s", settings.nKeyBits, settings.strKeyFile.c_str());
    }
    if (pContext->strPublicKey.size() > XRF_MAX_KEY_LENGTH) {
        strError = "the public key is too long for the greeting; keys of up to 3072 bits fit";
        return false;
    }
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
            strError = "--user " + strName + " needs a root: NAME:PASSWORD:ROOT";
            return false;
        }
        if (!pContext->users.Add(strName, strPassword, strRoot, strError)) {
            strError = "--user " + strName + ": " + strError;
            return false;
        }
    }
    if (pContext->users.Size() == 0) {
        strError = "no users: give --users FILE, --user NAME:PASSWORD:ROOT or --throwaway";
        return false;
    }
    return true;
}

bool XRFPServer::Start(std::string& strError)
{
    XfnRFPSetVerbose(pContext->settings.bVerbose);
    if (!PrepareUsersAndKey(strError))
        return false;
    const tagXRFPSettings& settings = pContext->settings;
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
        std::string strTemp = settings.strPortFile + ".new";
        std::ofstream(strTemp) << nPort << "\n";
        if (std::rename(strTemp.c_str(), settings.strPortFile.c_str()) != 0) {
            strError = "cannot write the port file " + settings.strPortFile;
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
        pollfd fds[2] = {{fdListen, POLLIN, 0}, {fdWake[0], POLLIN, 0}};
        int n = poll(fds, 2, 1000);
        if (bStopping)
            break;
        if (n > 0 && (fds[0].revents & POLLIN))
            Accept();
        ReapConnections(false);
        pContext->logins.Reap(nLinger);
    }
}

void XRFPServer::Accept()
{
    int fd = accept4(fdListen, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
        if (errno != EINTR && errno != EAGAIN && errno != ECONNABORTED)
            XfnRFPLog("", "accept failed: %s", std::strerror(errno));
        return;
    }
    std::string strWho = "#" + std::to_string(++nConnectionSerial) + " " + PeerName(fd);
    size_t nActive = ActiveConnections();
    size_t nMax = static_cast<size_t>(pContext->settings.nMaxConnections);
    if (nActive >= nMax + kRefusedExtra) {
        XfnRFPLog(strWho, "closed at once: %zu connections", nActive);
        close(fd);
        return;
    }
    timeval tv{pContext->settings.nIdleSeconds, 0};
    int nOn = 1;
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
    XfnRFPLogDetail(strWho, "connected");

    auto pConnection = std::make_unique<tagConnection>();
    tagConnection* pRaw = pConnection.get();
    pRaw->fd = fd;
    bool bOverLimit = nActive >= nMax;
    std::lock_guard<std::mutex> guard(lock);
    listConnections.push_back(std::move(pConnection));
    try {
        pRaw->thread = std::thread([this, pRaw, strWho, bOverLimit] {
            XRFPSocketStream stream(pRaw->fd);
            XRFPSession(*pContext, stream, strWho, bOverLimit).Run();
            // The client sees the end of the stream at once; the descriptor
            // itself is closed when the thread is reaped.
            shutdown(pRaw->fd, SHUT_RDWR);
            XfnRFPLogDetail(strWho, "disconnected");
            pRaw->bDone = true;
        });
    } catch (const std::system_error& e) {
        XfnRFPLog(strWho, "closed at once: no thread for it (%s)", e.what());
        listConnections.pop_back();
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
