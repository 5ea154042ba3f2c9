// Text file: SetEntry in a large configuration file whose section lies near
// the end (must grow linearly with the file), insertion near the start of a
// 50 MB file, a plain line-by-line read, and the two whole-file scans over
// 100,000 lines: in blocks, and over the file mapped.
#include "textfile/CTextFile.h"
#include "textfile/CrLfLines.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

std::string tempPath(const std::string& name)
{
    return (std::filesystem::temp_directory_path() / ("kau_textfile_bench_" + std::to_string(getpid()) + "_" + name))
        .string();
}

// A configuration file of about `bytes` bytes: many sections of ten entries,
// the last of them named [Target].
std::string makeConfig(std::size_t bytes)
{
    std::string out;
    for (int s = 0; out.size() < bytes; ++s) {
        out += "[Section" + std::to_string(s) + "]\r\n";
        for (int k = 0; k < 10; ++k)
            out += "key" + std::to_string(k) + " = value " + std::to_string(s * 10 + k) + "   // comment\r\n";
        out += "\r\n";
    }
    out += "[Target]\r\nalpha = 1\r\nbeta = 2 // the one we change\r\ngamma = 3\r\n";
    return out;
}

void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

void BM_SetEntryNearTheEnd(benchmark::State& state)
{
    const std::string path = tempPath("config.ini");
    writeFile(path, makeConfig(static_cast<std::size_t>(state.range(0)) * 1024 * 1024));
    kau::CTextFile file;
    file.OpenForWrite(path, false, false);
    bool flip = false;
    for (auto _ : state) {
        file.Close(); // forget the section memo: every call searches from the top
        file.OpenForWrite(path, false, false);
        flip = !flip;
        if (!file.SetEntry("Target", "beta", flip ? "22" : "2"))
            state.SkipWithError("SetEntry failed");
    }
    state.SetBytesProcessed(state.iterations() * state.range(0) * 1024 * 1024);
    file.Close();
    std::remove(path.c_str());
}
BENCHMARK(BM_SetEntryNearTheEnd)->Arg(1)->Arg(2)->Arg(5)->Arg(10)->Unit(benchmark::kMillisecond);

void BM_InsertNearTheStart(benchmark::State& state)
{
    const std::string path = tempPath("big.txt");
    const std::size_t size = static_cast<std::size_t>(state.range(0)) * 1024 * 1024;
    std::string line = std::string(98, 'x') + "\r\n";
    std::string bytes;
    bytes.reserve(size);
    while (bytes.size() < size)
        bytes += line;
    writeFile(path, bytes);
    kau::CTextFile file;
    file.OpenForWrite(path, false, false);
    for (auto _ : state) {
        file.GotoLine(2);
        if (!file.InsertLine("inserted near the start"))
            state.SkipWithError("InsertLine failed");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
    file.Close();
    std::remove(path.c_str());
}
BENCHMARK(BM_InsertNearTheStart)->Arg(10)->Arg(50)->Unit(benchmark::kMillisecond);

void BM_ReadAllLines(benchmark::State& state)
{
    const std::string path = tempPath("read.ini");
    writeFile(path, makeConfig(10 * 1024 * 1024));
    kau::CTextFile file;
    file.OpenRead(path, false);
    std::string line;
    for (auto _ : state) {
        std::size_t n = 0;
        file.Rewind();
        while (file.ReadLine(line)) {
            ++n;
            if (!file.NextLine(1))
                break;
        }
        benchmark::DoNotOptimize(n);
    }
    state.SetBytesProcessed(state.iterations() * 10 * 1024 * 1024);
    file.Close();
    std::remove(path.c_str());
}
BENCHMARK(BM_ReadAllLines)->Unit(benchmark::kMillisecond);

// 100,000 lines of a revision file; range(0) 0: ScanLines, 1: MapWhole and VisitAllCrLfLines.
void BM_WholeFileScan(benchmark::State& state)
{
    const std::string path = tempPath("lines.rel");
    std::string bytes;
    for (int i = 0; i < 100000; ++i)
        bytes += "Modules\\Component" + std::to_string(i) + ".so; 1." + std::to_string(10 + i % 90) + ".01\r\n";
    writeFile(path, bytes);
    kau::CTextFile file;
    file.OpenRead(path, false);
    for (auto _ : state) {
        std::size_t n = 0;
        const auto count = [&n](std::string_view line) { n += !line.empty(); };
        file.Rewind();
        if (state.range(0) == 0)
            file.ScanLines(count);
        else
            kau::VisitAllCrLfLines(file.MapWhole()->view(), count);
        if (n != 100000)
            state.SkipWithError("wrong line count");
    }
    file.Close();
    std::remove(path.c_str());
}
BENCHMARK(BM_WholeFileScan)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
