#include "catalogue/StagedFiles.h"

#include "platform/FixedNames.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace kau {
namespace {

std::size_t lastSeparator(const std::string& path)
{
    const std::size_t backslash = path.rfind('\\');
    return backslash != std::string::npos ? backslash : path.rfind('/');
}

// True if something (file, directory, link) stands under the name.
bool present(const std::string& path)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

} // namespace

std::string LocalPath(const std::string& installDir, const std::string& name)
{
    std::string local = name;
    std::replace(local.begin(), local.end(), '\\', '/');
    if (!installDir.empty() && installDir.back() == '/')
        return installDir + local; // the root directory
    return installDir + "/" + local;
}

std::string StagedName(const std::string& path)
{
    const std::size_t at = lastSeparator(path);
    if (at == std::string::npos)
        return kStagedPrefix + path;
    return path.substr(0, at) + "/" + kStagedPrefix + path.substr(at + 1);
}

bool StageFile(const std::string& path)
{
    const std::string staged = StagedName(path);
    if (present(staged))
        ::unlink(staged.c_str());
    if (present(path))
        return std::rename(path.c_str(), staged.c_str()) == 0;
    return true;
}

bool UnstageFile(const std::string& path)
{
    const std::string staged = StagedName(path);
    if (present(path) || !present(staged))
        return false;
    return std::rename(staged.c_str(), path.c_str()) == 0;
}

bool DeleteStagedFile(const std::string& path)
{
    ::unlink(StagedName(path).c_str());
    return true;
}

bool CreateParentDirectory(const std::string& path)
{
    const std::size_t at = lastSeparator(path);
    if (at == std::string::npos)
        return true;
    const std::string directory = path.substr(0, at);
    if (directory.empty() || present(directory))
        return true;
    return ::mkdir(directory.c_str(), 0777) == 0 || errno == EEXIST;
}

} // namespace kau
