// XParallelProcess over the platform's threads and auto-reset events. Each
// worker loops: wait for its quit or start event (quit first, so quit wins),
// run OnRun, set its done event. A worker is never killed: Quit raises its
// quit event and joins it.
#include "KVDbase/workers/XParallelProcess.h"

#include "KVDbase/platform/XAtomic.h"
#include "platform/XSysEvent.h"
#include "platform/XSysThread.h"
#include "platform/XSysWatch.h"

#include <chrono>
#include <cstdlib>

namespace {

// The thread array carries in front of it the number of objects that share
// the arrays, so that copies can free them exactly once.
struct XSharedArraysHeader {
    alignas(HANDLE) int32_t nRefs;
};

HANDLE* AllocThreadArray(int nCount)
{
    void* p = std::calloc(1, sizeof(XSharedArraysHeader) + sizeof(HANDLE) * static_cast<size_t>(nCount));
    if (p == nullptr)
        return nullptr;
    XSharedArraysHeader* pHeader = static_cast<XSharedArraysHeader*>(p);
    pHeader->nRefs = 1;
    return reinterpret_cast<HANDLE*>(pHeader + 1);
}

XSharedArraysHeader* HeaderOf(HANDLE* phThreads)
{
    return reinterpret_cast<XSharedArraysHeader*>(phThreads) - 1;
}

template <class T>
T* AllocArray(int nCount)
{
    return static_cast<T*>(std::calloc(static_cast<size_t>(nCount), sizeof(T)));
}

// Waits as XfnSysWaitForEvents does, after watching the events for up to
// kWatchMicroseconds. The owner and its workers hand runs to each other in far
// less time than a sleep and a wake-up cost. The watch yields the processor
// between glances, so a worker pinned to the owner's processor gets to run,
// and it is bounded in time, not in glances. It backs off per thread
// (XSysWatchBackoff); a yield that took kTurn or more gave away a turn of
// another program (milliseconds, where a sleeping waiter is woken at once),
// and counts as a loaded machine.
const int kWatchMicroseconds = 50;
const std::chrono::microseconds kTurn(500);  // a yield this long gave away a turn

DWORD AwaitEvents(int nCount, const HANDLE* phEvents, bool bWaitAll)
{
    thread_local XSysWatchBackoff backoff;
    if (backoff.SkipWatch())
        return XfnSysWaitForEvents(nCount, phEvents, bWaitAll, XSYS_WAIT_INFINITE);
    const auto tWatch = std::chrono::microseconds(kWatchMicroseconds);
    auto tNow = std::chrono::steady_clock::now();
    const auto tStop = tNow + tWatch;
    bool bLoaded = false;
    do {
        if (XfnSysEventsLookSet(nCount, phEvents, bWaitAll)) {
            DWORD nResult = XfnSysWaitForEvents(nCount, phEvents, bWaitAll, 0);
            if (nResult != XSYS_WAIT_TIMEOUT) {
                backoff.Saw(true);
                return nResult;
            }
        }
        const auto tBefore = tNow;
        XfnSysYield();
        tNow = std::chrono::steady_clock::now();
        bLoaded = tNow - tBefore > kTurn;
    } while (tNow < tStop && !bLoaded);
    backoff.Saw(false, bLoaded);
    return XfnSysWaitForEvents(nCount, phEvents, bWaitAll, XSYS_WAIT_INFINITE);
}

DWORD WorkerLoop(void* pArg)
{
    const tagXParallelParam* pParam = static_cast<const tagXParallelParam*>(pArg);
    XParallelProcess* pOwner = pParam->pOwner;
    const int nIndex = pParam->nIndex;
    const HANDLE ahWait[2] = {pOwner->phQuitEvents[nIndex], pOwner->phStartEvents[nIndex]};
    for (;;) {
        DWORD nResult = AwaitEvents(2, ahWait, false);
        if (nResult == XSYS_WAIT_OBJECT_0)
            return 1;
        if (nResult == XSYS_WAIT_OBJECT_0 + 1) {
            pOwner->OnRun(nIndex);
            XfnSysSetEvent(pOwner->phDoneEvents[nIndex]);
        }
    }
}

} // namespace

