// The posted-message queue: a deque under one mutex, with a condition
// variable on which the owner sleeps while the queue is empty.
#include "KVDbase/platform/XMessageQueue.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

struct XMessageQueue::XQueueState {
    mutable std::mutex mutex;
    std::condition_variable cvPosted;
    std::deque<tagXMessage> queue;
    bool bClosed = false;
};

XMessageQueue::XMessageQueue() : pState(new XQueueState) {}

XMessageQueue::~XMessageQueue()
{
    delete pState;
}

BOOL XMessageQueue::Post(UINT nMessage, uintptr_t wParam, intptr_t lParam)
{
    {
        std::lock_guard<std::mutex> lock(pState->mutex);
        if (pState->bClosed)
            return FALSE;
        pState->queue.push_back(tagXMessage{nMessage, wParam, lParam});
    }
    pState->cvPosted.notify_one();
    return TRUE;
}

BOOL XMessageQueue::Get(tagXMessage& msg, DWORD nTimeout)
{
    std::unique_lock<std::mutex> lock(pState->mutex);
    auto ready = [this] { return !pState->queue.empty() || pState->bClosed; };
    if (nTimeout == XWAIT_INFINITE)
        pState->cvPosted.wait(lock, ready);
    else if (!pState->cvPosted.wait_for(lock, std::chrono::milliseconds(nTimeout), ready))
        return FALSE;
    if (pState->queue.empty())
        return FALSE; // closed and drained
    msg = pState->queue.front();
    pState->queue.pop_front();
    return TRUE;
}

BOOL XMessageQueue::Peek(tagXMessage& msg, BOOL bRemove)
{
    std::lock_guard<std::mutex> lock(pState->mutex);
    if (pState->queue.empty())
        return FALSE;
    msg = pState->queue.front();
    if (bRemove)
        pState->queue.pop_front();
    return TRUE;
}

int XMessageQueue::GetCount() const
{
    std::lock_guard<std::mutex> lock(pState->mutex);
    return static_cast<int>(pState->queue.size());
}

void XMessageQueue::Close()
{
    {
        std::lock_guard<std::mutex> lock(pState->mutex);
        pState->bClosed = true;
    }
    pState->cvPosted.notify_all();
}

BOOL XMessageQueue::IsClosed() const
{
    std::lock_guard<std::mutex> lock(pState->mutex);
    return pState->bClosed ? TRUE : FALSE;
}
