// The console's command line: the input is its arguments, one a line.
#include "CommandLine.h"

#include "FuzzInput.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::vector<std::string> args = kau::fuzz::argumentLines(data, size);

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