XParallelProcess::XParallelProcess()
    : phThreads(nullptr), pdwThreadIDs(nullptr), pThreadParams(nullptr), bCanceled(false), pnPercents(nullptr),
      nThreads(0), phStartEvents(nullptr), phQuitEvents(nullptr), phDoneEvents(nullptr)
{
}

XParallelProcess::XParallelProcess(const XParallelProcess& src)
    : phThreads(src.phThreads), pdwThreadIDs(src.pdwThreadIDs), pThreadParams(src.pThreadParams),
      bCanceled(src.bCanceled), pnPercents(src.pnPercents), nThreads(src.nThreads),
      phStartEvents(src.phStartEvents), phQuitEvents(src.phQuitEvents), phDoneEvents(src.phDoneEvents)
{
    if (phThreads != nullptr)
        XfnInterlockedIncrement(&HeaderOf(phThreads)->nRefs);
}

XParallelProcess& XParallelProcess::operator=(const XParallelProcess& src)
{
    if (this == &src)
        return *this;
    if (phThreads != src.phThreads || phThreads == nullptr) {
        // The set held so far ends as the destructor would end it.
        Quit();
        phThreads = src.phThreads;
        if (phThreads != nullptr)
            XfnInterlockedIncrement(&HeaderOf(phThreads)->nRefs);
    }
    pdwThreadIDs = src.pdwThreadIDs;
    pThreadParams = src.pThreadParams;
    bCanceled = src.bCanceled;
    pnPercents = src.pnPercents;
    nThreads = src.nThreads;
    phStartEvents = src.phStartEvents;
    phQuitEvents = src.phQuitEvents;
    phDoneEvents = src.phDoneEvents;
    return *this;
}

XParallelProcess::~XParallelProcess()
{
    Quit();
}

bool XParallelProcess::Alloc(int numThreads)
{
    if (numThreads == -1)
        numThreads = XfnSysGetProcessorCount();
    Free();
    if (numThreads <= 0) {
        nThreads = numThreads;
        return true;
    }
    if ((phThreads = AllocThreadArray(numThreads)) == nullptr ||
        (pdwThreadIDs = AllocArray<DWORD>(numThreads)) == nullptr ||
        (pThreadParams = AllocArray<tagXParallelParam>(numThreads)) == nullptr ||
        (pnPercents = AllocArray<int>(numThreads)) == nullptr ||
        (phStartEvents = AllocArray<HANDLE>(numThreads)) == nullptr ||
        (phQuitEvents = AllocArray<HANDLE>(numThreads)) == nullptr ||
        (phDoneEvents = AllocArray<HANDLE>(numThreads)) == nullptr)
        return false;
    nThreads = numThreads;
    return true;
}

void XParallelProcess::EndWorker(int i)
{
    XfnSysResumeThread(phThreads[i]);
    XfnSysSetEvent(phQuitEvents[i]);
    XfnSysWaitThread(phThreads[i]);
    XfnSysCloseThread(phThreads[i]);
    XfnSysCloseEvent(phStartEvents[i]);
    XfnSysCloseEvent(phQuitEvents[i]);
    XfnSysCloseEvent(phDoneEvents[i]);
    phThreads[i] = nullptr;
    phStartEvents[i] = nullptr;
    phQuitEvents[i] = nullptr;
    phDoneEvents[i] = nullptr;
}

