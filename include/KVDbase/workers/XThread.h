// XThread: runs a caller's thread function on a worker thread and reports its
// course by posting message XWM_THREADCALLBACK to an XMessageQueue, the
// window of this library. The controlling thread owns the object; the worker
// uses only the Callback family, CheckStop and bStop. Nothing throws: results
// are handles, 1/0 or the previous suspend count (0xFFFFFFFF without thread).
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"
#include "KVDbase/platform/XMessageQueue.h"

// The message of every callback: wParam is the XThread, lParam the value.
enum : UINT { XWM_THREADCALLBACK = 0x400 + 1000 };

// Codes of nLastCode.
enum : int {
    XTHREAD_SUCCESS = 1, // the task ended well
    XTHREAD_FAIL = 2,    // the task failed, text in strMessage
    XTHREAD_CANCEL = 3,  // the task was cancelled
    XTHREAD_PERCENT = 4, // progress, the percent as the value
    XTHREAD_TEXT = 5,    // a line of text in strMessage
};

typedef DWORD (*XThreadProc)(void* pParam);

class KVD_API XThread {
public:
    // Set by Terminate; the thread function leaves when it sees it non-zero.
    // Volatile so that a polling loop reads it afresh each time.
    volatile int bStop;
    int nLastCode;          // code of the last Callback
    XString strMessage;     // text of the last failure or text message
    void* pUserData;        // first argument of Create
    XMessageQueue* hWnd;    // receiver of the messages; null posts nothing
    HANDLE hThread;         // the thread; null when none runs
    XThreadProc pfnThread;  // the thread function
    BYTE nPercentLow;       // what task progress 0 maps to
    BYTE nPercentHigh;      // what task progress 100 maps to
    int nLastPercent;       // last percent posted; 0x7FFFFFFF before any

    XThread();
    // A copy shares the thread, and the destructor of either ends it.
    XThread(const XThread& src);
    XThread& operator=(const XThread& src);
    ~XThread();

    // Ends any thread still held, then starts threadFunction(parameter), or
    // threadFunction(this) when parameter is null. With suspended the thread
    // waits before its function until Resume. The handle, or null on failure.
    void* Create(void* userData, XMessageQueue* hWnd, XThreadProc threadFunction, void* parameter,
                 int suspended);
    // Sets bStop, resumes the thread once, waits for its end and releases it.
    // 1 without a thread or when it ended; 0, with the thread kept, when
    // called on the worker itself, which cannot wait for its own end.
    int Terminate();
    // Raise and lower the suspend count; each returns the earlier count. The
    // worker pauses at its next poll point: CheckStop or a Callback.
    DWORD Suspend();
    DWORD Resume();
    // 1 from Create until Terminate, also after the function returned.
    int IsValid();

    // The worker's poll point: takes a pending Suspend, then returns bStop.
    int CheckStop();

    void Callback(int code, LONG value);
    void CallbackSuccess();
    void CallbackCancel();
    void CallbackFail(XString text);
    void CallbackText(XString text);
    // percent from 0 to 100, mapped onto the percent range; posts only when
    // the whole percent differs from the last one posted.
    void CallbackPercent(double percent);
    void SetPercentRange(int low, int high);
};
