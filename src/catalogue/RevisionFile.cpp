#include "catalogue/RevisionFile.h"

#include "catalogue/TextLines.h"

#include <cstring>
#include <filesystem>
#include <system_error>

namespace kau {

std::string GetField(int nField, const std::string& line, const char* separator)
{
    const char sep = separator ? separator[0] : ';';
    int current = 1;
    std::size_t start = 0;
    const std::size_t n = line.size();
    for (std::size_t i = 0; i < n; ++i) {
        if (i == n - 1 && current == nField) {
            const std::size_t end = line[i] == sep ? i : n;
            return line.substr(start, end - start);
        }
        if (line[i] == sep) {
            if (current == nField)
                return line.substr(start, i - start);
            start = i + 1;
            ++current;
        }
    }
    return std::string();
}

std::string TrimField(const std::string& text)
{
    static const char* const kBlanks = " \t\r\n\v\f";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos)
        return std::string();
    const std::size_t last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

namespace {

template <typename Append>
bool readRevisions(const std::string& path, Append append)
{
    std::error_code ec;
    if (!std::filesystem::exists(path, ec))
        return false;
    std::vector<std::string> lines;
    ReadTextLines(path, lines);
    for (const std::string& line : lines) {
        std::string name = TrimField(GetField(1, line, ";"));
        if (name.empty())
            continue;
        append(std::move(name), TrimField(GetField(2, line, ";")));
    }
    return true;
}

} // namespace

bool ReadLocalRevisions(LocalRevisionList& list, std::string path)
{
    return readRevisions(path, [&list](std::string name, std::string version) {
        list.m_aNames.push_back(std::move(name));
        list.m_aVersions.push_back(std::move(version));
    });
}

bool ReadRemoteRevisions(RemoteRevisionList& list, std::string path)
{
    return readRevisions(path, [&list](std::string name, std::string version) {
        list.m_aNames.push_back(std::move(name));
        list.m_aVersions.push_back(std::move(version));
        list.m_aTransferred.emplace_back("0");
    });
}

} // namespace kau
