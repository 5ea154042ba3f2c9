#include "platform/LocalFailure.h"

#include <cctype>
#include <cstring>

namespace kau {

std::string LocalFailureText(const std::string& path, int error)
{
    std::string text = std::strerror(error);
    if (!text.empty())
        text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return path + ": " + text;
}

} // namespace kau
