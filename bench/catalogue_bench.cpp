// Revision catalogue on large lists: reading a 100,000-line revision file,
// comparing 100,000 remote against 100,000 local entries, and merging and
// rewriting the local file with 100,000 entries.
#include "catalogue/LocalRevisionUpdate.h"
#include "catalogue/ReleaseComparison.h"
#include "catalogue/RevisionFile.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

constexpr int kEntries = 100000;

std::string entryName(int i)
{
    return "Modules\\Group" + std::to_string(i % 97) + "\\Component" + std::to_string(i) + ".so";
}

std::string version(int i, int bump)
{
    return std::to_string(1 + i % 9) + "." + std::to_string(10 + (i + bump) % 80) + ".0" +
           std::to_string(i % 10);
}

struct Lists {
    kau::LocalRevisionList local;
    kau::RemoteRevisionList remote;
};

// Half of the remote entries are newer, a quarter equal, a quarter unknown locally.
Lists makeLists()
{
    Lists lists;
    for (int i = 0; i < kEntries; ++i) {
        lists.local.m_aNames.push_back(entryName(i));
        lists.local.m_aVersions.push_back(version(i, 0));
        const bool known = i % 4 != 3;
        std::string name = known ? entryName(i) : entryName(i + kEntries);
        if (i % 2 == 0)
            for (char& c : name)
                c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        lists.remote.m_aNames.push_back(name);
        lists.remote.m_aVersions.push_back(version(i, i % 2 == 0 ? 1 : 0));
        lists.remote.m_aTransferred.push_back(false);
    }
    return lists;
}

std::string scratchPath(const char* name)
{
    return (std::filesystem::temp_directory_path() /
            (std::string("kau_catalogue_bench_") + std::to_string(::getpid()) + "_" + name))
        .string();
}

void BM_ReadRevisionFile(benchmark::State& state)
{
    const std::string path = scratchPath("read.rel");
    {
        std::ofstream out(path, std::ios::binary);
        for (int i = 0; i < kEntries; ++i)
            out << entryName(i) << " ; " << version(i, 0) << " ;extra\r\n";
    }
    for (auto _ : state) {
        kau::RemoteRevisionList list;
        kau::ReadRemoteRevisions(list, path);
        if (list.m_aNames.size() != kEntries)
            state.SkipWithError("wrong record count");
        else
            benchmark::DoNotOptimize(list.m_aNames[kEntries - 1].data());
    }
    std::remove(path.c_str());
}
BENCHMARK(BM_ReadRevisionFile)->Unit(benchmark::kMillisecond);

void BM_CompareReleases(benchmark::State& state)
{
    const Lists lists = makeLists();
    kau::RemoteRevisionList remote;
    for (auto _ : state) {
        state.PauseTiming();
        remote = lists.remote;
        state.ResumeTiming();
        kau::CompareReleases(lists.local, remote, false);
        benchmark::DoNotOptimize(remote.m_aNames.size());
    }
}
BENCHMARK(BM_CompareReleases)->Unit(benchmark::kMillisecond);

void BM_UpdateLocalRevisions(benchmark::State& state)
{
    Lists lists = makeLists();
    kau::CompareReleases(lists.local, lists.remote, false);
    for (std::size_t i = 0; i < lists.remote.m_aNames.size(); i += 2)
        lists.remote.m_aTransferred[i] = true;
    const std::string path = scratchPath("RelInfoLocal.rel");
    kau::LocalRevisionList local;
    for (auto _ : state) {
        state.PauseTiming();
        local = lists.local;
        state.ResumeTiming();
        if (!kau::UpdateLocalRevisions(local, lists.remote, path))
            state.SkipWithError("write failed");
    }
    std::remove(path.c_str());
}
BENCHMARK(BM_UpdateLocalRevisions)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
