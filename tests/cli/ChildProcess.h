#pragma once
// A program run as a child process, its stdout and stderr collected, for
// tests that drive a command from the outside.
#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace kau::test {

class ChildProcess {
public:
    // Starts argv[0] (a path) with argv, the current environment plus env,
    // in workingDirectory (empty: the current one), stdin from /dev/null;
    // stderr is a pseudo terminal when stderrTerminal is set.
    ChildProcess(const std::vector<std::string>& argv,
                 const std::map<std::string, std::string>& env = {},
                 const std::string& workingDirectory = {}, bool stderrTerminal = false);
    ~ChildProcess(); // kills a child that is still running

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Waits until the output seen so far satisfies condition, within timeout.
    bool waitForOutput(const std::function<bool(const std::string& out, const std::string& err)>& condition,
                       std::chrono::milliseconds timeout);
    void signal(int signalNumber);
    // Waits for the exit (killing the child after timeout); the exit status,
    // 128 + n for death by signal n, -1 when it had to be killed.
    int wait(std::chrono::milliseconds timeout = std::chrono::seconds(60));

    std::string out() const;
    std::string err() const;

private:
    void collect(int fd, std::string& into);

    pid_t m_pid = -1;
    int m_status = -1;
    bool m_reaped = false;
    mutable std::mutex m_mutex;
    std::string m_out;
    std::string m_err;
    std::thread m_outReader;
    std::thread m_errReader;
};

struct RunResult {
    int status;
    std::string out;
    std::string err;
};

// Runs a program to its end and gives its status and output.
RunResult runProgram(const std::vector<std::string>& argv,
                     const std::map<std::string, std::string>& env = {},
                     const std::string& workingDirectory = {}, bool stderrTerminal = false);

} // namespace kau::test
