// A drawing of one million points in polylines: recording it and saving it
// through XArchive to a file, and loading it back, against writing and reading
// the same bytes with plain write and read calls on the same file.

#include "KVDbase/core/XArchive.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/files/XFile.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const int kLines = 1000;
const int kPointsPerLine = 1000;

struct Drawing {
    std::vector<tagXVector3> points;
    std::vector<double> extents;
    Drawing()
    {
        points.resize(static_cast<size_t>(kLines) * kPointsPerLine);
        extents.resize(static_cast<size_t>(kLines) * 4);
        unsigned seed = 12345;
        for (int l = 0; l < kLines; ++l) {
            double* e = &extents[static_cast<size_t>(l) * 4];
            e[0] = e[1] = 1e300;
            e[2] = e[3] = -1e300;
            for (int i = 0; i < kPointsPerLine; ++i) {
                seed = seed * 1103515245u + 12345u;
                tagXVector3& p = points[static_cast<size_t>(l) * kPointsPerLine + i];
                p.x = 126.0 + (seed >> 8) * 1e-7;
                p.y = 37.0 + (seed & 0xFFFF) * 1e-5;
                p.z = 0.0;
                e[0] = std::min(e[0], p.x);
                e[1] = std::min(e[1], p.y);
                e[2] = std::max(e[2], p.x);
                e[3] = std::max(e[3], p.y);
            }
        }
    }
};

const Drawing& TheDrawing()
{
    static const Drawing drawing;
    return drawing;
}

std::string TempPath(const char* pszName)
{
    const char* pszDir = std::getenv("TMPDIR");
    return std::string(pszDir != nullptr ? pszDir : "/tmp") + "/kvd_drawing_bench_" + std::to_string(getpid()) + "_" +
           pszName;
}

void Record(XVertBuffer& vb)
{
    const Drawing& d = TheDrawing();
    vb.Start();
    tagXLineStyle style;
    vb.AddLineStyle(&style, 1.0, 0x000000FF, 1.0);
    for (int l = 0; l < kLines; ++l)
        vb.AddPolyline(&d.points[static_cast<size_t>(l) * kPointsPerLine], kPointsPerLine,
                       &d.extents[static_cast<size_t>(l) * 4]);
    vb.End();
}

void Save(XVertBuffer& vb, const std::string& strPath, int nBufSize = 4096)
{
    XFile file;
    file.Open(strPath.c_str(), XFile::flagCreate | XFile::flagWrite);
    XArchive ar(&file, XArchive::store, nBufSize);
    vb.Serialize(ar);
    ar.Close();
    file.Close();
}

std::vector<char> ReadAll(const std::string& strPath)
{
    std::vector<char> bytes;
    const int fd = open(strPath.c_str(), O_RDONLY);
    if (fd < 0)
        return bytes;
    const off_t nSize = lseek(fd, 0, SEEK_END);
    lseek(fd, 0, SEEK_SET);
    bytes.resize(static_cast<size_t>(nSize));
    size_t nDone = 0;
    while (nDone < bytes.size()) {
        const ssize_t n = read(fd, bytes.data() + nDone, bytes.size() - nDone);
        if (n <= 0)
            break;
        nDone += static_cast<size_t>(n);
    }
    close(fd);
    return bytes;
}

// Recording alone, for the split of the time above.
void BM_Record(benchmark::State& state)
{
    for (auto _ : state) {
        XVertBuffer vb;
        Record(vb);
        benchmark::DoNotOptimize(vb.GetRecord(1));
        state.PauseTiming(); // the buffer's release is not part of recording
        vb.Free();
        state.ResumeTiming();
    }
}

// The archive's buffer size is the argument: 4096 is the default and what
// Load uses; a larger one makes fewer, larger writes.
void BM_RecordAndSave(benchmark::State& state)
{
    const std::string strPath = TempPath("save_only.vb");
    for (auto _ : state) {
        XVertBuffer vb;
        Record(vb);
        Save(vb, strPath, static_cast<int>(state.range(0)));
    }
    const int64_t nBytes = static_cast<int64_t>(ReadAll(strPath).size());
    state.SetBytesProcessed(state.iterations() * nBytes);
    std::remove(strPath.c_str());
}

// The same bytes from memory to the file with write.
void BM_PlainWrite(benchmark::State& state)
{
    const std::string strSource = TempPath("source.vb");
    {
        XVertBuffer vb;
        Record(vb);
        Save(vb, strSource);
    }
    const std::vector<char> bytes = ReadAll(strSource);
    std::remove(strSource.c_str());
    const std::string strPath = TempPath("plain.vb");
    for (auto _ : state) {
        const int fd = open(strPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        size_t nDone = 0;
        while (nDone < bytes.size()) {
            const ssize_t n = write(fd, bytes.data() + nDone, bytes.size() - nDone);
            if (n <= 0)
                break;
            nDone += static_cast<size_t>(n);
        }
        close(fd);
        benchmark::DoNotOptimize(nDone);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
    std::remove(strPath.c_str());
}

void BM_Load(benchmark::State& state)
{
    const std::string strPath = TempPath("load.vb");
    {
        XVertBuffer vb;
        Record(vb);
        Save(vb, strPath);
    }
    const int64_t nBytes = static_cast<int64_t>(ReadAll(strPath).size());
    for (auto _ : state) {
        XVertBuffer vb;
        XFile file;
        file.Open(strPath.c_str(), XFile::flagRead);
        XArchive ar(&file, XArchive::load);
        vb.Serialize(ar);
        ar.Close();
        // Start, line style, width and colour, the polylines, End.
        if (vb.GetRecordCount() != kLines + 5) {
            state.SkipWithError("wrong record count");
            break;
        }
        state.PauseTiming(); // the buffer's release is not part of the load
        vb.Free();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * nBytes);
    std::remove(strPath.c_str());
}

// The same bytes from the file into memory with read.
void BM_PlainRead(benchmark::State& state)
{
    const std::string strPath = TempPath("plain_read.vb");
    {
        XVertBuffer vb;
        Record(vb);
        Save(vb, strPath);
    }
    std::vector<char> bytes = ReadAll(strPath);
    for (auto _ : state) {
        const int fd = open(strPath.c_str(), O_RDONLY);
        size_t nDone = 0;
        while (nDone < bytes.size()) {
            const ssize_t n = read(fd, bytes.data() + nDone, bytes.size() - nDone);
            if (n <= 0)
                break;
            nDone += static_cast<size_t>(n);
        }
        close(fd);
        benchmark::DoNotOptimize(bytes.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
    std::remove(strPath.c_str());
}

BENCHMARK(BM_RecordAndSave)->Arg(4096)->Arg(1 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Record)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainWrite)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlainRead)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
