#pragma once
// The one splitting of text into CR LF lines, for the scans over a block or
// over a whole file. Only the pair CR LF ends a line; a lone CR or LF is part
// of its line.
#include <cstddef>
#include <cstring>
#include <string_view>

namespace kau {

// Hands each line of text that ends in CR LF to visit, without its CR LF, and
// returns where the rest begins: the unfinished line behind the last pair
// (empty if text ends in CR LF).
template <class Visit>
std::size_t VisitCrLfLines(std::string_view text, Visit&& visit)
{
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const char* start = begin;
    // Only LF is looked for; it ends a line when a CR stands before it.
    for (const char* p = begin;
         p != end && (p = static_cast<const char*>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)))) != nullptr;
         ++p) {
        if (p > start && p[-1] == '\r') {
            visit(std::string_view(start, static_cast<std::size_t>(p - 1 - start)));
            start = p + 1;
        }
    }
    return static_cast<std::size_t>(start - begin);
}

// Every line of a whole text: its CR LF lines and an unfinished last one.
template <class Visit>
void VisitAllCrLfLines(std::string_view text, Visit&& visit)
{
    const std::size_t rest = VisitCrLfLines(text, visit);
    if (rest < text.size())
        visit(text.substr(rest));
}

} // namespace kau
