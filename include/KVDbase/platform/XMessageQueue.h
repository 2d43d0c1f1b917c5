// XMessageQueue: a small thread-safe queue of posted messages that stands in
// for a window handle. Any thread may post; messages are taken in the order of
// their posts by the queue's owner, the thread that waits with Get or Peek.
// The queue must outlive every thread that posts to it. Failure is a FALSE
// result: a post after Close, a wait that timed out or found the queue closed.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

// A wait with no time limit.
enum : DWORD { XWAIT_INFINITE = 0xFFFFFFFF };

// One posted message: its number and its two parameters, both pointer-wide.
struct tagXMessage {
    UINT nMessage;
    uintptr_t wParam;
    intptr_t lParam;
};

class KVD_API XMessageQueue {
public:
    XMessageQueue();
    // Messages still queued are dropped.
    ~XMessageQueue();
    XMessageQueue(const XMessageQueue&) = delete;
    XMessageQueue& operator=(const XMessageQueue&) = delete;

    // Appends a message and wakes the owner; never blocks beyond the queue's
    // short lock. FALSE, with nothing queued, once the queue is closed.
    BOOL Post(UINT nMessage, uintptr_t wParam, intptr_t lParam);

    // Takes the oldest message, waiting up to nTimeout milliseconds for one.
    // FALSE when the time ran out, or when the queue is closed and empty.
    BOOL Get(tagXMessage& msg, DWORD nTimeout = XWAIT_INFINITE);
    // The oldest message without waiting; bRemove takes it out of the queue.
    BOOL Peek(tagXMessage& msg, BOOL bRemove = TRUE);

    int GetCount() const;

    // Refuses all later posts, as a window that has gone away does, and
    // wakes a waiting owner. Messages already queued can still be taken.
    void Close();
    BOOL IsClosed() const;

private:
    struct XQueueState;
    XQueueState* pState;
};
