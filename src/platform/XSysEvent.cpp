// Events under one process-wide mutex. The state of every event changes only
// under it, which makes a wait for several events at once (all of them, or
// the first of them) a plain test of flags. A waiting thread registers itself
// with each event it waits on; Set wakes only the waiters whose condition it
// may have met, so a wait for all of several events wakes once, at the end.
#include "platform/XSysEvent.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <vector>

namespace {

struct XSysWaiter;

struct XSysEventState {
    bool bManualReset = false;
    // Changed only under the event mutex; read without it by a glance.
    std::atomic<bool> bSignalled{false};
    std::vector<XSysWaiter*> waiters;
};

// One thread's wait, on the waiting thread's stack while it sleeps.
struct XSysWaiter {
    std::condition_variable cvWake;
    int nCount;
    const HANDLE* phEvents;
    bool bWaitAll;
};

std::mutex& EventMutex()
{
    static std::mutex mutex;
    return mutex;
}

XSysEventState* StateOf(HANDLE h)
{
    return static_cast<XSysEventState*>(h);
}

// True when every event of the waiter's list is set; the mutex is held.
bool AllSignalled(const XSysWaiter* pWaiter)
{
    for (int i = 0; i < pWaiter->nCount; ++i)
        if (!StateOf(pWaiter->phEvents[i])->bSignalled)
            return false;
    return true;
}

// Tests the wait's condition and, when it holds, takes the events it
// releases. The event mutex is held.
bool TryTake(int nCount, const HANDLE* phEvents, bool bWaitAll, DWORD& nResult)
{
    if (bWaitAll) {
        for (int i = 0; i < nCount; ++i)
            if (!StateOf(phEvents[i])->bSignalled)
                return false;
        for (int i = 0; i < nCount; ++i)
            if (!StateOf(phEvents[i])->bManualReset)
                StateOf(phEvents[i])->bSignalled = false;
        nResult = XSYS_WAIT_OBJECT_0;
        return true;
    }
    for (int i = 0; i < nCount; ++i) {
        XSysEventState* pEvent = StateOf(phEvents[i]);
        if (pEvent->bSignalled) {
            if (!pEvent->bManualReset)
                pEvent->bSignalled = false;
            nResult = XSYS_WAIT_OBJECT_0 + static_cast<DWORD>(i);
            return true;
        }
    }
    return false;
}

} // namespace

HANDLE XfnSysCreateEvent(bool bManualReset, bool bInitialState)
{
    XSysEventState* pEvent = new (std::nothrow) XSysEventState;
    if (pEvent == nullptr)
        return nullptr;
    pEvent->bManualReset = bManualReset;
    pEvent->bSignalled = bInitialState;
    return pEvent;
}

void XfnSysCloseEvent(HANDLE hEvent)
{
    delete StateOf(hEvent);
}

bool XfnSysSetEvent(HANDLE hEvent)
{
    XSysEventState* pEvent = StateOf(hEvent);
    if (pEvent == nullptr)
        return false;
    std::lock_guard<std::mutex> lock(EventMutex());
    pEvent->bSignalled = true;
    for (XSysWaiter* pWaiter : pEvent->waiters)
        if (!pWaiter->bWaitAll || AllSignalled(pWaiter))
            pWaiter->cvWake.notify_one();
    return true;
}

bool XfnSysResetEvent(HANDLE hEvent)
{
    XSysEventState* pEvent = StateOf(hEvent);
    if (pEvent == nullptr)
        return false;
    std::lock_guard<std::mutex> lock(EventMutex());
    pEvent->bSignalled = false;
    return true;
}

DWORD XfnSysWaitForEvents(int nCount, const HANDLE* phEvents, bool bWaitAll, DWORD nTimeout)
{
    if (nCount < 1 || nCount > static_cast<int>(XSYS_MAXIMUM_WAIT_OBJECTS) || phEvents == nullptr)
        return XSYS_WAIT_FAILED;
    for (int i = 0; i < nCount; ++i)
        if (phEvents[i] == nullptr)
            return XSYS_WAIT_FAILED;

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(nTimeout);
    XSysWaiter waiter;
    waiter.nCount = nCount;
    waiter.phEvents = phEvents;
    waiter.bWaitAll = bWaitAll;
    std::unique_lock<std::mutex> lock(EventMutex());
    DWORD nResult = XSYS_WAIT_TIMEOUT;
    while (!TryTake(nCount, phEvents, bWaitAll, nResult)) {
        if (nTimeout == 0)
            return XSYS_WAIT_TIMEOUT;
        for (int i = 0; i < nCount; ++i)
            StateOf(phEvents[i])->waiters.push_back(&waiter);
        bool bTimedOut = false;
        if (nTimeout == XSYS_WAIT_INFINITE)
            waiter.cvWake.wait(lock);
        else
            bTimedOut = waiter.cvWake.wait_until(lock, deadline) == std::cv_status::timeout;
        for (int i = 0; i < nCount; ++i) {
            std::vector<XSysWaiter*>& waiters = StateOf(phEvents[i])->waiters;
            waiters.erase(std::find(waiters.begin(), waiters.end(), &waiter));
        }
        if (bTimedOut)
            return TryTake(nCount, phEvents, bWaitAll, nResult) ? nResult : XSYS_WAIT_TIMEOUT;
    }
    return nResult;
}

DWORD XfnSysWaitForEvent(HANDLE hEvent, DWORD nTimeout)
{
    return XfnSysWaitForEvents(1, &hEvent, false, nTimeout);
}

bool XfnSysEventsLookSet(int nCount, const HANDLE* phEvents, bool bWaitAll)
{
    for (int i = 0; i < nCount; ++i) {
        bool bSet = StateOf(phEvents[i])->bSignalled.load(std::memory_order_relaxed);
        if (bSet != bWaitAll)
            return bSet;
    }
    return bWaitAll;
}
