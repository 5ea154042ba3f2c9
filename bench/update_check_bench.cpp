// One update check (connect, product directory, find and fetch of the remote
// revision file, comparison, the box answered No, disconnect) against the
// server that KORAUTOUPDATE_FTP_SERVER names, for bench/update_check_bench.sh.
//
//   update_check_bench [benchmark flags] <productKey> <installDir>
//
// Each iteration is one check on the same client, as the reminder object
// runs them. A check that does not end in the box of new files is an error.
#include "flows/UpdateCheck.h"
#include "platform/Box.h"
#include "server/CFtpFileClient.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

namespace {

std::string g_productKey;
std::string g_installDir;

class AnswerNo : public kau::Box {
public:
    kau::BoxAnswer show(const std::string&, kau::BoxButtons, kau::BoxIcon) override
    {
        ++shown;
        return kau::BoxAnswer::No;
    }
    int shown = 0;
};

void BM_UpdateCheck(benchmark::State& state)
{
    AnswerNo box;
    kau::Box* previous = kau::installBox(&box);
    kau::CFtpFileClient client;
    for (auto _ : state) {
        kau::UpdateCheck check(client, g_installDir, {});
        const auto outcome = check.run(g_productKey, g_installDir, "", false);
        if (outcome != kau::UpdateCheck::Outcome::NewFiles) {
            state.SkipWithError("the check did not find the new files");
            break;
        }
    }
    state.counters["boxes"] = box.shown;
    kau::installBox(previous);
}
BENCHMARK(BM_UpdateCheck)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s [benchmark flags] <productKey> <installDir>\n", argv[0]);
        return 2;
    }
    g_productKey = argv[1];
    g_installDir = argv[2];
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
