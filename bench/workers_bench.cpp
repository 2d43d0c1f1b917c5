// Workers: the cost of one XParallelProcess::Run against starting and
// joining the same number of std::threads, and the speedup of a divisible
// workload on two workers against one.
#include "KVDbase/workers/XParallelProcess.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <thread>
#include <vector>

namespace {

class XEmptyWork : public XParallelProcess {
public:
    void OnRun(int) override {}
};

void BM_ParallelRunEmpty(benchmark::State& state)
{
    XEmptyWork work;
    work.Create(static_cast<int>(state.range(0)), false);
    for (auto _ : state)
        benchmark::DoNotOptimize(work.Run());
    work.Quit();
}
BENCHMARK(BM_ParallelRunEmpty)->Arg(2)->UseRealTime();

void BM_StdThreadStartJoin(benchmark::State& state)
{
    const int nThreads = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (int i = 0; i < nThreads; ++i)
            threads.emplace_back([] {});
        for (std::thread& t : threads)
            t.join();
    }
}
BENCHMARK(BM_StdThreadStartJoin)->Arg(2)->UseRealTime();

// A sum over 4 million elements, split into equal slices by worker index;
// each worker writes its own cache line.
class XSliceSum : public XParallelProcess {
public:
    std::vector<double> values;
    struct alignas(64) XSlot {
        double dSum;
    };
    XSlot aSums[64];
    int nSlices = 1;

    XSliceSum() : values(1 << 22)
    {
        for (size_t i = 0; i < values.size(); ++i)
            values[i] = static_cast<double>(i % 1000) * 0.001;
    }
    void OnRun(int nThread) override
    {
        const size_t nSlice = values.size() / static_cast<size_t>(nSlices);
        const size_t nBegin = nSlice * static_cast<size_t>(nThread);
        double dSum = 0.0;
        for (size_t i = nBegin; i < nBegin + nSlice; ++i)
            dSum += std::sqrt(values[i]) * std::exp(-values[i]);
        aSums[nThread].dSum = dSum;
    }
};

void BM_DivisibleWork(benchmark::State& state)
{
    XSliceSum work;
    work.nSlices = static_cast<int>(state.range(0));
    work.Create(work.nSlices, false);
    for (auto _ : state) {
        work.Run();
        double dTotal = 0.0;
        for (int i = 0; i < work.nSlices; ++i)
            dTotal += work.aSums[i].dSum;
        benchmark::DoNotOptimize(dTotal);
    }
    work.Quit();
}
BENCHMARK(BM_DivisibleWork)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
