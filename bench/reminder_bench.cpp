// Time of RunStartSchedule on the host's thread: first use (no store file yet,
// four writes), a start with nothing due, and a due start that launches the
// worker. The worker is stopped outside the timed part.
#include "platform/Moment.h"
#include "reminder/CRegistryAccess.h"
#include "reminder/ReminderStore.h"
#include "reminder/StartSchedule.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

namespace {

using kau::CRegistryAccess;
using kau::RegistryHive;
using kau::StartSchedule;
namespace reminder = kau::reminder;

const std::string kProduct = "BenchProduct";

void removeStore()
{
    std::error_code ec;
    std::filesystem::remove_all(std::filesystem::path(reminder::StoreFilePath()).parent_path(), ec);
}

void writeSettings(std::uint32_t check)
{
    const std::string key = reminder::KeyPath(kProduct);
    CRegistryAccess reg;
    reg.WriteDword(RegistryHive::LocalMachine, key, reminder::kActive, 1);
    reg.WriteDword(RegistryHive::LocalMachine, key, reminder::kCheck, check);
    reg.WriteDword(RegistryHive::LocalMachine, key, reminder::kInterval, 5);
    reg.WriteString(RegistryHive::LocalMachine, key, reminder::kLastUpdate,
                    kau::Moment::now().format());
}

void BM_RunStartSchedule_FirstUse(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        removeStore();
        auto schedule = std::make_unique<StartSchedule>();
        state.ResumeTiming();
        benchmark::DoNotOptimize(schedule->RunStartSchedule(kProduct, [](const std::string&) {}));
        state.PauseTiming();
        schedule.reset();  // stops the waiting worker
        state.ResumeTiming();
    }
}
BENCHMARK(BM_RunStartSchedule_FirstUse)->Unit(benchmark::kMicrosecond);

void BM_RunStartSchedule_DueStartsWorker(benchmark::State& state)
{
    removeStore();
    writeSettings(0);
    for (auto _ : state) {
        state.PauseTiming();
        auto schedule = std::make_unique<StartSchedule>();
        state.ResumeTiming();
        benchmark::DoNotOptimize(schedule->RunStartSchedule(kProduct, [](const std::string&) {}));
        state.PauseTiming();
        schedule.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_RunStartSchedule_DueStartsWorker)->Unit(benchmark::kMicrosecond);

void BM_RunStartSchedule_NotDue(benchmark::State& state)
{
    removeStore();
    writeSettings(1);
    StartSchedule schedule;
    for (auto _ : state)
        benchmark::DoNotOptimize(schedule.RunStartSchedule(kProduct, [](const std::string&) {}));
}
BENCHMARK(BM_RunStartSchedule_NotDue)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    // A store of its own, so the user's settings are never touched.
    char dir[] = "/tmp/reminder_bench_XXXXXX";
    if (!::mkdtemp(dir))
        return 1;
    ::setenv("XDG_CONFIG_HOME", dir, 1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    return 0;
}
