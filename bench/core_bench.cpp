// Strings against the standard library: copying, concatenation and
// formatting. Each pair runs the same work on XString and on its peer.
#include "KVDbase/core/XString.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

namespace {

const char* const kText100 =
    "A line of exactly one hundred bytes, long enough that no small-string optimisation can keep it inline.";

void BM_XStringCopy100(benchmark::State& state)
{
    XString src(kText100);
    for (auto _ : state) {
        XString copy(src);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_XStringCopy100);

void BM_StdStringCopy100(benchmark::State& state)
{
    std::string src(kText100);
    for (auto _ : state) {
        std::string copy(src);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_StdStringCopy100);

void BM_XStringConcat(benchmark::State& state)
{
    XString a("first part of the text, "), b("second part of the text");
    for (auto _ : state) {
        XString s = a + b;
        s += " and a tail";
        benchmark::DoNotOptimize(s);
    }
}
BENCHMARK(BM_XStringConcat);

void BM_StdStringConcat(benchmark::State& state)
{
    std::string a("first part of the text, "), b("second part of the text");
    for (auto _ : state) {
        std::string s = a + b;
        s += " and a tail";
        benchmark::DoNotOptimize(s);
    }
}
BENCHMARK(BM_StdStringConcat);

void BM_XStringAppendChars(benchmark::State& state)
{
    for (auto _ : state) {
        XString s;
        for (int i = 0; i < 1000; ++i)
            s += 'x';
        benchmark::DoNotOptimize(s);
    }
}
BENCHMARK(BM_XStringAppendChars);

void BM_StdStringAppendChars(benchmark::State& state)
{
    for (auto _ : state) {
        std::string s;
        for (int i = 0; i < 1000; ++i)
            s += 'x';
        benchmark::DoNotOptimize(s);
    }
}
BENCHMARK(BM_StdStringAppendChars);

void BM_XStringFormat(benchmark::State& state)
{
    XString s;
    int n = 0;
    for (auto _ : state) {
        s.Format("tile %d of %s at %.3f", ++n, "band-7", 12.5 + n);
        benchmark::DoNotOptimize(s);
    }
}
BENCHMARK(BM_XStringFormat);

void BM_SnprintfStack(benchmark::State& state)
{
    char buf[128];
    int n = 0;
    for (auto _ : state) {
        std::snprintf(buf, sizeof(buf), "tile %d of %s at %.3f", ++n, "band-7", 12.5 + n);
        benchmark::DoNotOptimize(buf);
    }
}
BENCHMARK(BM_SnprintfStack);

void BM_XStringFormatInt(benchmark::State& state)
{
    XString s;
    int n = 0;
    for (auto _ : state) {
        s.Format("%d", ++n);
        benchmark::DoNotOptimize(s);
    }
}
BENCHMARK(BM_XStringFormatInt);

void BM_SnprintfStackInt(benchmark::State& state)
{
    char buf[32];
    int n = 0;
    for (auto _ : state) {
        std::snprintf(buf, sizeof(buf), "%d", ++n);
        benchmark::DoNotOptimize(buf);
    }
}
BENCHMARK(BM_SnprintfStackInt);

} // namespace

BENCHMARK_MAIN();
