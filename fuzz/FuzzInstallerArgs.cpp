// The installer's command line: the input is its arguments, one a line.
#include "InstallCommand.h"

#include "FuzzInput.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::vector<std::string> args = kau::fuzz::argumentLines(data, size);

    std::string error = "stale";
    const auto command = kau::installer::ParseInstallCommand(args, error);
    // Either a command or a reason, never both and never neither.
    if (command.has_value() == !error.empty()) {
        std::fprintf(stderr, "broken: a result %s with error '%s'\n",
                     command ? "came" : "did not come", error.c_str());
        std::abort();
    }
    if (command && command->kind != kau::installer::InstallCommand::Kind::Help
        && args.size() < (command->kind == kau::installer::InstallCommand::Kind::UpdateAll ? 3u : 2u)) {
        std::fprintf(stderr, "broken: a command without its application path\n");
        std::abort();
    }
    (void)kau::installer::InstallUsage(args.empty() ? std::string() : args[0]);
    return 0;
}
