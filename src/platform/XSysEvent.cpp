// Events under one process-wide mutex. The state of every event changes only
// under it, which makes a wait for several events at once (all of them, or
// the first of them) a plain test of flags. A waiting thread registers itself
// with each event it waits on and sleeps on a futex word of its own; Set marks
// only the waiters whose condition it may have met, and wakes them after it
// has let the mutex go, so that a woken thread never sleeps again on the
// mutex its waker still holds. A wait for all of several events wakes once,
// at the end.
#include "platform/XSysEvent.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <mutex>
#include <new>
#include <vector>

namespace {

struct XSysWaiter;

struct XSysEventState {
    bool bManualReset = false;
    bool bSignalled = false;
    std::vector<XSysWaiter*> waiters;
};

// One thread's wait, on the waiting thread's stack while it sleeps. nWoken
// goes from 0 to 1, under the event mutex, when a Set may have met the
// condition. The waker calls FUTEX_WAKE on its address after unlocking: the
// wait may have ended by then, and a wake of a word no longer waited on only
// makes some later futex wait at that address look again, as futex waits
// always must.
struct XSysWaiter {
    std::atomic<int> nWoken{0};
    int nCount;
    const HANDLE* phEvents;
    bool bWaitAll;
};

void FutexWake(std::atomic<int>* pWord)
{
    syscall(SYS_futex, reinterpret_cast<int*>(pWord), FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

// Sleeps while *pWord is 0, until the deadline when bTimed; false when the
// deadline passed with the word still 0.
bool FutexWait(std::atomic<int>* pWord, bool bTimed, std::chrono::steady_clock::time_point deadline)
{
    while (pWord->load(std::memory_order_acquire) == 0) {
        timespec ts;
        timespec* pTimeout = nullptr;
        if (bTimed) {
            const auto left = deadline - std::chrono::steady_clock::now();
            if (left <= std::chrono::steady_clock::duration::zero())
                return false;
            const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
            ts.tv_sec = static_cast<time_t>(ns / 1000000000);
            ts.tv_nsec = static_cast<long>(ns % 1000000000);
            pTimeout = &ts;
        }
        syscall(SYS_futex, reinterpret_cast<int*>(pWord), FUTEX_WAIT_PRIVATE, 0, pTimeout, nullptr, 0);
    }
    return true;
}

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
    // At most a handful of threads wait on one event; more are woken in
    // turns of this many.
    std::atomic<int>* apWake[8];
    size_t nWake = 0;
    bool bFirst = true, bMore = true;
    while (bMore) {
        bMore = false;
        {
            std::lock_guard<std::mutex> lock(EventMutex());
            // Later turns only wake: a waiter of the first may have taken the
            // event already.
            if (bFirst)
                pEvent->bSignalled = true;
            bFirst = false;
            for (XSysWaiter* pWaiter : pEvent->waiters) {
                if (pWaiter->nWoken.load(std::memory_order_relaxed) != 0 ||
                    (pWaiter->bWaitAll && !AllSignalled(pWaiter)))
                    continue;
                if (nWake == sizeof(apWake) / sizeof(apWake[0])) {
                    bMore = true;
                    break;
                }
                pWaiter->nWoken.store(1, std::memory_order_release);
                apWake[nWake++] = &pWaiter->nWoken;
            }
        }
        for (size_t i = 0; i < nWake; ++i)
            FutexWake(apWake[i]);
        nWake = 0;
    }
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
        waiter.nWoken.store(0, std::memory_order_relaxed);
        lock.unlock();
        const bool bTimedOut = !FutexWait(&waiter.nWoken, nTimeout != XSYS_WAIT_INFINITE, deadline);
        lock.lock();
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
