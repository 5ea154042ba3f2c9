#include "NotesText.h"

#include <dlfcn.h>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace kau::cli {
namespace {

using Convert = void (*)(const std::string*, std::string*);

// The module's place relative to the running program, the same in the build
// tree and in an installed one.
std::string modulePath()
{
    std::error_code ec;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", ec);
    return (program.parent_path() / KAU_HTML_MODULE).lexically_normal().string();
}

Convert loadConverter()
{
    const std::string path = modulePath();
    void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!module)
        throw std::runtime_error("the HTML reader could not be loaded: " + std::string(::dlerror()));
    // Stays loaded until the process ends.
    const auto convert = reinterpret_cast<Convert>(::dlsym(module, "korautoupdate_html_to_text"));
    if (!convert)
        throw std::runtime_error("the HTML reader " + path + " is not usable");
    return convert;
}

} // namespace

std::string notesToText(const std::string& html)
{
    static const Convert convert = loadConverter();
    std::string text;
    convert(&html, &text);
    return text;
}

} // namespace kau::cli
