// The archive against cereal's binary archive: primitives one by one, short
// strings, and an array of small objects with identity tracking. Both write
// to and read from memory.
#include "KVDbase/KVDbase.h"

#include <benchmark/benchmark.h>
#include <cereal/archives/binary.hpp>
#include <cereal/types/memory.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

const int kInts = 10000000;
const int kStrings = 1000000;
const int kObjects = 100000;
const unsigned int kGrowStep = 64u << 20;

class XBenchPoint : public XObject {
    XDECLARE_DYNCREATE(XBenchPoint)
public:
    int nX = 0;
    int nY = 0;
    void Serialize(XArchive& ar) override
    {
        XObject::Serialize(ar);
        if (ar.IsStoring())
            ar << nX << nY;
        else
            ar >> nX >> nY;
    }
};
XIMPLEMENT_DYNCREATE(XBenchPoint, XObject)

struct CerealPoint {
    int nX = 0;
    int nY = 0;
    template <class Archive> void serialize(Archive& ar) { ar(nX, nY); }
};

std::vector<std::string> MakeStdStrings()
{
    std::vector<std::string> v;
    v.reserve(kStrings);
    for (int i = 0; i < kStrings; ++i)
        v.push_back("name_" + std::to_string(i));
    return v;
}

// ------------------------------------------------------------------- ints

void BM_XArchiveStoreInts(benchmark::State& state)
{
    for (auto _ : state) {
        XMemFile file(kGrowStep);
        XArchive ar(&file, XArchive::store);
        for (int i = 0; i < kInts; ++i)
            ar << i;
        ar.Close();
        benchmark::DoNotOptimize(file.GetLength());
    }
    state.SetItemsProcessed(state.iterations() * kInts);
}
BENCHMARK(BM_XArchiveStoreInts)->Unit(benchmark::kMillisecond);

void BM_CerealStoreInts(benchmark::State& state)
{
    for (auto _ : state) {
        std::ostringstream os;
        {
            cereal::BinaryOutputArchive ar(os);
            for (int i = 0; i < kInts; ++i)
                ar(i);
        }
        benchmark::DoNotOptimize(os.tellp());
    }
    state.SetItemsProcessed(state.iterations() * kInts);
}
BENCHMARK(BM_CerealStoreInts)->Unit(benchmark::kMillisecond);

void BM_XArchiveLoadInts(benchmark::State& state)
{
    XMemFile file(kGrowStep);
    {
        XArchive ar(&file, XArchive::store);
        for (int i = 0; i < kInts; ++i)
            ar << i;
        ar.Close();
    }
    for (auto _ : state) {
        file.SeekToBegin();
        XArchive ar(&file, XArchive::load);
        int n = 0;
        long long nSum = 0;
        for (int i = 0; i < kInts; ++i) {
            ar >> n;
            nSum += n;
        }
        benchmark::DoNotOptimize(nSum);
    }
    state.SetItemsProcessed(state.iterations() * kInts);
}
BENCHMARK(BM_XArchiveLoadInts)->Unit(benchmark::kMillisecond);

void BM_CerealLoadInts(benchmark::State& state)
{
    std::ostringstream os;
    {
        cereal::BinaryOutputArchive ar(os);
        for (int i = 0; i < kInts; ++i)
            ar(i);
    }
    std::string strData = os.str();
    for (auto _ : state) {
        std::istringstream is(strData);
        cereal::BinaryInputArchive ar(is);
        int n = 0;
        long long nSum = 0;
        for (int i = 0; i < kInts; ++i) {
            ar(n);
            nSum += n;
        }
        benchmark::DoNotOptimize(nSum);
    }
    state.SetItemsProcessed(state.iterations() * kInts);
}
BENCHMARK(BM_CerealLoadInts)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- strings

void BM_XArchiveStoreStrings(benchmark::State& state)
{
    std::vector<XString> strings;
    for (const std::string& s : MakeStdStrings())
        strings.push_back(s.c_str());
    for (auto _ : state) {
        XMemFile file(kGrowStep);
        XArchive ar(&file, XArchive::store);
        for (const XString& s : strings)
            ar << s;
        ar.Close();
        benchmark::DoNotOptimize(file.GetLength());
    }
    state.SetItemsProcessed(state.iterations() * kStrings);
}
BENCHMARK(BM_XArchiveStoreStrings)->Unit(benchmark::kMillisecond);

