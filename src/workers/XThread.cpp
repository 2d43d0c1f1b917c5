// XThread over the platform's threads. Stopping is cooperative: Terminate
// raises bStop and joins the worker, which must poll the flag; a thread is
// never killed from outside.
#include "KVDbase/workers/XThread.h"

#include "platform/XSysThread.h"

namespace {

// A double truncated to int as the processor's conversion does: a value out
// of range, infinite or NaN gives the integer indefinite, INT_MIN.
int TruncateToInt(double d)
{
    if (d > -2147483649.0 && d < 2147483648.0)
        return static_cast<int>(d);
    return static_cast<int>(0x80000000u);
}

} // namespace

XThread::XThread()
    : bStop(0), nLastCode(0), pUserData(nullptr), hWnd(nullptr), hThread(nullptr), pfnThread(nullptr),
      nPercentLow(0), nPercentHigh(100), nLastPercent(0x7FFFFFFF)
{
}

XThread::XThread(const XThread& src)
    : bStop(src.bStop), nLastCode(src.nLastCode), strMessage(src.strMessage), pUserData(src.pUserData),
      hWnd(src.hWnd), hThread(XfnSysDuplicateThreadHandle(src.hThread)), pfnThread(src.pfnThread),
      nPercentLow(src.nPercentLow), nPercentHigh(src.nPercentHigh), nLastPercent(src.nLastPercent)
{
}

XThread& XThread::operator=(const XThread& src)
{
    if (this == &src)
        return *this;
    // The thread held so far is ended as the destructor would end it, unless
    // both already share it.
    if (hThread != src.hThread) {
        Terminate();
        hThread = XfnSysDuplicateThreadHandle(src.hThread);
    }
    bStop = src.bStop;
    nLastCode = src.nLastCode;
    strMessage = src.strMessage;
    pUserData = src.pUserData;
    hWnd = src.hWnd;
    pfnThread = src.pfnThread;
    nPercentLow = src.nPercentLow;
    nPercentHigh = src.nPercentHigh;
    nLastPercent = src.nLastPercent;
    return *this;
}

XThread::~XThread()
{
    Terminate();
}

void* XThread::Create(void* userData, XMessageQueue* hWndReceiver, XThreadProc threadFunction, void* parameter,
                      int suspended)
{
    if (hThread != nullptr)
        Terminate();
    bStop = 0;
    pUserData = userData;
    hWnd = hWndReceiver;
    pfnThread = threadFunction;
    hThread = XfnSysCreateThread(threadFunction, parameter != nullptr ? parameter : this, suspended != 0,
                                 nullptr);
    return hThread;
}

int XThread::Terminate()
{
    if (hThread == nullptr)
        return 1;
    bStop = 1;
    XfnSysResumeThread(hThread);
    if (!XfnSysWaitThread(hThread))
        return 0;
    XfnSysCloseThread(hThread);
    hThread = nullptr;
    return 1;
}

DWORD XThread::Suspend()
{
    return XfnSysSuspendThread(hThread);
}

DWORD XThread::Resume()
{
    return XfnSysResumeThread(hThread);
}

int XThread::IsValid()
{
    return hThread != nullptr ? 1 : 0;
}

int XThread::CheckStop()
{
    XfnSysThreadPoll();
    return bStop;
}

void XThread::Callback(int code, LONG value)
{
    nLastCode = code;
    if (hWnd != nullptr)
        hWnd->Post(XWM_THREADCALLBACK, reinterpret_cast<uintptr_t>(this), value);
    // Every report is also a poll point, so that a pending Suspend takes
    // effect in any task that reports its progress.
    XfnSysThreadPoll();
}

void XThread::CallbackSuccess()
{
    Callback(XTHREAD_SUCCESS, 0);
}

void XThread::CallbackCancel()
{
    Callback(XTHREAD_CANCEL, 0);
}

void XThread::CallbackFail(XString text)
{
    strMessage = text;
    Callback(XTHREAD_FAIL, 0);
}

void XThread::CallbackText(XString text)
{
    strMessage = text;
    Callback(XTHREAD_TEXT, 0);
}

void XThread::CallbackPercent(double percent)
{
    int nPercent = nPercentLow + TruncateToInt((nPercentHigh - nPercentLow) * percent / 100.0);
    if (nPercent == nLastPercent) {
        XfnSysThreadPoll();
        return;
    }
    nLastPercent = nPercent;
    Callback(XTHREAD_PERCENT, nPercent);
}

void XThread::SetPercentRange(int low, int high)
{
    if (low < 0)
        low = 0;
    if (high > 100)
        high = 100;
    if (low > high)
        low = high;
    nPercentLow = static_cast<BYTE>(low);
    nPercentHigh = static_cast<BYTE>(high);
}
