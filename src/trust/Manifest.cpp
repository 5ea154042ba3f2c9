#include "trust/Manifest.h"

#include <charconv>
#include <set>

namespace kau {
namespace {

constexpr const char* kHeader = "KorAutoUpdate manifest 1";

template <typename Number>
bool number(const std::string& text, Number& value)
{
    if (text.empty() || text.size() > 20 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

bool isHexDigest(const std::string& text)
{
    return text.size() == 64 && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

} // namespace

const ManifestEntry* Manifest::Find(const std::string& name) const
{
    for (const ManifestEntry& entry : entries)
        if (entry.name == name)
            return &entry;
    return nullptr;
}

std::string Manifest::Text() const
{
    std::string text = std::string(kHeader) + "\nsequence " + std::to_string(sequence) + "\n";
    for (const ManifestEntry& entry : entries)
        text += "file " + entry.sha256 + " " + std::to_string(entry.size) + " " + entry.name + "\n";
    return text;
}

std::optional<Manifest> Manifest::Parse(const std::string& text)
{
    Manifest manifest;
    std::set<std::string> names;
    bool header = false;
    bool sequence = false;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            return std::nullopt; // every line ends with LF: a cut file is no manifest
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        if (!header) {
            if (line != kHeader)
                return std::nullopt;
            header = true;
        } else if (line.rfind("sequence ", 0) == 0 && !sequence) {
            if (!number(line.substr(9), manifest.sequence))
                return std::nullopt;
            sequence = true;
        } else if (line.rfind("file ", 0) == 0) {
            const std::size_t hashEnd = line.find(' ', 5);
            const std::size_t sizeEnd = hashEnd == std::string::npos ? hashEnd : line.find(' ', hashEnd + 1);
            if (sizeEnd == std::string::npos)
                return std::nullopt;
            ManifestEntry entry;
            entry.sha256 = line.substr(5, hashEnd - 5);
            entry.name = line.substr(sizeEnd + 1);
            if (!isHexDigest(entry.sha256) || !number(line.substr(hashEnd + 1, sizeEnd - hashEnd - 1), entry.size)
                || entry.name.empty() || !names.insert(entry.name).second)
                return std::nullopt;
            manifest.entries.push_back(std::move(entry));
        } else {
            return std::nullopt;
        }
    }
    if (!header || !sequence)
        return std::nullopt;
    return manifest;
}

} // namespace kau