void BM_CerealStoreStrings(benchmark::State& state)
{
    std::vector<std::string> strings = MakeStdStrings();
    for (auto _ : state) {
        std::ostringstream os;
        {
            cereal::BinaryOutputArchive ar(os);
            for (const std::string& s : strings)
                ar(s);
        }
        benchmark::DoNotOptimize(os.tellp());
    }
    state.SetItemsProcessed(state.iterations() * kStrings);
}
BENCHMARK(BM_CerealStoreStrings)->Unit(benchmark::kMillisecond);

void BM_XArchiveLoadStrings(benchmark::State& state)
{
    XMemFile file(kGrowStep);
    {
        XArchive ar(&file, XArchive::store);
        for (const std::string& s : MakeStdStrings())
            ar << XString(s.c_str());
        ar.Close();
    }
    std::vector<XString> strings(kStrings);
    for (auto _ : state) {
        file.SeekToBegin();
        XArchive ar(&file, XArchive::load);
        for (XString& s : strings)
            ar >> s;
        benchmark::DoNotOptimize(strings.back().GetLength());
    }
    state.SetItemsProcessed(state.iterations() * kStrings);
}
BENCHMARK(BM_XArchiveLoadStrings)->Unit(benchmark::kMillisecond);

void BM_CerealLoadStrings(benchmark::State& state)
{
    std::ostringstream os;
    {
        cereal::BinaryOutputArchive ar(os);
        for (const std::string& s : MakeStdStrings())
            ar(s);
    }
    std::string strData = os.str();
    std::vector<std::string> strings(kStrings);
    for (auto _ : state) {
        std::istringstream is(strData);
        cereal::BinaryInputArchive ar(is);
        for (std::string& s : strings)
            ar(s);
        benchmark::DoNotOptimize(strings.back().size());
    }
    state.SetItemsProcessed(state.iterations() * kStrings);
}
BENCHMARK(BM_CerealLoadStrings)->Unit(benchmark::kMillisecond);

// ---------------------------------------------------------------- objects

void BM_XArchiveObjects(benchmark::State& state)
{
    XObArray points;
    for (int i = 0; i < kObjects; ++i) {
        XBenchPoint* p = new XBenchPoint;
        p->nX = i;
        p->nY = -i;
        points.Add(p);
    }
    for (auto _ : state) {
        XMemFile file(kGrowStep);
        {
            XArchive ar(&file, XArchive::store);
            ar.SetStoreParams(262147, 1024);
            ar << &points;
            ar.Close();
        }
        file.SeekToBegin();
        XArchive ar(&file, XArchive::load);
        ar.SetLoadParams(kObjects * 2);
        XObArray* pBack = nullptr;
        ar >> pBack;
        for (int i = 0; i < pBack->GetSize(); ++i)
            delete pBack->GetAt(i);
        delete pBack;
    }
    for (int i = 0; i < points.GetSize(); ++i)
        delete points[i];
    state.SetItemsProcessed(state.iterations() * kObjects);
}
BENCHMARK(BM_XArchiveObjects)->Unit(benchmark::kMillisecond);

void BM_CerealObjects(benchmark::State& state)
{
    std::vector<std::shared_ptr<CerealPoint>> points;
    for (int i = 0; i < kObjects; ++i) {
        points.push_back(std::make_shared<CerealPoint>());
        points.back()->nX = i;
        points.back()->nY = -i;
    }
    for (auto _ : state) {
        std::stringstream ss;
        {
            cereal::BinaryOutputArchive ar(ss);
            ar(points);
        }
        std::vector<std::shared_ptr<CerealPoint>> back;
        {
            cereal::BinaryInputArchive ar(ss);
            ar(back);
        }
        benchmark::DoNotOptimize(back.size());
    }
    state.SetItemsProcessed(state.iterations() * kObjects);
}
BENCHMARK(BM_CerealObjects)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
