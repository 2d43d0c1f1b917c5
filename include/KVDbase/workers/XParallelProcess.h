// XParallelProcess: abstract base for data-parallel work. Create starts a
// fixed set of workers, worker i pinned to processor i; each Run wakes them
// all to call OnRun(i) once and waits until every one is done. Run and Quit
// belong to one controlling thread; Cancel may come from any. No exceptions:
// results are bool, and a worker that failed to start shows as invalid.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

class XParallelProcess;

// What each worker is given: its owner and its index.
struct tagXParallelParam {
    XParallelProcess* pOwner;
    int nIndex;
};

class KVD_API XParallelProcess {
public:
    HANDLE* phThreads;                  // one thread per worker; null after Quit
    DWORD* pdwThreadIDs;                // kernel thread ids
    tagXParallelParam* pThreadParams;   // owner and index of each worker
    volatile bool bCanceled;            // cooperative cancel, polled by OnRun
    int* pnPercents;                    // last percent reported by each worker
    int nThreads;                       // number of workers; 0 when not created
    HANDLE* phStartEvents;              // auto-reset: start one run
    HANDLE* phQuitEvents;               // auto-reset: leave the worker loop
    HANDLE* phDoneEvents;               // auto-reset: the run is finished

    XParallelProcess();
    // A copy shares the workers and the arrays; it is not for running. The
    // workers end with the first Quit or destructor of any of the copies,
    // and the arrays are freed with the last.
    XParallelProcess(const XParallelProcess& src);
    XParallelProcess& operator=(const XParallelProcess& src);
    virtual ~XParallelProcess();

    // The work of worker nThread, called once per Run on that worker.
    virtual void OnRun(int nThread) = 0;
    // Stores a worker's percent; OnRun calls it, derived classes may extend it.
    virtual void OnMessagePercent(int thread, int percent);
    // The mean percent of all workers, 0 without workers.
    virtual int GetPercent();
    virtual int GetPercent(int thread);

    // Ends an earlier set, then starts numThreads workers (-1: one per
    // processor). With suspended each worker waits at its start gate until
    // the first Run or Quit.
    void Create(int numThreads, bool suspended);
    // Runs OnRun on every worker and waits for all of them. Without workers
    // OnRun(0) runs on the calling thread. False when a worker is invalid.
    bool Run();
    // Cancels, ends and joins every worker, and frees the arrays.
    bool Quit();
    void Cancel();
    bool IsCanceled();

    int GetNumThreads();
    bool IsValid(int thread);
    DWORD GetThreadID(int thread);

protected:
    bool Alloc(int numThreads);
    void Free();

private:
    void EndWorker(int i);
};
