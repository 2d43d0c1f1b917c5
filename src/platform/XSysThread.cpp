// Threads on POSIX threads. Each handle points at a control block that holds
// the pthread, the suspend count and the end state under one mutex. The
// block lives while a handle refers to it or its thread still runs.
#include "platform/XSysThread.h"

#include <condition_variable>
#include <mutex>
#include <new>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace {

struct XSysThreadBlock {
    pthread_t thread{};
    XSysThreadProc pfn = nullptr;
    void* pParam = nullptr;

    std::mutex mutex;
    std::condition_variable cvState; // id known, resumed, finished
    int nHandles = 1;
    int nSuspend = 0;
    bool bIdKnown = false;
    bool bFinished = false;
    bool bJoined = false;
    // The last handle was closed by the thread itself, which cannot join
    // itself: the thread was detached and frees the block as it ends.
    bool bDetached = false;
    DWORD nThreadId = 0;
    DWORD nExitCode = 0;
};

thread_local XSysThreadBlock* t_pCurrent = nullptr;

XSysThreadBlock* BlockOf(HANDLE h)
{
    return static_cast<XSysThreadBlock*>(h);
}

// Sleeps while the block's suspend count is above 0; the lock is held.
bool WaitWhileSuspended(XSysThreadBlock* pBlock, std::unique_lock<std::mutex>& lock)
{
    if (pBlock->nSuspend == 0)
        return false;
    pBlock->cvState.wait(lock, [pBlock] { return pBlock->nSuspend == 0; });
    return true;
}

void* ThreadStart(void* pArg)
{
    XSysThreadBlock* pBlock = static_cast<XSysThreadBlock*>(pArg);
    t_pCurrent = pBlock;
    {
        std::unique_lock<std::mutex> lock(pBlock->mutex);
        pBlock->nThreadId = static_cast<DWORD>(gettid());
        pBlock->bIdKnown = true;
        pBlock->cvState.notify_all();
        WaitWhileSuspended(pBlock, lock); // the start gate
    }
    DWORD nCode = pBlock->pfn(pBlock->pParam);

    bool bFree;
    {
        std::lock_guard<std::mutex> lock(pBlock->mutex);
        pBlock->nExitCode = nCode;
        pBlock->bFinished = true;
        bFree = pBlock->bDetached;
        pBlock->cvState.notify_all();
    }
    // Past this point a joined thread no longer touches its block: the joiner
    // may free it as soon as pthread_join returns.
    t_pCurrent = nullptr;
    if (bFree)
        delete pBlock;
    return nullptr;
}

} // namespace

HANDLE XfnSysCreateThread(XSysThreadProc pfn, void* pParam, bool bSuspended, DWORD* pnThreadId)
{
    if (pfn == nullptr)
        return nullptr;
    XSysThreadBlock* pBlock = new (std::nothrow) XSysThreadBlock;
    if (pBlock == nullptr)
        return nullptr;
    pBlock->pfn = pfn;
    pBlock->pParam = pParam;
    pBlock->nSuspend = bSuspended ? 1 : 0;
    if (pthread_create(&pBlock->thread, nullptr, ThreadStart, pBlock) != 0) {
        delete pBlock;
        return nullptr;
    }
    // The kernel id is known only once the thread runs; wait for it so that
    // the caller gets it at once, as with a thread id returned on creation.
    std::unique_lock<std::mutex> lock(pBlock->mutex);
    pBlock->cvState.wait(lock, [pBlock] { return pBlock->bIdKnown; });
    if (pnThreadId != nullptr)
        *pnThreadId = pBlock->nThreadId;
    return pBlock;
}

DWORD XfnSysSuspendThread(HANDLE hThread)
{
    XSysThreadBlock* pBlock = BlockOf(hThread);
    if (pBlock == nullptr)
        return XSYS_THREAD_ERROR;
    std::unique_lock<std::mutex> lock(pBlock->mutex);
    DWORD nPrevious = static_cast<DWORD>(pBlock->nSuspend++);
    if (pBlock == t_pCurrent)
        WaitWhileSuspended(pBlock, lock);
    return nPrevious;
}

DWORD XfnSysResumeThread(HANDLE hThread)
{
    XSysThreadBlock* pBlock = BlockOf(hThread);
    if (pBlock == nullptr)
        return XSYS_THREAD_ERROR;
    std::lock_guard<std::mutex> lock(pBlock->mutex);
    DWORD nPrevious = static_cast<DWORD>(pBlock->nSuspend);
    if (pBlock->nSuspend > 0 && --pBlock->nSuspend == 0)
        pBlock->cvState.notify_all();
    return nPrevious;
}

