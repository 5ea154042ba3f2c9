#include "catalogue/RevisionFile.h"

#include "textfile/CTextFile.h"
#include "textfile/CrLfLines.h"

#include <filesystem>
#include <system_error>

namespace kau {

std::string_view FieldOf(int nField, std::string_view line, char separator)
{
    if (nField < 1)
        return {};
    std::size_t start = 0;
    for (int current = 1; current < nField; ++current) {
        const std::size_t at = line.find(separator, start);
        if (at == std::string_view::npos || at + 1 == line.size())
            return {};
        start = at + 1;
    }
    const std::size_t at = line.find(separator, start);
    return line.substr(start, at == std::string_view::npos ? std::string_view::npos : at - start);
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

namespace {

// Opens the file and hands it to read (a file that exists but can't be
// opened reads as empty). False if the file does not exist.
bool withRevisionFile(const std::string& path, const std::function<void(CTextFile&)>& read)
{
    std::error_code ec;
    if (!std::filesystem::exists(path, ec))
        return false;
    CTextFile file;
    if (file.OpenRead(path, false))
        read(file);
    return true;
}

// The record of a line: its trimmed first and second field; a line without
// a name is none.
template <class Visit>
void visitRecord(std::string_view line, Visit&& visit)
{
    const std::string_view name = TrimmedView(FieldOf(1, line, ';'));
    if (!name.empty())
        visit(name, TrimmedView(FieldOf(2, line, ';')));
}

// An upper bound of the records of text without reading it: a record's line
// holds a name and its CR LF, only the last one may lack the CR LF. Room
// that stays unused is never touched and costs no memory.
std::size_t recordBound(std::string_view text)
{
    return text.size() / 3 + 1;
}

// Appends the records of path to names and versions, which keep views of
// the mapped file instead of copies when they are empty.
bool readRevisions(const std::string& path, TextList& names, TextList& versions,
                   std::vector<bool>* transferred)
{
    return withRevisionFile(path, [&](CTextFile& file) {
        // Mapped, so that the lists keep views of the file instead of copies.
        const std::shared_ptr<const MappedBytes> bytes = file.MapWhole();
        const std::string_view text = bytes->view();
        // Growing the lists step by step touches about twice their final
        // memory.
        const std::size_t lines = recordBound(text);
        names.reserve(names.size() + lines);
        versions.reserve(versions.size() + lines);
        names.UseSource(bytes);
        versions.UseSource(bytes);
        VisitAllCrLfLines(text, [&](std::string_view line) {
            visitRecord(line, [&](std::string_view name, std::string_view version) {
                names.push_back(name);
                versions.push_back(version);
            });
        });
        if (transferred)
            transferred->resize(names.size(), false);
    });
}

} // namespace

bool VisitRevisions(const std::string& path,
                    const std::function<void(std::string_view name, std::string_view version)>& visit,
                    const std::function<void(std::size_t records)>& expect)
{
    // Read in blocks, not mapped: nothing is kept, so the file need not stay
    // in memory.
    return withRevisionFile(path, [&](CTextFile& file) {
        if (expect) {
            std::size_t lines = 0;
            file.ScanLines([&lines](std::string_view) { ++lines; });
            expect(lines);
            file.Rewind();
        }
        file.ScanLines([&visit](std::string_view line) { visitRecord(line, visit); });
    });
}

bool ReadLocalRevisions(LocalRevisionList& list, std::string path)
{
    return readRevisions(path, list.m_aNames, list.m_aVersions, nullptr);
}

bool ReadRemoteRevisions(RemoteRevisionList& list, std::string path)
{
    return readRevisions(path, list.m_aNames, list.m_aVersions, &list.m_aTransferred);
}

} // namespace kau
