#include "ServerAccount.h"

#include <cstdlib>

namespace kau {
namespace {
std::string fromEnvironment(const char* name, const char* fallback)
{
    const char* value = std::getenv(name);
    return (value && *value) ? value : fallback;
}
} // namespace

ServerAccount ServerAccount::builtIn()
{
    return {fromEnvironment("KORAUTOUPDATE_FTP_SERVER", KAU_FTP_SERVER),
            fromEnvironment("KORAUTOUPDATE_FTP_USER", KAU_FTP_USER),
            fromEnvironment("KORAUTOUPDATE_FTP_PASSWORD", KAU_FTP_PASSWORD)};
}

} // namespace kau
