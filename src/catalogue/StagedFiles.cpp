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
    if (!present(path))
        return true;
    // A second name keeps the file under its own name until a new one is
    // renamed over it, so no moment leaves the name empty; without hard links
    // (some file systems, a directory) it is renamed aside.
    return ::link(path.c_str(), staged.c_str()) == 0 || std::rename(path.c_str(), staged.c_str()) == 0;
}

bool UnstageFile(const std::string& path)
{
    const std::string staged = StagedName(path);
    struct stat put {}, there {};
    if (::lstat(staged.c_str(), &put) != 0)
        return false;
    if (::lstat(path.c_str(), &there) != 0)
        return std::rename(staged.c_str(), path.c_str()) == 0;
    // Still the same file under both names: the staged one is only a second name.
    return there.st_dev == put.st_dev && there.st_ino == put.st_ino && ::unlink(staged.c_str()) == 0;
}

bool ReplaceStaged(const std::string& path, const PlacingCheck& ready,
                   const std::function<bool(const PlacingCheck& beforePlacing)>& write)
{
    UnstageFile(path);
    bool placing = false;
    const bool placed = write([&] {
        if (ready && !ready())
            return false;
        placing = true;
        StageFile(path);
        return true;
    });
    if (placed)
        DeleteStagedFile(path);
    else if (placing)
        UnstageFile(path); // the rename into place failed
    return placed;
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
