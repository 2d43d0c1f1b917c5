#include "KVDbase/workers/XThread.h"

#include "platform/XSysThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace {

// Takes every message now queued.
std::vector<tagXMessage> Drain(XMessageQueue& queue)
{
    std::vector<tagXMessage> messages;
    tagXMessage msg;
    while (queue.Peek(msg))
        messages.push_back(msg);
    return messages;
}

// Waits for the next message and checks that it is a callback of pThread.
LONG NextValue(XMessageQueue& queue, XThread* pThread)
{
    tagXMessage msg{};
    EXPECT_TRUE(queue.Get(msg, 5000));
    EXPECT_EQ(msg.nMessage, 0x7E8u);
    EXPECT_EQ(msg.wParam, reinterpret_cast<uintptr_t>(pThread));
    return static_cast<LONG>(msg.lParam);
}

TEST(XThread, PercentPostsOncePerWholePercentWithinTheRange)
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
    std::vector<tagXMessage> messages = Drain(queue);
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(messages[0].lParam, 10);
    EXPECT_EQ(messages[1].lParam, 75);
    EXPECT_EQ(messages[2].lParam, 100);
    EXPECT_EQ(thread.nLastCode, XTHREAD_PERCENT);
    EXPECT_EQ(thread.nLastPercent, 100);
}

TEST(XThread, NonFinitePercentGivesTheIntegerIndefinite)
{
    XMessageQueue queue;
    XThread thread;
    thread.hWnd = &queue;
    thread.SetPercentRange(20, 100);
    double dZero = 0.0;
    thread.CallbackPercent(0.0 * 100.0 / dZero);
    thread.CallbackPercent(1e300);
    std::vector<tagXMessage> messages = Drain(queue);
    ASSERT_EQ(messages.size(), 1u); // both give the same value
    EXPECT_EQ(messages[0].lParam, static_cast<intptr_t>(INT32_MIN) + 20);
}

TEST(XThread, SetPercentRangeClamps)
{
    XThread thread;
    thread.SetPercentRange(-5, 150);
    EXPECT_EQ(thread.nPercentLow, 0);
    EXPECT_EQ(thread.nPercentHigh, 100);
    thread.SetPercentRange(80, 20);
    EXPECT_EQ(thread.nPercentLow, 20);
    EXPECT_EQ(thread.nPercentHigh, 20);
}

TEST(XThread, CallbacksStoreCodeAndTextAndPostInOrder)
{
    XThread thread;
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
    std::vector<tagXMessage> messages = Drain(queue);
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_EQ(messages[0].lParam, 0);
    EXPECT_EQ(messages[3].lParam, -7);
    EXPECT_EQ(thread.nLastCode, 42);

    queue.Close(); // the window has gone away: the post fails silently
    thread.CallbackSuccess();
    EXPECT_EQ(thread.nLastCode, XTHREAD_SUCCESS);
    EXPECT_EQ(queue.GetCount(), 0);
}

TEST(XThread, IdleObjectAnswersWithoutAThread)
{
    XThread thread;
    EXPECT_EQ(thread.Terminate(), 1);
    EXPECT_EQ(thread.IsValid(), 0);
    EXPECT_EQ(thread.Suspend(), 0xFFFFFFFFu);
    EXPECT_EQ(thread.Resume(), 0xFFFFFFFFu);
    EXPECT_EQ(thread.nLastPercent, 0x7FFFFFFF);
    EXPECT_EQ(thread.Create(nullptr, nullptr, nullptr, nullptr, 0), nullptr);
    EXPECT_EQ(thread.IsValid(), 0);
}

DWORD ReportProgress(void* pParam)
{
    XThread* pThread = static_cast<XThread*>(pParam);
    for (int i = 0; i <= 100; ++i)
        pThread->CallbackPercent(i);
    pThread->CallbackText(XString("done ") + static_cast<const char*>(pThread->pUserData));
    pThread->CallbackSuccess();
    return 0;
}

TEST(XThread, WorkerPostsToTheOwnerInOrderAndGetsItselfAsParameter)
{
    XMessageQueue queue;
    XThread thread;
    char szName[] = "job";
    ASSERT_NE(thread.Create(szName, &queue, ReportProgress, nullptr, 0), nullptr);
    EXPECT_EQ(thread.pfnThread, &ReportProgress);
    for (int i = 0; i <= 100; ++i)
        ASSERT_EQ(NextValue(queue, &thread), i);
    NextValue(queue, &thread);
    NextValue(queue, &thread);
    EXPECT_EQ(thread.nLastCode, XTHREAD_SUCCESS);
    EXPECT_STREQ(thread.strMessage, "done job");
    EXPECT_EQ(thread.IsValid(), 1); // still held after the function returned
    EXPECT_EQ(thread.Terminate(), 1);
    EXPECT_EQ(thread.IsValid(), 0);
}

struct XLoopState {
    XThread* pThread = nullptr;
    std::atomic<int> nSteps{0};
    std::atomic<bool> bStarted{false};
};

// Steps until asked to stop, taking any pause at each step.
DWORD StepUntilStopped(void* pParam)
{
    XLoopState* pState = static_cast<XLoopState*>(pParam);
    pState->bStarted = true;
    while (!pState->pThread->CheckStop())
        pState->nSteps++;
    return 0;
}

// Waits until the step count moves past nFrom.
bool StepsAdvance(XLoopState& state, int nFrom)
{
    for (int i = 0; i < 5000; ++i) {
        if (state.nSteps.load() > nFrom)
            return true;
        XfnSysSleep(1);
    }
    return false;
}

