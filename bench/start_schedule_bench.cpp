// Return time of UpdateStartSchedule as a host sees it: the host has its
// QApplication; the first call of the process creates the reminder object,
// and on a product's first use writes the settings' defaults. Prints the
// first call's time and the best of the later calls, in milliseconds.
//
//   start_schedule_bench            (XDG_CONFIG_HOME should name a fresh directory)
#include "korautoupdate.h"

#include <QApplication>

#include <algorithm>
#include <chrono>
#include <cstdio>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    using Clock = std::chrono::steady_clock;
    auto timed = [] {
        const auto start = Clock::now();
        const bool started = UpdateStartSchedule("BenchProduct", "/opt/bench/bench.exe");
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        return started ? ms : -1.0;
    };
    const double first = timed();
    double later = 1e9;
    for (int i = 0; i < 100; ++i)
        later = std::min(later, timed());
    std::printf("%.3f %.3f\n", first, later);
    return first < 0 ? 1 : 0;
}
