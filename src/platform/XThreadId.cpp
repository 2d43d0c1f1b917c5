#include "KVDbase/platform/XThreadId.h"

#include "platform/XSysThread.h"

DWORD XfnGetCurrentThreadId()
{
    return XfnSysGetCurrentThreadId();
}
