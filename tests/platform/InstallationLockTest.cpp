// The lock of an installation: one holder at a time, in one process or across processes, a bounded
// wait, no trace once given back, and nothing left held by a killed process or a started program.
#include "platform/FixedNames.h"
#include "platform/InstallationLock.h"
#include "support/WorkDir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <thread>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace kau;
using namespace kau::test;
using namespace std::chrono_literals;
using State = InstallationLock::State;

namespace {

std::chrono::milliseconds since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

// A child process that holds the lock of dir until it is killed; its pid once it holds it.
pid_t holdInChild(const std::string& dir)
{
    int ready[2];
    if (::pipe(ready) != 0)
        return -1;
    const pid_t pid = ::fork();
    if (pid == 0) {
        InstallationLock lock(dir);
        const char held = lock.Acquire(0ms) == State::Held ? 'y' : 'n';
        (void)!::write(ready[1], &held, 1);
        for (;;)
            ::pause();
    }
    ::close(ready[1]);
    char held = 'n';
    const bool told = ::read(ready[0], &held, 1) == 1;
    ::close(ready[0]);
    return told && held == 'y' ? pid : -1;
}

// In a read-only directory: no new lock file, but one that is there serves. Run as a user that
// the permissions bind (root is not bound): empty if all went as it should, else what did not.
std::string readOnlyDirectory(const fs::path& dir)
{
    const auto check = [&]() -> std::string {
        fs::permissions(dir, fs::perms::owner_read | fs::perms::owner_exec);
        InstallationLock lock(dir.string());
        if (lock.Acquire(0ms) != State::Unavailable || lock.error().find("Permission denied") == std::string::npos)
            return "a lock without a lock file: " + lock.error();
        fs::permissions(dir, fs::perms::owner_all);
        writeFile(dir / kInstallationLockFile, "");
        fs::permissions(dir / kInstallationLockFile, fs::perms::owner_read);
        fs::permissions(dir, fs::perms::owner_read | fs::perms::owner_exec);
        if (lock.Acquire(0ms) != State::Held)
            return "the lock file that is there does not serve: " + lock.error();
        lock.Release();
        fs::permissions(dir, fs::perms::owner_all);
        return "";
    };
    if (::geteuid() != 0)
        return check();
    constexpr uid_t kNobody = 65534;
    if (::chown(dir.c_str(), kNobody, kNobody) != 0)
        return "no chown";
    int result[2];
    if (::pipe(result) != 0)
        return "no pipe";
    const pid_t pid = ::fork();
    if (pid == 0) {
        const std::string failure = ::setgid(kNobody) == 0 && ::setuid(kNobody) == 0 ? check() : "no setuid";
        (void)!::write(result[1], failure.data(), failure.size());
        ::_exit(0);
    }
    ::close(result[1]);
    std::string failure;
    char buffer[256];
    for (ssize_t n; (n = ::read(result[0], buffer, sizeof buffer)) > 0;)
        failure.append(buffer, static_cast<std::size_t>(n));
    ::close(result[0]);
    ::waitpid(pid, nullptr, 0);
    return failure;
}

} // namespace

TEST(InstallationLock, TwoHoldersInOneProcessExcludeEachOtherAndTheWaitIsBounded)
{
    TempDir dir;
    InstallationLock first(dir.str()), second(dir.str());
    ASSERT_EQ(first.Acquire(0ms), State::Held) << first.error();
    EXPECT_EQ(first.path(), dir / kInstallationLockFile);
    EXPECT_TRUE(fs::exists(first.path()));

    EXPECT_EQ(second.Acquire(0ms), State::Busy);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(second.Acquire(300ms), State::Busy);
    EXPECT_GE(since(start), 300ms);
    EXPECT_LT(since(start), 3000ms) << "the wait ends with its bound";

    // A stop request ends a long wait at once.
    std::stop_source stop;
    std::thread stopper([&] { stop.request_stop(); });
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(second.Acquire(20s, stop.get_token()), State::Stopped);
    EXPECT_LT(since(start), 3000ms);
    stopper.join();

    // Given back, the lock goes to the one waiting, and the file stays only while it is held.
    std::thread releaser([&] { first.Release(); });
    EXPECT_EQ(second.Acquire(20s), State::Held);
    releaser.join();
    EXPECT_EQ(first.state(), State::Free);
    EXPECT_EQ(first.Acquire(0ms), State::Busy);
    second.Release();
    EXPECT_FALSE(fs::exists(second.path())) << "a lock given back leaves no file";
    {
        InstallationLock scoped(dir.str());
        EXPECT_EQ(scoped.Acquire(0ms), State::Held);
    }
    EXPECT_EQ(first.Acquire(0ms), State::Held) << "the destructor gives it back";
}

