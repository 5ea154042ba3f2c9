#include "FuzzTempDir.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace kau::fuzz {
namespace {

struct Scratch {
    std::string path;
    Scratch()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "kau-fuzz-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            std::perror("mkdtemp");
            std::abort();
        }
        path = pattern;
    }
    ~Scratch()
    {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
};

} // namespace

const std::string& scratchDirectory()
{
    static Scratch scratch;
    return scratch.path;
}

std::string writeScratchFile(const std::string& name, const void* data, std::size_t size)
{
    const std::string path = scratchDirectory() + "/" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    out.close();
    if (!out) {
        std::perror(path.c_str());
        std::abort();
    }
    return path;
}

} // namespace kau::fuzz
