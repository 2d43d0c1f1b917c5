#include "KVDbase/workers/XParallelProcess.h"

#include "platform/XSysThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace {

// Records, for each worker index, how often OnRun ran and on which thread.
class XRecorder : public XParallelProcess {
public:
    static const int nSlots = 128;
    std::atomic<int> anRuns[nSlots] = {};
    std::atomic<DWORD> anThreadIds[nSlots] = {};
    XRecorder() = default;
    explicit XRecorder(const XParallelProcess& src) : XParallelProcess(src) {}

    void OnRun(int nThread) override
    {
        anRuns[nThread]++;
        anThreadIds[nThread] = XfnSysGetCurrentThreadId();
    }
    int TotalRuns() const
    {
        int n = 0;
        for (const std::atomic<int>& r : anRuns)
            n += r.load();
        return n;
    }
};

TEST(XParallelProcess, WithoutWorkersRunCallsOnRunZeroOnTheCallerAndANegativeCountNothing)
{
    XRecorder never, zero, negative;
    zero.Create(0, false);
    negative.Create(-3, false);
    for (XRecorder* p : {&never, &zero}) {
        EXPECT_TRUE(p->Run());
        EXPECT_EQ(p->anRuns[0].load(), 1);
        EXPECT_EQ(p->anThreadIds[0].load(), XfnSysGetCurrentThreadId());
        EXPECT_EQ(p->GetPercent(), 0);
    }
    EXPECT_EQ(zero.GetNumThreads(), 0);
    EXPECT_TRUE(zero.Quit());
    EXPECT_EQ(negative.GetNumThreads(), -3);
    EXPECT_TRUE(negative.Run());
    EXPECT_EQ(negative.TotalRuns(), 0);
}

// Every run calls each worker once on its own thread, which lives across runs; worker i is pinned to
// processor i, the mask wrapping at 32, and a worker whose processor this machine lacks is not pinned.
TEST(XParallelProcess, EachRunCallsEveryWorkerOnceOnItsOwnPinnedThread)
{
    const int nProcessors = XfnSysGetProcessorCount();
    const int nWorkers = nProcessors + 2 > 33 ? nProcessors + 2 : 33;
    XRecorder work;
    work.Create(nWorkers, false);
    ASSERT_EQ(work.GetNumThreads(), nWorkers);
    for (int i = 0; i < nProcessors && i < 32; ++i)
        EXPECT_EQ(XfnSysGetThreadAffinityMask(work.phThreads[i]), uint64_t(1) << i) << "worker " << i;
    EXPECT_EQ(XfnSysGetThreadAffinityMask(work.phThreads[32]), 1u);
    if (nProcessors > 1 && nProcessors < 32) {
        EXPECT_GT(__builtin_popcountll(XfnSysGetThreadAffinityMask(work.phThreads[nProcessors])), 1);
    }
    for (int nRun = 1; nRun <= 20; ++nRun) {
        ASSERT_TRUE(work.Run());
        for (int i = 0; i < nWorkers; ++i)
            ASSERT_EQ(work.anRuns[i].load(), nRun) << "worker " << i;
    }
    for (int i = 0; i < nWorkers; ++i) {
        EXPECT_TRUE(work.IsValid(i));
        EXPECT_EQ(work.anThreadIds[i].load(), work.GetThreadID(i));
        EXPECT_NE(work.GetThreadID(i), XfnSysGetCurrentThreadId());
    }
    EXPECT_NE(work.GetThreadID(0), work.GetThreadID(1));
    EXPECT_FALSE(work.IsValid(nWorkers));
    EXPECT_EQ(work.GetThreadID(nWorkers), 0u);
    EXPECT_TRUE(work.Quit());
    EXPECT_EQ(work.GetNumThreads(), 0);
    work.Create(-1, false); // one worker per processor
    EXPECT_EQ(work.GetNumThreads(), nProcessors);
}

TEST(XParallelProcess, SuspendedWorkersStartWithTheFirstRunAndCreateAgainEndsTheFirstSet)
{
    XRecorder quitOnly;
    quitOnly.Create(2, true);
    EXPECT_TRUE(quitOnly.IsValid(1));
    XfnSysSleep(20);
    EXPECT_TRUE(quitOnly.Quit());
    EXPECT_EQ(quitOnly.TotalRuns(), 0);

    XRecorder work;
    work.Create(2, true);
    HANDLE hFirst = XfnSysDuplicateThreadHandle(work.phThreads[0]);
    EXPECT_TRUE(work.Run());
    EXPECT_EQ(work.anRuns[0].load(), 1);
    EXPECT_EQ(work.anRuns[1].load(), 1);
    work.Create(2, false);
    EXPECT_TRUE(XfnSysIsThreadFinished(hFirst));
    EXPECT_EQ(XfnSysGetThreadExitCode(hFirst), 1u); // left through its quit event
    XfnSysCloseThread(hFirst);
    EXPECT_TRUE(work.Run());
    EXPECT_EQ(work.TotalRuns(), 4);
}

