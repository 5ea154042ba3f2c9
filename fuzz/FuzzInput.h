#pragma once
// What every fuzz target shares: reading the input as argument lines, and
// stopping the run with a message when something that must hold doesn't.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace kau::fuzz {

// The input split at each newline into arguments; none for an empty input.
inline std::vector<std::string> argumentLines(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::string> args;
    if (size == 0)
        return args;
    args.emplace_back();
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n')
            args.emplace_back();
        else
            args.back() += static_cast<char>(data[i]);
    }
    return args;
}

// A finding: what broke on stderr, then an abort libFuzzer keeps the input of.
inline void check(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "broken: %s\n", what);
        std::abort();
    }
}

} // namespace kau::fuzz
