#pragma once
// What a run reaches its user through: the log, the progress bar and the
// stop request from outside. Each run holds one; the front end owns the log
// and the bar and outlives the run.
#include <stop_token>
#include <utility>

namespace kau {

class RunLog;
class RunProgress;

class RunContext {
public:
    RunContext(RunLog& runLog, RunProgress& runProgress, std::stop_token stopToken)
        : log(runLog), progress(runProgress), stop(std::move(stopToken))
    {
    }

    bool stopped() const { return stop.stop_requested(); }

    RunLog& log;
    RunProgress& progress;
    const std::stop_token stop;
};

} // namespace kau
