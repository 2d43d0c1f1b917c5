// Workers: a background task on an XThread that reports its progress through
// the message queue that stands in for a window, a task stopped from outside,
// and a sum split over the workers of an XParallelProcess, run twice.
#include "KVDbase/KVDbase.h"

#include <cstdio>
#include <vector>

namespace {

int g_nFailures = 0;

void Check(bool bOk, const char* pszWhat)
{
    std::printf("  [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

// Sums 1..n, reporting progress; pParam is the XThread (Create gets no
// parameter of its own) and pUserData the count.
DWORD SumTask(void* pParam)
{
    XThread* pThread = static_cast<XThread*>(pParam);
    int n = *static_cast<int*>(pThread->pUserData);
    int64_t nSum = 0;
    for (int i = 1; i <= n; ++i) {
        nSum += i;
        if (i % 1000 == 0)
            pThread->CallbackPercent(100.0 * i / n);
    }
    XString strResult;
    strResult.Format("sum %I64d", nSum);
    pThread->CallbackText(strResult);
    pThread->CallbackSuccess();
    return 0;
}

// Runs until told to stop, then says it was cancelled.
DWORD EndlessTask(void* pParam)
{
    XThread* pThread = static_cast<XThread*>(pParam);
    pThread->CallbackText("running");
    while (!pThread->CheckStop()) {
    }
    pThread->CallbackCancel();
    return 0;
}

// Each worker sums its own stripe of the values.
class XStripeSum : public XParallelProcess {
public:
    std::vector<int> vecValues;
    std::vector<int64_t> vecPartial;
    void OnRun(int nThread) override
    {
        int nWorkers = GetNumThreads() > 0 ? GetNumThreads() : 1;
        for (size_t i = static_cast<size_t>(nThread); i < vecValues.size(); i += static_cast<size_t>(nWorkers))
            vecPartial[static_cast<size_t>(nThread)] += vecValues[i];
    }
};

} // namespace

int main()
{
    std::printf("Workers\n");
    XMessageQueue queue;
    XThread job;
    int nCount = 100000;
    Check(job.Create(&nCount, &queue, SumTask, nullptr, 0) != nullptr, "XThread started the sum");
    tagXMessage msg;
    int nMessages = 0;
    while (queue.Get(msg, 5000) && reinterpret_cast<XThread*>(msg.wParam)->nLastCode != XTHREAD_SUCCESS)
        ++nMessages;
    job.Terminate(); // joins the thread: every message is now queued
    while (queue.Peek(msg))
        ++nMessages;
    std::printf("  %d messages, last percent %d, \"%s\"\n", nMessages, job.nLastPercent,
                static_cast<const char*>(job.strMessage));
    Check(job.nLastPercent == 100 && job.strMessage == "sum 5000050000" && nMessages >= 100,
          "progress reached 100 and the result came back as text");

    XThread endless;
    endless.Create(nullptr, &queue, EndlessTask, nullptr, 0);
    Check(queue.Get(msg, 5000) && msg.wParam == reinterpret_cast<uintptr_t>(&endless), "the endless task runs");
    Check(endless.Terminate() == 1 && endless.nLastCode == XTHREAD_CANCEL && !endless.IsValid(),
          "Terminate stops it at its next CheckStop");

    XStripeSum sum;
    for (int i = 1; i <= 10000; ++i)
        sum.vecValues.push_back(i);
    sum.Create(-1, false); // one worker per processor
    std::printf("  XParallelProcess with %d workers\n", sum.GetNumThreads());
    bool bBoth = true;
    for (int nRun = 0; nRun < 2; ++nRun) {
        sum.vecPartial.assign(static_cast<size_t>(sum.GetNumThreads() > 0 ? sum.GetNumThreads() : 1), 0);
        bool bRan = sum.Run();
        int64_t nTotal = 0;
        for (int64_t n : sum.vecPartial)
            nTotal += n;
        bBoth = bBoth && bRan && nTotal == 50005000;
    }
    Check(bBoth, "two runs on the same workers each sum to 50005000");
    Check(sum.Quit(), "Quit ends and joins the workers");

    std::printf("%s\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED");
    return g_nFailures == 0 ? 0 : 1;
}
