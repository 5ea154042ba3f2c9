#include "ProcessLauncher.h"

#include "textfile/CTextFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace kau {
namespace {

constexpr const char* kBatchFile = "AutoInstall.sh";

// Reaps the child once it ends, so that nothing has to wait for it and no
// zombie stays behind. The thread lives exactly as long as the child.
void reapLater(pid_t pid)
{
    std::thread([pid] {
        int status = 0;
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
    }).detach();
}

bool spawnDetached(const std::vector<std::string>& tokens)
{
    if (tokens.empty()) {
        errno = ENOENT;
        return false;
    }

    std::vector<char*> argv;
    argv.reserve(tokens.size() + 1);
    for (const std::string& token : tokens)
        argv.push_back(const_cast<char*>(token.c_str()));
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    if (posix_spawn_file_actions_init(&actions) != 0)
        return false;
    if (posix_spawnattr_init(&attributes) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return false;
    }

    // Standard handles are empty (/dev/null); nothing else is handed on.
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);

    // A process group of its own, default signal handling, the caller's mask
    // cleared: the new program is not tied to the one that started it.
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGCHLD);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGTERM);
    sigaddset(&defaults, SIGHUP);
    sigset_t empty;
    sigemptyset(&empty);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setsigmask(&attributes, &empty);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF
                                              | POSIX_SPAWN_SETSIGMASK);

    pid_t pid = 0;
    const int result = posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), environ);

    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (result != 0) {
        errno = result;
        return false;
    }
    reapLater(pid);
    return true;
}

std::string currentDirectory()
{
    std::error_code ec;
    const std::filesystem::path cwd = std::filesystem::current_path(ec);
    return ec ? std::string() : cwd.string();
}

} // namespace

std::vector<std::string> SplitCommandLine(const std::string& commandLine)
{
    std::vector<std::string> tokens;
    std::size_t pos = 0;
    while (pos < commandLine.size()) {
        const std::size_t begin = commandLine.find_first_not_of(" \t", pos);
        if (begin == std::string::npos)
            break;
        std::size_t end = commandLine.find_first_of(" \t", begin);
        if (end == std::string::npos)
            end = commandLine.size();
        tokens.push_back(commandLine.substr(begin, end - begin));
        pos = end;
    }
    return tokens;
}

bool LaunchProgram(std::string commandLine)
{
    return spawnDetached(SplitCommandLine(commandLine));
}

bool LaunchViaBatch(std::string commandLine)
{
    // One line with a plain LF: the shell would take a CR for part of the
    // last argument.
    try {
        CTextFile batch;
        if (!batch.OpenForWrite(kBatchFile, true, false))
            return false;
        batch.SetLineBreak(false);
        batch.WriteText(currentDirectory() + "/" + commandLine + "\n");
    } catch (const TextFileError&) {
        return false;
    }
    return spawnDetached({"/bin/sh", kBatchFile});
}

} // namespace kau
