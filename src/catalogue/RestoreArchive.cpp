#include "catalogue/RestoreArchive.h"

#include "catalogue/RevisionFile.h"
#include "catalogue/StagedFiles.h"
#include "catalogue/TextLines.h"
#include "platform/FileCopy.h"
#include "platform/FixedNames.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace kau {
namespace {

constexpr const char* kLocalRevisions = kLocalRevisionFile;

// Names of the entries of a directory, ascending; directories or files.
std::vector<std::string> entriesOf(const std::string& directory, bool wantDirectories)
{
    std::vector<std::string> names;
    std::error_code ec;
    fs::directory_iterator it(directory, ec);
    if (ec)
        return names;
    for (const fs::directory_entry& entry : it) {
        std::error_code typeError;
        const bool isDirectory = entry.is_directory(typeError);
        if (isDirectory == wantDirectories)
            names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Opens the restore directory's revision file as the writing side would:
// created if missing, never truncated, a last line without CR LF completed.
// Returns its lines; false (after the box) if it can't be opened.
bool openRevisionCopy(const std::string& path, std::vector<std::string>& lines)
{
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        ShowOpenError(errno);
        return false;
    }
    std::string bytes;
    char buffer[1 << 16];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
    if (!bytes.empty() && (bytes.size() < 2 || bytes.compare(bytes.size() - 2, 2, "\r\n") != 0)) {
        if (::write(fd, "\r\n", 2) == 2)
            bytes += "\r\n";
    }
    ::close(fd);
    SplitTextLines(bytes, lines);
    return true;
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
    ::mkdir(directory.c_str(), 0777);
    CopyFileOver(installDir + "/" + kLocalRevisions, directory + "/" + kLocalRevisions);
    return directory;
}

void KeepOldCopy(const std::string& installDir, const std::string& restoreDirectory,
                 const std::string& name)
{
    if (!name.empty() && name[0] == '%') {
        CreateParentDirectory(LocalPath(installDir, name));
        return;
    }
    const std::string copy = LocalPath(restoreDirectory, name);
    CreateParentDirectory(copy);
    CopyFileOver(LocalPath(installDir, name), copy);
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
        files.m_aVersions.emplace_back("-");
        found = true;
    }
    std::vector<std::string> lines;
    if (!openRevisionCopy(directory + "/" + kLocalRevisions, lines))
        return found;
    for (const std::string& line : lines) {
        const std::string name = TrimField(GetField(1, line, ";"));
        for (std::size_t i = 0; i < files.m_aNames.size(); ++i) {
            if (files.m_aNames[i] != name)
                continue;
            const std::string version = TrimField(GetField(2, line, ";"));
            if (!version.empty()) {
                files.m_aVersions[i] = version;
                found = true;
            }
        }
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
