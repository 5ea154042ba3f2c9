// Drives one update run without a window and reports its time and peak
// memory, for bench/update_run_bench.sh.
//
//   update_run_bench <productKey> <installDir> [all]
//
// The server comes from KORAUTOUPDATE_FTP_SERVER (host:port), as for the
// library. Prints: seconds=<s> files=<n> failed=<n> peak_rss_kib=<kB>
#include "flows/RunLog.h"
#include "flows/RunProgress.h"
#include "flows/UpdateRun.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <string>

namespace {

class QuietLog : public kau::RunLog {
public:
    void AddLine(const std::string& line) override { m_last = line; }
    void ReplaceLastLine(const std::string& line) override { m_last = line; }
    void ScrollToEnd() override {}
    std::string m_last;
};

class NoProgress : public kau::RunProgress {
public:
    void SetRange(int, int) override {}
    void SetPosition(int) override {}
};

long peakResidentKiB()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmHWM:", 0) == 0)
            return std::stol(line.substr(6));
    return -1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3 || argc > 4) {
        std::fprintf(stderr, "usage: %s <productKey> <installDir> [all]\n", argv[0]);
        return 2;
    }
    QuietLog log;
    NoProgress progress;
    kau::UpdateRun run(log, progress);
    const auto start = std::chrono::steady_clock::now();
    const kau::UpdateRun::Result result = run.run(argv[1], argv[2], argc == 4);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    std::printf("seconds=%.3f files=%zu failed=%zu peak_rss_kib=%ld\n", took.count(), result.files,
                result.failedFiles, peakResidentKiB());
    return result.outcome == kau::UpdateRun::Outcome::Transferred && result.failedFiles == 0 ? 0 : 1;
}
