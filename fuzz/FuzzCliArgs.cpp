// The console's command line: the input is its arguments, one a line.
#include "CommandLine.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::string> args(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n')
            args.emplace_back();
        else
            args.back() += static_cast<char>(data[i]);
    }
    if (size == 0)
        args.clear();

    const kau::cli::ParseResult result = kau::cli::parseCommandLine(args);
    const kau::cli::CommandLine& line = result.line;
    // A usable line without help or version names a command.
    if (result.error.empty() && !line.help && !line.version
        && line.command == kau::cli::Command::None) {
        std::fprintf(stderr, "broken: a usable command line without a command\n");
        std::abort();
    }
    (void)kau::cli::helpText(line.command);
    (void)kau::cli::commandName(line.command);
    (void)kau::cli::versionText();
    return 0;
}
