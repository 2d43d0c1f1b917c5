// What belongs to a login rather than to a connection: the descriptor of the
// user's root that every path is resolved beneath, the user's memory budget,
// and the open file and find handles of one user. Every connection of the user reaches the same table,
// so a handle opened on one connection works on all of them, as the client's
// connection pool needs; another user's table does not hold it. Handle
// numbers are unique in the whole server and are never 0 or -1. When a
// user's last connection ends, the handles stay for a linger time (the pool
// may reconnect) and are then closed by Reap. All members are thread-safe.
#pragma once

#include "KVDbase/platform/Win32Types.h"

#include "XRFPBudget.h"
#include "XRFPFileSystem.h"

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// One open file or directory search. The lock guards the position and the
// search's cursor; the descriptor itself is used with explicit offsets. A
// search keeps its place in the directory, never the names it has found.
struct tagXRFPHandle {
    bool bFind = false;
    XRFPFd fd;
    bool bRead = false;
    bool bWrite = false;
    DWORD nShare = 0;       // FILE_SHARE_READ 1, FILE_SHARE_WRITE 2
    bool bShared = false;   // entered in the server's share table
    uint64_t nDevice = 0;   // the file's identity there
    uint64_t nInode = 0;
    std::mutex lock;
    int64_t nPosition = 0;  // moved by reads, writes and set file pointer
    std::unique_ptr<XRFPDirCursor> pCursor;  // a search with wildcards
    std::string strDirectory;  // the searched directory below the root
    std::string strPattern;
    size_t nVisited = 0;  // entries the search has looked at
    XRFPCharge slot;      // one of the server's descriptors
    XRFPCharge memory;    // from the user's budget
    ~tagXRFPHandle();
};

typedef std::shared_ptr<tagXRFPHandle> XRFPHandlePtr;

// Share modes between the open files of the whole server, as the clients'
// own systems keep them: an open whose access the live opens of the same file
// do not share, or whose share mode denies what they do, is refused. Enters
// the handle (identity fields set) and answers true, or answers false. The
// handle leaves the table when it is destroyed.
bool XfnRFPEnterShare(tagXRFPHandle& handle);

class XRFPLogin {
public:
    XRFPLogin(std::string strName, std::string strRoot, XRFPFd fdRoot, size_t nMemoryBudget)
        : strUser(std::move(strName)), strRoot(std::move(strRoot)), fdRoot(std::move(fdRoot)),
          pMemory(std::make_shared<XRFPBudget>(nMemoryBudget))
    {
    }

    const std::string& User() const { return strUser; }
    const std::string& Root() const { return strRoot; }
    // The root, opened when the login was made; paths resolve beneath it.
    int RootFd() const { return fdRoot.Get(); }
    const XRFPBudgetPtr& Memory() const { return pMemory; }

    // Registers a handle; false when the user already holds nMax handles.
    bool Add(const XRFPHandlePtr& pHandle, size_t nMax, DWORD& hHandle);
    // The handle of that kind, or null.
    XRFPHandlePtr Get(DWORD hHandle, bool bFind);
    // Takes the handle of that kind out of the table; null if it was not there.
    XRFPHandlePtr Remove(DWORD hHandle, bool bFind);
    size_t Count();
    void CloseAll();

private:
    friend class XRFPLoginTable;
    const std::string strUser;
    const std::string strRoot;
    const XRFPFd fdRoot;
    const XRFPBudgetPtr pMemory;
    std::mutex lock;
    std::map<DWORD, XRFPHandlePtr> mapHandles;
    int nConnections = 0;  // guarded by the table's lock
    std::chrono::steady_clock::time_point tLastLeft;
};

typedef std::shared_ptr<XRFPLogin> XRFPLoginPtr;

class XRFPLoginTable {
public:
    // A connection of this user begins: the user's login, made on first use
    // with a budget of nMemoryBudget bytes; null (errno set) when the root
    // cannot be opened.
    XRFPLoginPtr Enter(const std::string& strUser, const std::string& strRoot, size_t nMemoryBudget);
    void Leave(const XRFPLoginPtr& pLogin);
    // Closes the handles of users that have had no connection for nLinger.
    void Reap(std::chrono::seconds nLinger);
    void Clear();

private:
    std::mutex lock;
    std::map<std::string, XRFPLoginPtr> mapLogins;
};
