// XfnGetCurrentThreadId: the calling thread's identifier, the kernel's id of
// the thread. Never 0; unique among the threads alive at one time (an id may
// come back after its thread has ended).
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

KVD_API DWORD XfnGetCurrentThreadId();
