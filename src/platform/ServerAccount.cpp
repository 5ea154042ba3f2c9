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
    return {fromEnvironment(kServerVariable, KAU_FTP_SERVER),
            fromEnvironment(kUserVariable, KAU_FTP_USER),
            fromEnvironment(kPasswordVariable, KAU_FTP_PASSWORD),
            fromEnvironment(kCaFileVariable, KAU_FTP_CA_FILE)};
}

} // namespace kau
