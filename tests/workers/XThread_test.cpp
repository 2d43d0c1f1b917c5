#include "KVDbase/workers/XThread.h"

#include "platform/XSysThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace {

// The values of every message now queued, each checked to be a callback message of thread.
std::vector<intptr_t> Drain(XMessageQueue& queue, const XThread& thread)
{
    std::vector<intptr_t> values;
    tagXMessage msg;
    while (queue.Peek(msg)) {
        EXPECT_EQ(msg.nMessage, 0x7E8u);
        EXPECT_EQ(msg.wParam, reinterpret_cast<uintptr_t>(&thread));
        values.push_back(msg.lParam);
    }
    return values;
}

TEST(XThread, PercentPostsOncePerWholePercentWithinTheClampedRange)
{
    XMessageQueue queue;
    XThread thread;
    thread.hWnd = &queue;
    thread.CallbackPercent(10.0);
    thread.CallbackPercent(10.0);
    thread.CallbackPercent(10.9); // same whole percent
    thread.SetPercentRange(50, 100);
    thread.CallbackPercent(50.0);
    thread.CallbackPercent(100.0);
    EXPECT_EQ(thread.nLastCode, XTHREAD_PERCENT);
    EXPECT_EQ(thread.nLastPercent, 100);
    // NaN and a value past int both give the integer indefinite, so only one posts.
    thread.SetPercentRange(20, 100);
    double dZero = 0.0;
    thread.CallbackPercent(0.0 * 100.0 / dZero);
    thread.CallbackPercent(1e300);
    EXPECT_EQ(Drain(queue, thread), (std::vector<intptr_t>{10, 75, 100, static_cast<intptr_t>(INT32_MIN) + 20}));

    thread.SetPercentRange(-5, 150);
    EXPECT_EQ(thread.nPercentLow, 0);
    EXPECT_EQ(thread.nPercentHigh, 100);
    thread.SetPercentRange(80, 20);
    EXPECT_EQ(thread.nPercentLow, 20);
    EXPECT_EQ(thread.nPercentHigh, 20);
}

TEST(XThread, IdleObjectAnswersAndCallbacksStoreCodeAndTextAndPostInOrder)
{
    XThread thread;
    EXPECT_EQ(thread.Terminate(), 1);
    EXPECT_EQ(thread.Suspend(), 0xFFFFFFFFu);
    EXPECT_EQ(thread.Resume(), 0xFFFFFFFFu);
    EXPECT_EQ(thread.Create(nullptr, nullptr, nullptr, nullptr, 0), nullptr);
    thread.CallbackFail("no window"); // a null window: stored, nothing posted
    EXPECT_EQ(thread.nLastCode, XTHREAD_FAIL);
    EXPECT_STREQ(thread.strMessage, "no window");

    XMessageQueue queue;
    thread.hWnd = &queue;
    thread.CallbackText("line");
    EXPECT_STREQ(thread.strMessage, "line");
    thread.CallbackCancel();
    thread.CallbackSuccess();
    thread.Callback(42, -7);
    std::vector<intptr_t> values = Drain(queue, thread);
    ASSERT_EQ(values.size(), 4u);
    EXPECT_EQ(values[0], 0);
    EXPECT_EQ(values[3], -7);
    EXPECT_EQ(thread.nLastCode, 42);

    queue.Close(); // the window has gone away: the post fails silently
    thread.CallbackSuccess();
    EXPECT_EQ(thread.nLastCode, XTHREAD_SUCCESS);
    EXPECT_EQ(queue.GetCount(), 0);
}

// A worker that steps until its XThread is asked to stop, pausing at each step when suspended; waits are
// generous so that a loaded machine passes.
struct XLoop {
    XThread* pThread = nullptr;
    std::atomic<int> nSteps{0};
    std::atomic<bool> bStarted{false};

    static DWORD Run(void* pParam)
    {
        XLoop* pLoop = static_cast<XLoop*>(pParam);
        pLoop->bStarted = true;
        while (!pLoop->pThread->CheckStop())
            pLoop->nSteps++;
        return 0;
    }
    void* Start(XThread& thread, int nSuspended)
    {
        pThread = &thread;
        return thread.Create(nullptr, nullptr, Run, this, nSuspended);
    }
    // Waits until the step count moves past nFrom.
    bool Advances(int nFrom)
    {
        for (int i = 0; i < 5000 && nSteps.load() <= nFrom; ++i)
            XfnSysSleep(1);
        return nSteps.load() > nFrom;
    }
    // Waits until the step count stays the same for 20 ms, and gives it.
    bool Settles(int& nSettled)
    {
        for (int i = 0; i < 250; ++i) {
            const int nBefore = nSteps.load();
            XfnSysSleep(20);
            if ((nSettled = nSteps.load()) == nBefore)
                return true;
        }
        return false;
    }
};