// Each worker reports a percent of its own, waits for a gate to open and can wait for a cancel.
class XReporter : public XParallelProcess {
public:
    bool bWaitForCancel = false;
    std::atomic<bool> bGate{true};
    std::atomic<int> nEntered{0}, nSawCancel{0}, nDone{0};
    void OnRun(int nThread) override
    {
        OnMessagePercent(nThread, 50 * (nThread + 1));
        for (int i = 0; i < 10000 && !bGate.load(); ++i)
            XfnSysSleep(1);
        nDone++;
        if (!bWaitForCancel)
            return;
        nEntered++;
        for (int i = 0; i < 10000 && !IsCanceled(); ++i)
            XfnSysSleep(1);
        if (IsCanceled())
            nSawCancel++;
    }
};

TEST(XParallelProcess, CancelReachesRunningWorkersPercentIsTheMeanAndPast64RunDoesNotWait)
{
    XReporter work;
    work.bWaitForCancel = true;
    work.Create(2, false);
    // Cancels once both workers are inside OnRun.
    auto canceller = [](void* p) -> DWORD {
        XReporter* pWork = static_cast<XReporter*>(p);
        for (int i = 0; i < 10000 && pWork->nEntered.load() < 2; ++i)
            XfnSysSleep(1);
        pWork->Cancel();
        return 0;
    };
    HANDLE hCanceller = XfnSysCreateThread(canceller, &work, false, nullptr);
    ASSERT_NE(hCanceller, nullptr);
    EXPECT_TRUE(work.Run());
    EXPECT_EQ(work.nSawCancel.load(), 2);
    EXPECT_TRUE(work.IsCanceled());
    XfnSysCloseThread(hCanceller);

    work.bWaitForCancel = false;
    work.Cancel();
    EXPECT_TRUE(work.Run());
    EXPECT_FALSE(work.IsCanceled());
    // The percent is the mean of the workers'; an index out of range is ignored.
    EXPECT_EQ(work.GetPercent(0), 50);
    EXPECT_EQ(work.GetPercent(1), 100);
    EXPECT_EQ(work.GetPercent(2), 0);
    EXPECT_EQ(work.GetPercent(), 75);
    work.OnMessagePercent(5, 99);
    EXPECT_EQ(work.GetPercent(), 75);

    // One wait takes at most 64 events: with more workers Run returns before they finish.
    work.bGate = false;
    work.nDone = 0;
    work.Create(65, false);
    EXPECT_TRUE(work.Run());
    EXPECT_LT(work.nDone.load(), 65);
    work.bGate = true;
    for (int i = 0; i < 5000 && work.nDone.load() < 65; ++i)
        XfnSysSleep(1);
    EXPECT_EQ(work.nDone.load(), 65); // every worker did start
    EXPECT_TRUE(work.Quit());
}

TEST(XParallelProcess, CopiesShareTheWorkersAndTheFirstQuitEndsThem)
{
    std::unique_ptr<XRecorder> pWork(new XRecorder);
    pWork->Create(2, false);
    ASSERT_TRUE(pWork->Run());
    XRecorder assigned;
    static_cast<XParallelProcess&>(assigned) = *pWork;
    static_cast<XParallelProcess&>(assigned) = static_cast<XParallelProcess&>(assigned);
    std::unique_ptr<XRecorder> pCopy(new XRecorder(static_cast<const XParallelProcess&>(*pWork)));
    EXPECT_EQ(assigned.phThreads, pWork->phThreads);
    EXPECT_EQ(pCopy->phThreads, pWork->phThreads);
    pWork.reset(); // ends the shared workers; the copies keep the arrays
    pCopy.reset(); // and the last one frees them
    EXPECT_EQ(assigned.GetNumThreads(), 2);
    EXPECT_FALSE(assigned.IsValid(0));
    EXPECT_FALSE(assigned.Run());
    EXPECT_TRUE(assigned.Quit());
    EXPECT_EQ(assigned.phThreads, nullptr);
}

} // namespace
