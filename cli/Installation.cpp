#include "Installation.h"

#include <filesystem>
#include <system_error>

namespace kau::cli {

std::optional<ApplicationPath> ExistingInstallation(const CommandLine& line, std::ostream& err)
{
    ApplicationPath app = ApplicationPath::plain(line.applicationPath);
    std::error_code ec;
    if (!std::filesystem::is_directory(app.installDir, ec)) {
        err << "korautoupdate: no install directory " << app.installDir << "\n";
        return std::nullopt;
    }
    return app;
}

} // namespace kau::cli