TEST(XThread, StartGateSuspendAndCreateAgain)
{
    XLoop loop;
    XThread thread;
    ASSERT_NE(loop.Start(thread, 1), nullptr);
    XfnSysSleep(50);
    EXPECT_FALSE(loop.bStarted.load());
    EXPECT_EQ(thread.Resume(), 1u);
    EXPECT_TRUE(loop.Advances(0));
    EXPECT_EQ(thread.Terminate(), 1);
    EXPECT_EQ(thread.bStop, 1);

    // Never resumed: Terminate lets it run, see bStop and leave.
    XLoop idle;
    ASSERT_NE(idle.Start(thread, 1), nullptr);
    EXPECT_EQ(thread.Terminate(), 1);
    EXPECT_TRUE(idle.bStarted.load());
    EXPECT_EQ(idle.nSteps.load(), 0);
    EXPECT_EQ(thread.IsValid(), 0);

    // Create again ends the running thread first.
    XLoop first, second;
    ASSERT_NE(first.Start(thread, 0), nullptr);
    ASSERT_TRUE(first.Advances(0));
    ASSERT_NE(second.Start(thread, 0), nullptr);
    const int nFirstSteps = first.nSteps.load();
    EXPECT_EQ(thread.bStop, 0);
    EXPECT_TRUE(second.Advances(0));
    EXPECT_EQ(first.nSteps.load(), nFirstSteps);

    // Suspend pauses the worker at its next poll point; each count needs its Resume.
    XLoop paused;
    ASSERT_NE(paused.Start(thread, 0), nullptr);
    ASSERT_TRUE(paused.Advances(0));
    EXPECT_EQ(thread.Suspend(), 0u);
    EXPECT_EQ(thread.Suspend(), 1u);
    int nPaused = 0;
    ASSERT_TRUE(paused.Settles(nPaused));
    XfnSysSleep(50);
    EXPECT_EQ(paused.nSteps.load(), nPaused);
    EXPECT_EQ(thread.Resume(), 2u);
    XfnSysSleep(20);
    EXPECT_EQ(paused.nSteps.load(), nPaused); // one count still holds it
    EXPECT_EQ(thread.Resume(), 1u);
    EXPECT_TRUE(paused.Advances(nPaused));
    EXPECT_EQ(thread.Resume(), 0u);
    EXPECT_EQ(thread.Terminate(), 1);
}

TEST(XThread, TerminateOnTheWorkerItselfRefusesToWaitAndTheHandleOutlivesTheFunction)
{
    std::atomic<int> nResult{-1};
    XThread thread;
    auto terminateFromInside = [](void* p) -> DWORD {
        XThread* pThread = static_cast<XThread*>(p);
        *static_cast<std::atomic<int>*>(pThread->pUserData) = pThread->Terminate();
        return 0;
    };
    // Started suspended, so that hThread is stored before the worker reads it.
    ASSERT_NE(thread.Create(&nResult, nullptr, terminateFromInside, nullptr, 1), nullptr);
    thread.Resume();
    for (int i = 0; i < 5000 && nResult.load() < 0; ++i)
        XfnSysSleep(1);
    EXPECT_EQ(nResult.load(), 0);
    for (int i = 0; i < 5000 && !XfnSysIsThreadFinished(thread.hThread); ++i)
        XfnSysSleep(1);
    EXPECT_EQ(thread.IsValid(), 1); // still held after the function returned
    EXPECT_EQ(thread.Terminate(), 1);
    EXPECT_EQ(thread.IsValid(), 0);
}

TEST(XThread, CopiesShareTheThreadAndEitherEndsIt)
{
    XLoop loop;
    XThread thread;
    ASSERT_NE(loop.Start(thread, 0), nullptr);
    {
        XThread copy(thread);
        EXPECT_EQ(copy.hThread, thread.hThread);
        // The worker polls the original's flag, so the copy stops it here.
        thread.bStop = 1;
    }
    EXPECT_EQ(thread.IsValid(), 1);
    // Assignment takes a handle of its own to the same thread; assigning to itself keeps it.
    XThread assigned;
    assigned = thread;
    assigned = assigned;
    EXPECT_EQ(assigned.IsValid(), 1);
    EXPECT_EQ(assigned.Terminate(), 1);
    EXPECT_EQ(thread.Terminate(), 1);
}

} // namespace
