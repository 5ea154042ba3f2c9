#include "FileChooser.h"

#include <atomic>

namespace kau {
namespace {
std::atomic<FileChooser*> g_chooser{nullptr};
}

FileChooser* installFileChooser(FileChooser* chooser) { return g_chooser.exchange(chooser); }

FileChooser* installedFileChooser() { return g_chooser.load(); }

std::optional<std::string> chooseFile(const FileChoice& choice)
{
    if (FileChooser* chooser = g_chooser.load())
        return chooser->choose(choice);
    return std::nullopt;
}

} // namespace kau
