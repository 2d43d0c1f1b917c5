// Threads on this platform (POSIX threads). A thread handle is a counted
// reference to a control block; every thread started here is joined, never
// detached: the last XfnSysCloseThread of a thread that was not yet waited for
// waits for it. Suspension is cooperative: a suspended thread stops at its
// start gate or at its next poll point (XfnSysThreadPoll), never elsewhere.
// Failures are reported by null handles, false, or 0xFFFFFFFF counts.
#pragma once

#include "KVDbase/platform/Win32Types.h"

typedef DWORD (*XSysThreadProc)(void* pParam);

enum : DWORD { XSYS_THREAD_ERROR = 0xFFFFFFFF };

// Starts pfn(pParam) on a new thread. With bSuspended the thread waits at its
// start gate, before pfn, until a XfnSysResumeThread brings its suspend count
// to 0. The thread's kernel id goes to *pnThreadId when that is not null.
// Null when the thread cannot be started.
HANDLE XfnSysCreateThread(XSysThreadProc pfn, void* pParam, bool bSuspended, DWORD* pnThreadId);

// Raises the suspend count and returns its earlier value. The thread pauses
// at its next poll point; a thread that suspends itself pauses at once.
DWORD XfnSysSuspendThread(HANDLE hThread);
// Lowers a count above 0 and returns its earlier value; at 0 the thread goes
// on from its start gate or poll point.
DWORD XfnSysResumeThread(HANDLE hThread);

// Waits without limit until the thread function has returned, then joins the
// thread. False, without waiting, when called on the calling thread itself.
bool XfnSysWaitThread(HANDLE hThread);
// True once the thread function has returned.
bool XfnSysIsThreadFinished(HANDLE hThread);
// The value the thread function returned; 0 while it runs.
DWORD XfnSysGetThreadExitCode(HANDLE hThread);

// A second reference to the same thread, to be closed on its own.
HANDLE XfnSysDuplicateThreadHandle(HANDLE hThread);
// Drops one reference; a null handle is ignored. The last reference waits
// for the thread (see above) and frees its control block.
void XfnSysCloseThread(HANDLE hThread);

// The poll point of a thread started here: while its suspend count is above
// 0 the calling thread sleeps. Returns true if it slept. On a thread not
// started by XfnSysCreateThread it returns false at once.
bool XfnSysThreadPoll();

// Pins the thread to the processors whose bits are set in nMask, bit i being
// processor i. False, and the thread stays where it was, when the mask names
// no processor that this process may use.
bool XfnSysSetThreadAffinityMask(HANDLE hThread, DWORD nMask);
// The processors the thread may run on, as such a mask (processors 0 to 63).
uint64_t XfnSysGetThreadAffinityMask(HANDLE hThread);

// The number of processors online.
int XfnSysGetProcessorCount();
// The kernel id of the calling thread.
DWORD XfnSysGetCurrentThreadId();
// Gives up the rest of the calling thread's time slice.
void XfnSysYield();
// Sleeps the calling thread for nMilliseconds.
void XfnSysSleep(DWORD nMilliseconds);
