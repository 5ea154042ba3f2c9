#include "ApplicationPath.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

namespace kau {
namespace {

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

void trimLeft(std::string& s)
{
    s.erase(0, s.find_first_not_of(" \t\r\n\v\f"));
}

// Splits a program path at its last separator.
ApplicationPath splitProgram(const std::string& path)
{
    ApplicationPath result;
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) {
        result.exeName = path;
    } else {
        // A program in the root directory lies in "/", not in the empty directory.
        result.installDir = slash == 0 ? std::string("/") : path.substr(0, slash);
        result.exeName = path.substr(slash + 1);
    }
    return result;
}

ApplicationPath finish(ApplicationPath result)
{
    trimLeft(result.exeName);
    result.installDir = ApplicationPath::orCurrentDirectory(result.installDir);
    return result;
}

ApplicationPath byRule(const std::string& path, bool exeFound)
{
    if (exeFound)
        return finish(splitProgram(path));
    if (path.size() > 1 && path.back() == '/')
        return finish({path.substr(0, path.size() - 1), {}});
    std::error_code ec;
    if (path.empty() || std::filesystem::is_directory(path, ec))
        return finish({path, {}});
    return finish(splitProgram(path));
}

} // namespace

ApplicationPath ApplicationPath::plain(const std::string& applicationPath)
{
    return byRule(applicationPath, applicationPath.find(".exe") != std::string::npos);
}

ApplicationPath ApplicationPath::reminder(const std::string& applicationPath)
{
    return byRule(applicationPath, lower(applicationPath).find(".exe") != std::string::npos);
}

ApplicationPath ApplicationPath::restore(const std::string& applicationPath)
{
    return finish(splitProgram(applicationPath));
}

std::string ApplicationPath::orCurrentDirectory(const std::string& dir)
{
    if (!dir.empty())
        return dir;
    std::error_code ec;
    std::string cwd = std::filesystem::current_path(ec).string();
    return ec ? std::string(".") : cwd;
}

} // namespace kau
