// Sequential transfers of 1 GiB: XFile against plain read and write with the
// same buffer sizes, and XMMFile's windowed reads against read. The files
// live on a memory file system where there is one, so that the figures show
// the cost of the calls and not of a disk. The baselines call the system
// directly, which is the point of the comparison.
#include "KVDbase/files/XFile.h"
#include "KVDbase/files/XMMFile.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

const int64_t kTotal = int64_t(1) << 30;

std::string BenchPath(const char* pszName)
{
    std::filesystem::path dir = std::filesystem::exists("/dev/shm") ? std::filesystem::path("/dev/shm")
                                                                     : std::filesystem::temp_directory_path();
    return (dir / pszName).string();
}

// The file that the read benchmarks read, made once.
const std::string& SourceFile()
{
    static const std::string path = [] {
        std::string p = BenchPath("kvd-files-bench-source.bin");
        XFile file(p.c_str(), XFile::flagWrite | XFile::flagCreate);
        std::vector<char> buf(1 << 20, 's');
        for (int64_t n = 0; n < kTotal; n += static_cast<int64_t>(buf.size()))
            file.Write(buf.data(), static_cast<unsigned int>(buf.size()));
        return p;
    }();
    return path;
}

void Finish(benchmark::State& state)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kTotal);
}

void BM_WriteXFile(benchmark::State& state)
{
    const std::string path = BenchPath("kvd-files-bench-x.bin");
    std::vector<char> buf(static_cast<size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        XFile file(path.c_str(), XFile::flagWrite | XFile::flagCreate);
        for (int64_t n = 0; n < kTotal; n += static_cast<int64_t>(buf.size()))
            file.Write(buf.data(), static_cast<unsigned int>(buf.size()));
        file.Close();
    }
    Finish(state);
    std::filesystem::remove(path);
}

void BM_WritePlain(benchmark::State& state)
{
    const std::string path = BenchPath("kvd-files-bench-p.bin");
    std::vector<char> buf(static_cast<size_t>(state.range(0)), 'p');
    for (auto _ : state) {
        int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        for (int64_t n = 0; n < kTotal; n += static_cast<int64_t>(buf.size()))
            if (write(fd, buf.data(), buf.size()) != static_cast<ssize_t>(buf.size()))
                state.SkipWithError("write failed");
        close(fd);
    }
    Finish(state);
    std::filesystem::remove(path);
}

void BM_ReadXFile(benchmark::State& state)
{
    const std::string& path = SourceFile();
    std::vector<char> buf(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        XFile file(path.c_str(), XFile::flagRead);
        while (file.Read(buf.data(), static_cast<unsigned int>(buf.size())) != 0)
            benchmark::DoNotOptimize(buf.data());
    }
    Finish(state);
}

void BM_ReadPlain(benchmark::State& state)
{
    const std::string& path = SourceFile();
    std::vector<char> buf(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        int fd = open(path.c_str(), O_RDONLY);
        while (read(fd, buf.data(), buf.size()) > 0)
            benchmark::DoNotOptimize(buf.data());
        close(fd);
    }
    Finish(state);
}

void BM_ReadXMMFile(benchmark::State& state)
{
    const std::string& path = SourceFile();
    std::vector<unsigned char> buf(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        XMMFile file;
        if (!file.Open(path.c_str(), XFile::flagRead))
            state.SkipWithError("open failed");
        while (file.Read(buf.data(), static_cast<unsigned int>(buf.size())) != 0)
            benchmark::DoNotOptimize(buf.data());
    }
    Finish(state);
}

#define KVD_FILES_SIZES ->Arg(64 << 10)->Arg(1 << 20)->Unit(benchmark::kMillisecond)->UseRealTime()
BENCHMARK(BM_WritePlain) KVD_FILES_SIZES;
BENCHMARK(BM_WriteXFile) KVD_FILES_SIZES;
BENCHMARK(BM_ReadPlain) KVD_FILES_SIZES;
BENCHMARK(BM_ReadXFile) KVD_FILES_SIZES;
BENCHMARK(BM_ReadXMMFile) KVD_FILES_SIZES;

// The source file goes when the program ends.
struct SourceRemover {
    ~SourceRemover()
    {
        std::error_code ec;
        std::filesystem::remove(BenchPath("kvd-files-bench-source.bin"), ec);
    }
} g_sourceRemover;

} // namespace

BENCHMARK_MAIN();
