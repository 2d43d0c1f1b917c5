// The file server: a listening socket on its own thread and one thread per
// connection, each running a session with blocking reads bounded by the idle
// time and by deadlines. A connection is admitted only while its address
// holds less than its share and few enough others wait for their login;
// above the limit of logged-in users it is still greeted, so that the client
// learns why its login fails. When the process runs out of descriptors the
// listener backs off. Start and Stop are called from one thread; Stop ends
// every connection and waits for its thread. The destructor stops a running
// server.
#pragma once

#include "XRFPSession.h"
#include "XRFPSettings.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

class XRFPServer {
public:
    explicit XRFPServer(const tagXRFPSettings& settings);
    ~XRFPServer();
    XRFPServer(const XRFPServer&) = delete;
    XRFPServer& operator=(const XRFPServer&) = delete;

    // Loads users and key (or makes the throwaway ones), listens and starts
    // accepting; false with strError when any of that fails.
    bool Start(std::string& strError);
    void Stop();

    uint16_t Port() const { return nPort; }
    // The key of the next greeting.
    std::string PublicKey() const { return pContext->keys.Current()->strPublic; }
    // The throwaway root, empty for a normal server.
    const std::string& ThrowawayRoot() const { return strThrowawayRoot; }
    // Connections being served now, and counters since start.
    size_t ActiveConnections();
    long MalformedConnections() const { return pContext->nMalformed; }
    long Logins() const { return pContext->nLogins; }
    // Sessions ended by a failure of the server's own, such as memory.
    long FailedConnections() const { return pContext->nFailed; }
    // Handles of every user that the descriptor limit leaves room for.
    size_t HandleBudget() const { return pContext->pDescriptors ? pContext->pDescriptors->Limit() : 0; }

private:
    struct tagConnection {
        int fd = -1;
        std::string strAddress;
        std::thread thread;
        std::atomic<bool> bDone{false};
    };

    bool PrepareUsersAndKey(std::string& strError);
    void PrepareDescriptors();
    void AcceptLoop();
    void Accept();
    void ReapConnections(bool bAll);

    std::unique_ptr<tagXRFPContext> pContext;
    int fdListen = -1;
    int fdWake[2] = {-1, -1};
    uint16_t nPort = 0;
    std::thread acceptThread;
    std::atomic<bool> bStopping{false};
    int nBackoffMs = 0;  // while accepting fails for want of descriptors
    std::mutex lock;
    std::list<std::unique_ptr<tagConnection>> listConnections;
    long nConnectionSerial = 0;
    std::string strThrowawayDir;
    std::string strThrowawayRoot;
};
