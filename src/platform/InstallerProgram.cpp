#include "InstallerProgram.h"

#include <dlfcn.h>
#include <filesystem>
#include <unistd.h>

// Where the installed program directories lie, seen from the installed
// library directory (set by the build from the install layout).
#ifndef KAU_LIBEXECDIR_FROM_LIBDIR
#define KAU_LIBEXECDIR_FROM_LIBDIR "../libexec"
#endif
#ifndef KAU_BINDIR_FROM_LIBDIR
#define KAU_BINDIR_FROM_LIBDIR "../bin"
#endif

namespace kau {
namespace {

constexpr const char* kInstallerName = "KorAutoInstall";

bool usable(const std::filesystem::path& program)
{
    std::error_code ec;
    return program.string().find_first_of(" \t") == std::string::npos
           && std::filesystem::is_regular_file(program, ec) && ::access(program.c_str(), X_OK) == 0;
}

// The directory of the object file (shared library or program) holding this code.
std::string ownDirectory()
{
    Dl_info info{};
    if (::dladdr(reinterpret_cast<void*>(&InstallerProgramFrom), &info) == 0 || !info.dli_fname)
        return {};
    std::error_code ec;
    const std::filesystem::path file = std::filesystem::canonical(info.dli_fname, ec);
    return ec ? std::string() : file.parent_path().string();
}

} // namespace

std::string InstallerProgramFrom(const std::string& libraryDirectory)
{
    if (!libraryDirectory.empty()) {
        const std::filesystem::path base(libraryDirectory);
        for (const char* relative : {KAU_LIBEXECDIR_FROM_LIBDIR, KAU_BINDIR_FROM_LIBDIR}) {
            const std::filesystem::path program = (base / relative / kInstallerName).lexically_normal();
            if (usable(program))
                return program.string();
        }
    }
    return kInstallerName;
}

std::string InstallerProgram()
{
    return InstallerProgramFrom(ownDirectory());
}

} // namespace kau
