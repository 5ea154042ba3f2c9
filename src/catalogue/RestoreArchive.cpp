#include "catalogue/RestoreArchive.h"

#include "catalogue/RevisionFile.h"
#include "catalogue/StagedFiles.h"
#include "platform/FileCopy.h"
#include "platform/PartFile.h"
#include "textfile/CTextFile.h"
#include "textfile/TextFileError.h"
#include "platform/FixedNames.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

namespace fs = std::filesystem;

namespace kau {
namespace {

constexpr const char* kLocalRevisions = kLocalRevisionFile;

// Names of the entries of a directory, ascending; directories (never a
// symbolic link to one: only what lies inside is read) or files (never a
// part file that a broken-off copy left).
std::vector<std::string> entriesOf(const std::string& directory, bool wantDirectories)
{
    std::vector<std::string> names;
    std::error_code ec;
    fs::directory_iterator it(directory, ec);
    if (ec)
        return names;
    for (const fs::directory_entry& entry : it) {
        std::error_code typeError;
        if (wantDirectories && entry.is_symlink(typeError))
            continue;
        const bool isDirectory = entry.is_directory(typeError);
        std::string name = entry.path().filename().string();
        if (isDirectory == wantDirectories && (isDirectory || !PartFile::IsPartFileName(name)))
            names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end());
    return names;
}

// True if something (file, directory, link) stands under the name.
bool present(const std::string& path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

} // namespace

std::string RestoreDateText(const std::string& name)
{
    auto part = [&name](std::size_t from, std::size_t count) {
        return from < name.size() ? name.substr(from, count) : std::string();
    };
    return part(0, 4) + "-" + part(4, 2) + "-" + part(6, 2) + "   (" + part(8, 2) + ":" +
           part(10, std::string::npos) + ")";
}

bool IsRestoreDirectoryName(const std::string& name)
{
    return name.size() == 12 && name.compare(0, 2, "20") == 0;
}

std::string BeginRestoreDirectory(const std::string& installDir, const std::string& stamp)
{
    const std::string directory = installDir + "/" + stamp;
    if (::mkdir(directory.c_str(), 0777) != 0 && errno != EEXIST)
        return {};
    const std::string kept = directory + "/" + kLocalRevisions;
    if (present(kept) || !present(installDir + "/" + kLocalRevisions)
        || CopyFileOver(installDir + "/" + kLocalRevisions, kept))
        return directory;
    return {};
}

bool KeepOldCopy(const std::string& installDir, const std::string& restoreDirectory,
                 const std::string& name)
{
    if (!name.empty() && name[0] == '%') {
        CreateParentDirectory(LocalPath(installDir, name));
        return true;
    }
    const std::string installed = LocalPath(installDir, name);
    const std::string copy = LocalPath(restoreDirectory, name);
    if (!present(installed) || present(copy))
        return true;
    CreateParentDirectory(copy);
    return CopyFileOver(installed, copy);
}

void RemoveLeftoverPartFiles(const std::string& installDir)
{
    PartFile::RemoveLeftovers(installDir);
    RestoreDirectoryList list;
    ListRestoreDirectories(list, installDir);
    for (const std::string& name : list.m_aDirectories)
        PartFile::RemoveLeftovers(installDir + "/" + name);
}

bool ListRestoreDirectories(RestoreDirectoryList& list, std::string installDir)
{
    list.m_aDirectories.clear();
    list.m_aTexts.clear();
    for (const std::string& name : entriesOf(installDir, true)) {
        if (!IsRestoreDirectoryName(name))
            continue;
        list.m_aDirectories.push_back(name);
        list.m_aTexts.push_back(RestoreDateText(name));
    }
    return !list.m_aDirectories.empty();
}

bool ListRestoreDirectoryFiles(std::string directory, LocalRevisionList& files)
{
    files.m_aNames.clear();
    files.m_aVersions.clear();
    std::error_code ec;
    if (!fs::is_directory(directory, ec))
        return false;
    bool found = false;
    for (const std::string& name : entriesOf(directory, false)) {
        files.m_aNames.push_back(name);
        files.m_aVersions.push_back("-");
        found = true;
    }
    // Opened as the writing side opens it: created if missing, never
    // truncated, a last line without CR LF completed; but never through a
    // symbolic link, which may lead out of the installation.
    const std::string path = directory + "/" + kLocalRevisions;
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0 && S_ISLNK(info.st_mode)) {
        CTextFile::ReportOpenFailure(ELOOP);
        return found;
    }
    CTextFile revisions;
    if (!revisions.OpenForWrite(path, false, false))
        return found;
    // A read error ends the scan: the versions found so far stay, the rest
    // show "-", as when the file can't be opened.
    try {
        revisions.ScanLines([&](std::string_view line) {
            const std::string_view name = TrimmedView(FieldOf(1, line, ';'));
            for (std::size_t i = 0; i < files.m_aNames.size(); ++i) {
                if (files.m_aNames[i] != name)
                    continue;
                const std::string_view version = TrimmedView(FieldOf(2, line, ';'));
                if (!version.empty()) {
                    files.m_aVersions.set(i, version);
                    found = true;
                }
            }
        });
    } catch (const TextFileError&) {
    }
    return found;
}

bool CollectRestoreFiles(std::string path, RestoreFileList& files)
{
    files.m_aSources.clear();
    files.m_aNames.clear();
    const std::size_t at = path.rfind('/');
    const std::string installDir = at == std::string::npos ? std::string(".") : path.substr(0, at);
    const std::string chosen = at == std::string::npos ? path : path.substr(at + 1);
    RestoreDirectoryList list;
    if (!ListRestoreDirectories(list, installDir))
        return false;
    const auto it = std::find(list.m_aDirectories.begin(), list.m_aDirectories.end(), chosen);
    if (it == list.m_aDirectories.end())
        return false;
    const std::size_t first = static_cast<std::size_t>(it - list.m_aDirectories.begin());
    for (std::size_t k = list.m_aDirectories.size(); k-- > first;) {
        const std::string& name = list.m_aDirectories[k];
        for (const std::string& file : entriesOf(installDir + "/" + name, false)) {
            files.m_aSources.push_back(name + "/" + file);
            files.m_aNames.push_back(file);
        }
    }
    return true;
}

} // namespace kau
