#include "catalogue/RevisionFile.h"

#include "textfile/CTextFile.h"

#include <cstring>
#include <filesystem>
#include <system_error>

namespace kau {

std::string_view FieldOf(int nField, std::string_view line, char separator)
{
    int current = 1;
    std::size_t start = 0;
    const std::size_t n = line.size();
    for (std::size_t i = 0; i < n; ++i) {
        if (i == n - 1 && current == nField) {
            const std::size_t end = line[i] == separator ? i : n;
            return line.substr(start, end - start);
        }
        if (line[i] == separator) {
            if (current == nField)
                return line.substr(start, i - start);
            start = i + 1;
            ++current;
        }
    }
    return {};
}

std::string GetField(int nField, const std::string& line, const char* separator)
{
    return std::string(FieldOf(nField, line, separator ? separator[0] : ';'));
}

std::string_view TrimmedView(std::string_view text)
{
    static constexpr std::string_view kBlanks = " \t\r\n\v\f";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    const std::size_t last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

std::string TrimField(const std::string& text)
{
    return std::string(TrimmedView(text));
}

bool VisitRevisions(const std::string& path,
                    const std::function<void(std::string_view name, std::string_view version)>& visit,
                    const std::function<void(std::size_t lines)>& expect)
{
    std::error_code ec;
    if (!std::filesystem::exists(path, ec))
        return false;
    CTextFile file;
    if (!file.OpenRead(path, false))
        return true;
    if (expect) {
        // Growing the lists step by step touches about twice their final
        // memory; the count costs one more pass over cached bytes.
        std::size_t lines = 0;
        file.ScanLines([&lines](std::string_view) { ++lines; });
        expect(lines);
        file.Rewind();
    }
    file.ScanLines([&visit](std::string_view line) {
        const std::string_view name = TrimmedView(FieldOf(1, line, ';'));
        if (!name.empty())
            visit(name, TrimmedView(FieldOf(2, line, ';')));
    });
    return true;
}

bool ReadLocalRevisions(LocalRevisionList& list, std::string path)
{
    return VisitRevisions(
        path,
        [&list](std::string_view name, std::string_view version) {
            list.m_aNames.emplace_back(name);
            list.m_aVersions.emplace_back(version);
        },
        [&list](std::size_t lines) {
            list.m_aNames.reserve(list.m_aNames.size() + lines);
            list.m_aVersions.reserve(list.m_aVersions.size() + lines);
        });
}

bool ReadRemoteRevisions(RemoteRevisionList& list, std::string path)
{
    return VisitRevisions(
        path,
        [&list](std::string_view name, std::string_view version) {
            list.m_aNames.emplace_back(name);
            list.m_aVersions.emplace_back(version);
            list.m_aTransferred.emplace_back("0");
        },
        [&list](std::size_t lines) {
            list.m_aNames.reserve(list.m_aNames.size() + lines);
            list.m_aVersions.reserve(list.m_aVersions.size() + lines);
            list.m_aTransferred.reserve(list.m_aTransferred.size() + lines);
        });
}

} // namespace kau
