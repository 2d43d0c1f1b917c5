#include "XRFPLogins.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <random>

namespace {

// Handle numbers start at a random place in each run of the server, so that
// a client still holding a handle from before a restart cannot reach a file
// that the new run gave the same number.
DWORD FirstHandleNumber()
{
    std::random_device random;
    return 0x1000u + static_cast<DWORD>(random() % 0x7FFF0000u);
}

std::atomic<DWORD> g_nNextHandle{FirstHandleNumber()};

std::mutex g_shareLock;
std::map<std::pair<uint64_t, uint64_t>, std::vector<const tagXRFPHandle*>> g_mapShares;

bool SharesWith(const tagXRFPHandle& old, const tagXRFPHandle& handle)
{
    const DWORD kShareRead = 1, kShareWrite = 2;
    return !(handle.bRead && !(old.nShare & kShareRead)) && !(handle.bWrite && !(old.nShare & kShareWrite)) &&
           !(old.bRead && !(handle.nShare & kShareRead)) && !(old.bWrite && !(handle.nShare & kShareWrite));
}

DWORD NewHandleNumber()
{
    for (;;) {
        DWORD h = g_nNextHandle.fetch_add(1);
        if (h != 0 && h != 0xFFFFFFFFu)
            return h;
    }
}

} // namespace

bool XfnRFPEnterShare(tagXRFPHandle& handle)
{
    std::lock_guard<std::mutex> guard(g_shareLock);
    std::vector<const tagXRFPHandle*>& vecOpen = g_mapShares[{handle.nDevice, handle.nInode}];
    for (const tagXRFPHandle* pOld : vecOpen) {
        if (!SharesWith(*pOld, handle)) {
            if (vecOpen.empty())
                g_mapShares.erase({handle.nDevice, handle.nInode});
            return false;
        }
    }
    vecOpen.push_back(&handle);
    handle.bShared = true;
    return true;
}

tagXRFPHandle::~tagXRFPHandle()
{
    if (bShared) {
        std::lock_guard<std::mutex> guard(g_shareLock);
        auto it = g_mapShares.find({nDevice, nInode});
        if (it != g_mapShares.end()) {
            auto& vecOpen = it->second;
            vecOpen.erase(std::remove(vecOpen.begin(), vecOpen.end(), this), vecOpen.end());
            if (vecOpen.empty())
                g_mapShares.erase(it);
        }
    }
}

bool XRFPLogin::Add(const XRFPHandlePtr& pHandle, size_t nMax, DWORD& hHandle)
{
    std::lock_guard<std::mutex> guard(lock);
    if (mapHandles.size() >= nMax)
        return false;
    hHandle = NewHandleNumber();
    mapHandles[hHandle] = pHandle;
    return true;
}

XRFPHandlePtr XRFPLogin::Get(DWORD hHandle, bool bFind)
{
    std::lock_guard<std::mutex> guard(lock);
    auto it = mapHandles.find(hHandle);
    if (it == mapHandles.end() || it->second->bFind != bFind)
        return nullptr;
    return it->second;
}

XRFPHandlePtr XRFPLogin::Remove(DWORD hHandle, bool bFind)
{
    std::lock_guard<std::mutex> guard(lock);
    auto it = mapHandles.find(hHandle);
    if (it == mapHandles.end() || it->second->bFind != bFind)
        return nullptr;
    XRFPHandlePtr pHandle = it->second;
    mapHandles.erase(it);
    return pHandle;
}

size_t XRFPLogin::Count()
{
    std::lock_guard<std::mutex> guard(lock);
    return mapHandles.size();
}

void XRFPLogin::CloseAll()
{
    std::map<DWORD, XRFPHandlePtr> mapClosed;
    {
        std::lock_guard<std::mutex> guard(lock);
        mapClosed.swap(mapHandles);
    }
    // The descriptors close as the last user of each handle lets go of it.
}

XRFPLoginPtr XRFPLoginTable::Enter(const std::string& strUser, const std::string& strRoot, size_t nMemoryBudget)
{
    std::lock_guard<std::mutex> guard(lock);
    XRFPLoginPtr& pLogin = mapLogins[strUser];
    if (!pLogin || pLogin->Root() != strRoot) {
        XRFPFd fdRoot;
        if (int nError = XfnRFPOpenRoot(strRoot, fdRoot)) {
            mapLogins.erase(strUser);
            errno = nError;
            return nullptr;
        }
        pLogin = std::make_shared<XRFPLogin>(strUser, strRoot, std::move(fdRoot), nMemoryBudget);
    }
    ++pLogin->nConnections;
    return pLogin;
}

void XRFPLoginTable::Leave(const XRFPLoginPtr& pLogin)
{
    std::lock_guard<std::mutex> guard(lock);
    if (--pLogin->nConnections == 0)
        pLogin->tLastLeft = std::chrono::steady_clock::now();
}

void XRFPLoginTable::Reap(std::chrono::seconds nLinger)
{
    std::vector<XRFPLoginPtr> vecIdle;
    {
        std::lock_guard<std::mutex> guard(lock);
        auto now = std::chrono::steady_clock::now();
        for (auto it = mapLogins.begin(); it != mapLogins.end();) {
            XRFPLoginPtr& pLogin = it->second;
            if (pLogin->nConnections == 0 && now - pLogin->tLastLeft >= nLinger) {
                vecIdle.push_back(pLogin);
                it = mapLogins.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (const XRFPLoginPtr& pLogin : vecIdle)
        pLogin->CloseAll();
}

void XRFPLoginTable::Clear()
{
    std::map<std::string, XRFPLoginPtr> mapAll;
    {
        std::lock_guard<std::mutex> guard(lock);
        mapAll.swap(mapLogins);
    }
    for (auto& entry : mapAll)
        entry.second->CloseAll();
}
