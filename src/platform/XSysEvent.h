// Events on this platform: a flag that one thread sets and others wait for,
// built on a mutex and condition variables. An auto-reset event is cleared by
// the wait that it releases, so one Set releases one wait; a manual-reset
// event stays set until reset. Waits report results in the classic manner:
// index of the released event, XSYS_WAIT_TIMEOUT or XSYS_WAIT_FAILED.
#pragma once

#include "KVDbase/platform/Win32Types.h"

enum : DWORD {
    XSYS_WAIT_OBJECT_0 = 0,
    XSYS_WAIT_TIMEOUT = 0x102,
    XSYS_WAIT_FAILED = 0xFFFFFFFF,
    XSYS_WAIT_INFINITE = 0xFFFFFFFF,
    // The most events one wait takes; a longer list fails at once.
    XSYS_MAXIMUM_WAIT_OBJECTS = 64,
};

// A new event, or null when none can be made.
HANDLE XfnSysCreateEvent(bool bManualReset, bool bInitialState);
// Null handles are ignored. No thread may still wait on a closed event.
void XfnSysCloseEvent(HANDLE hEvent);
bool XfnSysSetEvent(HANDLE hEvent);
bool XfnSysResetEvent(HANDLE hEvent);

// Waits up to nTimeout milliseconds. With bWaitAll, until every event is set
// at once, then takes them all together and returns XSYS_WAIT_OBJECT_0.
// Otherwise until one is set, and returns the lowest set index, taking that
// event alone; earlier entries thus win over later ones. A count outside 1 to
// XSYS_MAXIMUM_WAIT_OBJECTS, or a null entry, fails at once.
DWORD XfnSysWaitForEvents(int nCount, const HANDLE* phEvents, bool bWaitAll, DWORD nTimeout);
DWORD XfnSysWaitForEvent(HANDLE hEvent, DWORD nTimeout);
// True when a wait for the events would likely return at once. A glance
// without the events' lock, for a caller that spins before it waits: the
// wait itself decides.
bool XfnSysEventsLookSet(int nCount, const HANDLE* phEvents, bool bWaitAll);