TEST(InstallationLock, NeverTwoHoldersWhileHoldersComeAndGo)
{
    // Each holder removes the file as it gives the lock back; a waiter that locked the removed
    // file must notice it and not hold alongside the next one. The moment is a matter of timing:
    // with this many holders a waiter that does not look shows up in most runs.
    TempDir dir;
    std::atomic<int> inside = 0, overlaps = 0, rounds = 0;
    std::vector<std::thread> workers;
    for (int w = 0; w < 16; ++w)
        workers.emplace_back([&] {
            for (int i = 0; i < 1250; ++i) {
                InstallationLock lock(dir.str());
                if (lock.Acquire(20s) != State::Held)
                    continue;
                if (inside.fetch_add(1) != 0)
                    ++overlaps;
                std::this_thread::yield();
                inside.fetch_sub(1);
                ++rounds;
            }
        });
    for (auto& worker : workers)
        worker.join();
    EXPECT_EQ(overlaps, 0);
    EXPECT_EQ(rounds, 16 * 1250);
    EXPECT_FALSE(fs::exists(dir / kInstallationLockFile));
}

TEST(InstallationLock, AProcessKilledWithSigkillLeavesNothingHeldAndAStartedProgramInheritsNothing)
{
    TempDir dir;
    const pid_t holder = holdInChild(dir.str());
    ASSERT_GT(holder, 0);
    InstallationLock lock(dir.str());
    EXPECT_EQ(lock.Acquire(0ms), State::Busy) << "held by another process";
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
    EXPECT_TRUE(fs::exists(lock.path())) << "the killed holder could not remove its file";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(lock.Acquire(0ms), State::Held) << "free at once: " << lock.error();
    EXPECT_LT(since(start), 1000ms);

    // A program started while the lock is held gets no descriptor of it.
    const pid_t program = ::fork();
    if (program == 0) {
        ::execl("/bin/sleep", "sleep", "30", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ASSERT_GT(program, 0);
    const std::string fds = "/proc/" + std::to_string(program) + "/fd";
    ASSERT_TRUE(waitUntil([&] { // exec has happened
        std::error_code ec;
        return fs::read_symlink("/proc/" + std::to_string(program) + "/exe", ec).filename() == "sleep";
    }));
    std::vector<std::string> open;
    std::error_code ec; // the program may close one meanwhile
    for (const auto& entry : fs::directory_iterator(fds))
        open.push_back(fs::read_symlink(entry.path(), ec).string());
    ::kill(program, SIGKILL);
    ::waitpid(program, nullptr, 0);
    EXPECT_FALSE(open.empty());
    for (const std::string& target : open)
        EXPECT_NE(target, lock.path()) << "the started program holds the lock too";
}

TEST(InstallationLock, AnInstallationThatCanHoldNoNewFileIsUnavailableAndSaysWhy)
{
    TempDir dir;
    dir.write("file", "x");
    for (const std::string& installDir : {dir / "missing", dir / "file"}) {
        InstallationLock lock(installDir);
        EXPECT_EQ(lock.Acquire(1000ms), State::Unavailable);
        EXPECT_NE(lock.error().find(installDir + "/" + kInstallationLockFile), std::string::npos) << lock.error();
        EXPECT_NE(lock.error().find(": "), std::string::npos) << lock.error();
    }
    // A link in the file's place leads nowhere.
    fs::create_symlink(dir / "elsewhere", dir / kInstallationLockFile);
    InstallationLock linked(dir.str());
    EXPECT_EQ(linked.Acquire(0ms), State::Unavailable);
    EXPECT_FALSE(fs::exists(dir / "elsewhere"));
    fs::remove(dir / kInstallationLockFile);
    EXPECT_EQ(readOnlyDirectory(dir.path()), "");
}
