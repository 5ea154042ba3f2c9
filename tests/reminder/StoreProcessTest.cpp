// The store shared by processes: concurrent writers and a writer that dies.
#include "reminder/CRegistryAccess.h"
#include "reminder/ReminderStore.h"

#include "StoreEnv.h"

#include <QSettings>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

using kau::CRegistryAccess;
using kau::RegistryHive;
namespace reminder = kau::reminder;

namespace {

constexpr RegistryHive kHive = RegistryHive::LocalMachine;
constexpr int kWrites = 150;

// A child that writes its counter and a text kWrites times (or endless), then
// exits with 0 when every write succeeded.
pid_t startWriter(const std::string& product, bool endless)
{
    const pid_t pid = ::fork();
    if (pid != 0)
        return pid;
    const std::string key = reminder::KeyPath(product);
    CRegistryAccess reg;
    int failures = 0;
    for (std::uint32_t i = 1; endless || i <= kWrites; ++i) {
        failures += reg.WriteDword(kHive, key, "Count", i) != 0;
        // Texts of changing length, so torn or mixed files would show.
        failures += reg.WriteString(kHive, key, "LastUpdate", std::string(1 + i % 90, 'a' + i % 26)) != 0;
    }
    ::_exit(failures == 0 ? 0 : 1);
}

// True when the file parses as a whole and every value it holds is sane.
bool fileIsWhole(const std::string& path, std::string& why)
{
    QSettings file(QString::fromStdString(path), QSettings::IniFormat);
    if (file.status() != QSettings::NoError) {
        why = "status " + std::to_string(int(file.status()));
        return false;
    }
    for (const QString& key : file.allKeys()) {
        const std::string v = file.value(key).toString().toStdString();
        if (key.endsWith("/LastUpdate")) {
            if (v.empty() || v.find_first_not_of(v[0]) != std::string::npos) {
                why = "mixed text " + v;
                return false;
            }
        } else if (key.endsWith("/Count")) {
            if (v.empty() || v.find_first_not_of("0123456789") != std::string::npos) {
                why = "bad number " + v;
                return false;
            }
        } else {
            why = "stray key " + key.toStdString();
            return false;
        }
    }
    return true;
}

class StoreProcesses : public kau::test::StoreEnv {};

} // namespace

TEST_F(StoreProcesses, TwoWritersNeverTearTheFileNorLoseTheirLastValues)
{
    const pid_t a = startWriter("Alpha", false);
    const pid_t b = startWriter("Beta\\Sub", false);
    ASSERT_GT(a, 0);
    ASSERT_GT(b, 0);

    // Read the file while both write, until both have ended.
    int codes[2] = {-2, -2};
    const pid_t pids[2] = {a, b};
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    int reads = 0;
    std::string why;
    bool whole = true;
    while ((codes[0] == -2 || codes[1] == -2) && std::chrono::steady_clock::now() < deadline) {
        for (int i = 0; i < 2; ++i) {
            int status = 0;
            if (codes[i] == -2 && ::waitpid(pids[i], &status, WNOHANG) == pids[i])
                codes[i] = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        if (whole && std::filesystem::exists(storeFile())) {
            whole = fileIsWhole(storeFile(), why);
            ++reads;
        }
    }
    for (int i = 0; i < 2; ++i) {
        if (codes[i] == -2) {
            ::kill(pids[i], SIGKILL);
            ::waitpid(pids[i], nullptr, 0);
        }
    }
    EXPECT_TRUE(whole) << why << " after " << reads << " reads";
    EXPECT_EQ(codes[0], 0);
    EXPECT_EQ(codes[1], 0);
    EXPECT_TRUE(fileIsWhole(storeFile(), why)) << why;

    CRegistryAccess reg;
    std::uint32_t n = 0;
    EXPECT_EQ(reg.ReadDword(kHive, reminder::KeyPath("Alpha"), "Count", n), 0);
    EXPECT_EQ(n, std::uint32_t(kWrites));
    EXPECT_EQ(reg.ReadDword(kHive, reminder::KeyPath("Beta\\Sub"), "Count", n), 0);
    EXPECT_EQ(n, std::uint32_t(kWrites));
}

TEST_F(StoreProcesses, AWriterKilledMidWayLeavesAWholeFileAndNoLock)
{
    CRegistryAccess reg;
    ASSERT_EQ(reg.WriteDword(kHive, reminder::KeyPath("Keep"), "Count", 7), 0);
    const pid_t pid = startWriter("Doomed", true);
    ASSERT_GT(pid, 0);

    // Let it write a while: until its counter has passed 50 (bounded).
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    std::uint32_t n = 0;
    while (std::chrono::steady_clock::now() < deadline) {
        if (reg.ReadDword(kHive, reminder::KeyPath("Doomed"), "Count", n) == 0 && n > 50)
            break;
    }
    EXPECT_GT(n, 50u);
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);

    std::string why;
    EXPECT_TRUE(fileIsWhole(storeFile(), why)) << why;
    EXPECT_EQ(reg.ReadDword(kHive, reminder::KeyPath("Keep"), "Count", n), 0);
    EXPECT_EQ(n, 7u);
    // A lock left by the dead writer doesn't block the next write.
    EXPECT_EQ(reg.WriteDword(kHive, reminder::KeyPath("Keep"), "Count", 8), 0);
    EXPECT_EQ(reg.ReadDword(kHive, reminder::KeyPath("Keep"), "Count", n), 0);
    EXPECT_EQ(n, 8u);
}