void XParallelProcess::Free()
{
    bool bLastHolder = phThreads == nullptr || XfnInterlockedDecrement(&HeaderOf(phThreads)->nRefs) == 0;
    if (bLastHolder) {
        // Closing a thread waits for it, so a worker still alive (Free
        // called without Quit) is ended first rather than left waiting.
        for (int i = 0; i < nThreads; ++i)
            if (phThreads[i] != nullptr)
                EndWorker(i);
        for (int i = 0; i < nThreads; ++i) {
            XfnSysCloseEvent(phStartEvents[i]);
            XfnSysCloseEvent(phQuitEvents[i]);
            XfnSysCloseEvent(phDoneEvents[i]);
        }
        if (phThreads != nullptr)
            std::free(HeaderOf(phThreads));
        std::free(pdwThreadIDs);
        std::free(pThreadParams);
        std::free(pnPercents);
        std::free(phStartEvents);
        std::free(phQuitEvents);
        std::free(phDoneEvents);
    }
    phThreads = nullptr;
    pdwThreadIDs = nullptr;
    pThreadParams = nullptr;
    pnPercents = nullptr;
    phStartEvents = nullptr;
    phQuitEvents = nullptr;
    phDoneEvents = nullptr;
    bCanceled = false;
    nThreads = 0;
}

void XParallelProcess::Create(int numThreads, bool suspended)
{
    Quit();
    Alloc(numThreads);
    if (nThreads > 0) {
        // Every event exists before the first worker starts.
        for (int i = 0; i < nThreads; ++i) {
            phStartEvents[i] = XfnSysCreateEvent(false, false);
            phQuitEvents[i] = XfnSysCreateEvent(false, false);
            phDoneEvents[i] = XfnSysCreateEvent(false, false);
        }
    }
    for (int i = 0; i < nThreads; ++i) {
        pThreadParams[i].pOwner = this;
        pThreadParams[i].nIndex = i;
        phThreads[i] = XfnSysCreateThread(WorkerLoop, &pThreadParams[i], suspended, &pdwThreadIDs[i]);
        // Worker i goes to processor i; the shift wraps at 32 bits. A mask
        // naming no processor of this machine leaves the worker unpinned.
        XfnSysSetThreadAffinityMask(phThreads[i], DWORD(1) << (i & 31));
        pnPercents[i] = 0;
    }
    bCanceled = false;
}

bool XParallelProcess::Run()
{
    bCanceled = false;
    if (nThreads == 0) {
        OnRun(0);
        return true;
    }
    for (int i = 0; i < nThreads; ++i) {
        if (!IsValid(i))
            return false;
        XfnSysResumeThread(phThreads[i]);
        XfnSysSetEvent(phStartEvents[i]);
    }
    // As on the system this class comes from, one wait takes at most 64
    // events: with more workers, or a negative count, it fails at once and
    // Run returns while the workers are still busy.
    if (nThreads <= static_cast<int>(XSYS_MAXIMUM_WAIT_OBJECTS))
        AwaitEvents(nThreads, phDoneEvents, true);
    return true;
}

bool XParallelProcess::Quit()
{
    bCanceled = true;
    if (nThreads > 0) {
        for (int i = 0; i < nThreads; ++i)
            if (IsValid(i))
                EndWorker(i);
        bCanceled = false;
    }
    Free();
    return true;
}

void XParallelProcess::Cancel()
{
    bCanceled = true;
}

bool XParallelProcess::IsCanceled()
{
    return bCanceled;
}

void XParallelProcess::OnMessagePercent(int thread, int percent)
{
    if (thread < nThreads)
        pnPercents[thread] = percent;
}

int XParallelProcess::GetPercent()
{
    if (nThreads <= 0)
        return 0;
    double dSum = 0.0;
    for (int i = 0; i < nThreads; ++i)
        dSum += pnPercents[i];
    return static_cast<int>(dSum / (nThreads * 100.0) * 100.0);
}

int XParallelProcess::GetPercent(int thread)
{
    return thread < nThreads ? pnPercents[thread] : 0;
}

int XParallelProcess::GetNumThreads()
{
    return nThreads;
}

bool XParallelProcess::IsValid(int thread)
{
    return thread < nThreads && phThreads[thread] != nullptr;
}

DWORD XParallelProcess::GetThreadID(int thread)
{
    return thread < nThreads ? pdwThreadIDs[thread] : 0;
}
