#include "reminder/ReminderStore.h"

#include "resources/Strings.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace kau::reminder {

std::string KeyPath(const std::string& productKey)
{
    return std::string(strings::kRegistryPath) + productKey;
}

std::string StoreFilePath()
{
    std::string base;
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg && xdg[0] == '/') {
        base = xdg;
    } else {
        const char* home = std::getenv("HOME");
        if (!home || !home[0]) {
            const passwd* pw = getpwuid(getuid());
            home = pw ? pw->pw_dir : "/";
        }
        base = std::string(home) + "/.config";
    }
    while (base.size() > 1 && base.back() == '/')
        base.pop_back();
    return base + "/Korvane/AutoUpdate.conf";
}

std::string GroupOfKeyPath(const std::string& keyPath)
{
    const std::string prefix = strings::kRegistryPath;
    std::string rest = keyPath.compare(0, prefix.size(), prefix) == 0 ? keyPath.substr(prefix.size())
                                                                       : keyPath;
    std::string group;
    std::string part;
    auto flush = [&] {
        if (!part.empty()) {
            if (!group.empty())
                group += '/';
            group += part;
            part.clear();
        }
    };
    for (char c : rest) {
        if (c == '\\' || c == '/')
            flush();
        else
            part += c;
    }
    flush();
    return group;
}

} // namespace kau::reminder