bool XfnSysWaitThread(HANDLE hThread)
{
    XSysThreadBlock* pBlock = BlockOf(hThread);
    if (pBlock == nullptr || pBlock == t_pCurrent)
        return false;
    std::unique_lock<std::mutex> lock(pBlock->mutex);
    pBlock->cvState.wait(lock, [pBlock] { return pBlock->bFinished; });
    if (pBlock->bJoined)
        return true;
    pBlock->bJoined = true;
    pthread_t thread = pBlock->thread;
    lock.unlock();
    pthread_join(thread, nullptr);
    return true;
}

bool XfnSysIsThreadFinished(HANDLE hThread)
{
    XSysThreadBlock* pBlock = BlockOf(hThread);
    if (pBlock == nullptr)
        return false;
    std::lock_guard<std::mutex> lock(pBlock->mutex);
    return pBlock->bFinished;
}

DWORD XfnSysGetThreadExitCode(HANDLE hThread)
{
    XSysThreadBlock* pBlock = BlockOf(hThread);
    if (pBlock == nullptr)
        return 0;
    std::lock_guard<std::mutex> lock(pBlock->mutex);
    return pBlock->nExitCode;
}

HANDLE XfnSysDuplicateThreadHandle(HANDLE hThread)
{
    XSysThreadBlock* pBlock = BlockOf(hThread);
    if (pBlock == nullptr)
        return nullptr;
    std::lock_guard<std::mutex> lock(pBlock->mutex);
    ++pBlock->nHandles;
    return pBlock;
}

void XfnSysCloseThread(HANDLE hThread)
{
    XSysThreadBlock* pBlock = BlockOf(hThread);
    if (pBlock == nullptr)
        return;
    {
        std::lock_guard<std::mutex> lock(pBlock->mutex);
        if (--pBlock->nHandles > 0)
            return;
        if (pBlock == t_pCurrent) {
            // The thread dropped the last handle to itself: nobody is left to
            // join it, so it is detached and frees its block when it ends.
            pBlock->bDetached = true;
            pthread_detach(pBlock->thread);
            return;
        }
    }
    XfnSysWaitThread(pBlock);
    delete pBlock;
}

bool XfnSysThreadPoll()
{
    XSysThreadBlock* pBlock = t_pCurrent;
    if (pBlock == nullptr)
        return false;
    std::unique_lock<std::mutex> lock(pBlock->mutex);
    return WaitWhileSuspended(pBlock, lock);
}

bool XfnSysSetThreadAffinityMask(HANDLE hThread, DWORD nMask)
{
    XSysThreadBlock* pBlock = BlockOf(hThread);
    if (pBlock == nullptr || nMask == 0)
        return false;
    cpu_set_t set;
    CPU_ZERO(&set);
    for (int i = 0; i < 32; ++i)
        if (nMask & (DWORD(1) << i))
            CPU_SET(i, &set);
    std::lock_guard<std::mutex> lock(pBlock->mutex);
    if (pBlock->bJoined)
        return false;
    return pthread_setaffinity_np(pBlock->thread, sizeof set, &set) == 0;
}

uint64_t XfnSysGetThreadAffinityMask(HANDLE hThread)
{
    XSysThreadBlock* pBlock = BlockOf(hThread);
    if (pBlock == nullptr)
        return 0;
    cpu_set_t set;
    CPU_ZERO(&set);
    std::lock_guard<std::mutex> lock(pBlock->mutex);
    if (pBlock->bJoined || pthread_getaffinity_np(pBlock->thread, sizeof set, &set) != 0)
        return 0;
    uint64_t nMask = 0;
    for (int i = 0; i < 64; ++i)
        if (CPU_ISSET(i, &set))
            nMask |= uint64_t(1) << i;
    return nMask;
}

int XfnSysGetProcessorCount()
{
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? static_cast<int>(n) : 1;
}

DWORD XfnSysGetCurrentThreadId()
{
    return static_cast<DWORD>(gettid());
}

void XfnSysYield()
{
    sched_yield();
}

void XfnSysSleep(DWORD nMilliseconds)
{
    usleep(static_cast<useconds_t>(nMilliseconds) * 1000u);
}