// Waits until the step count stays the same for 20 ms, and gives it.
bool StepsSettle(XLoopState& state, int& nSettled)
{
    for (int i = 0; i < 250; ++i) {
        const int nBefore = state.nSteps.load();
        XfnSysSleep(20);
        nSettled = state.nSteps.load();
        if (nSettled == nBefore)
            return true;
    }
    return false;
}

TEST(XThread, SuspendedCreateHoldsTheFunctionAtItsStartGate)
{
    XLoopState state;
    XThread thread;
    state.pThread = &thread;
    ASSERT_NE(thread.Create(nullptr, nullptr, StepUntilStopped, &state, 1), nullptr);
    XfnSysSleep(50);
    EXPECT_FALSE(state.bStarted.load());
    EXPECT_EQ(thread.Resume(), 1u);
    EXPECT_TRUE(StepsAdvance(state, 0));
    EXPECT_EQ(thread.Terminate(), 1);
    EXPECT_EQ(thread.bStop, 1);
}

TEST(XThread, SuspendPausesTheWorkerAtItsNextPollPoint)
{
    XLoopState state;
    XThread thread;
    state.pThread = &thread;
    ASSERT_NE(thread.Create(nullptr, nullptr, StepUntilStopped, &state, 0), nullptr);
    ASSERT_TRUE(StepsAdvance(state, 0));
    EXPECT_EQ(thread.Suspend(), 0u);
    EXPECT_EQ(thread.Suspend(), 1u);
    int nPaused = 0;
    ASSERT_TRUE(StepsSettle(state, nPaused)); // the step under way ends at its poll point
    XfnSysSleep(50);
    EXPECT_EQ(state.nSteps.load(), nPaused);
    EXPECT_EQ(thread.Resume(), 2u);
    XfnSysSleep(20);
    EXPECT_EQ(state.nSteps.load(), nPaused); // one count still holds it
    EXPECT_EQ(thread.Resume(), 1u);
    EXPECT_TRUE(StepsAdvance(state, nPaused));
    EXPECT_EQ(thread.Resume(), 0u);
    EXPECT_EQ(thread.Terminate(), 1);
}

TEST(XThread, TerminateReleasesAThreadThatWasNeverResumed)
{
    XLoopState state;
    XThread thread;
    state.pThread = &thread;
    ASSERT_NE(thread.Create(nullptr, nullptr, StepUntilStopped, &state, 1), nullptr);
    EXPECT_EQ(thread.Terminate(), 1);
    EXPECT_TRUE(state.bStarted.load()); // it ran, saw bStop and left
    EXPECT_EQ(state.nSteps.load(), 0);
    EXPECT_EQ(thread.IsValid(), 0);
}

TEST(XThread, CreateAgainEndsTheRunningThreadFirst)
{
    XLoopState first, second;
    XThread thread;
    first.pThread = second.pThread = &thread;
    void* hFirst = thread.Create(nullptr, nullptr, StepUntilStopped, &first, 0);
    ASSERT_NE(hFirst, nullptr);
    ASSERT_TRUE(StepsAdvance(first, 0));
    ASSERT_NE(thread.Create(nullptr, nullptr, StepUntilStopped, &second, 0), nullptr);
    int nFirstSteps = first.nSteps.load();
    EXPECT_EQ(thread.bStop, 0);
    EXPECT_TRUE(StepsAdvance(second, 0));
    EXPECT_EQ(first.nSteps.load(), nFirstSteps); // the first thread had ended
}

struct XSelfTerminate {
    XThread* pThread = nullptr;
    std::atomic<int> nResult{-1};
};

DWORD TerminateFromInside(void* pParam)
{
    XSelfTerminate* pState = static_cast<XSelfTerminate*>(pParam);
    pState->nResult = pState->pThread->Terminate();
    return 0;
}

TEST(XThread, TerminateOnTheWorkerItselfRefusesToWait)
{
    XSelfTerminate state;
    XThread thread;
    state.pThread = &thread;
    // Started suspended, so that hThread is stored before the worker reads it.
    ASSERT_NE(thread.Create(nullptr, nullptr, TerminateFromInside, &state, 1), nullptr);
    thread.Resume();
    for (int i = 0; i < 5000 && state.nResult.load() < 0; ++i)
        XfnSysSleep(1);
    EXPECT_EQ(state.nResult.load(), 0);
    EXPECT_EQ(thread.IsValid(), 1);
    EXPECT_EQ(thread.Terminate(), 1);
}

TEST(XThread, CopiesShareTheThreadAndEitherEndsIt)
{
    XLoopState state;
    XThread thread;
    state.pThread = &thread;
    ASSERT_NE(thread.Create(nullptr, nullptr, StepUntilStopped, &state, 0), nullptr);
    {
        XThread copy(thread);
        EXPECT_EQ(copy.hThread, thread.hThread);
        // The worker polls the original's flag, so the copy stops it here.
        thread.bStop = 1;
    }
    EXPECT_EQ(thread.IsValid(), 1);
    EXPECT_EQ(thread.Terminate(), 1);

    XThread assigned;
    assigned.SetPercentRange(10, 20);
    XThread source;
    assigned = source;
    EXPECT_EQ(assigned.nPercentLow, 0);
    EXPECT_EQ(assigned.hThread, nullptr);
}

} // namespace
