#include "UpdateCommand.h"

#include "ExitCodes.h"

namespace kau::cli {

int runUpdate(const CommandLine&, std::ostream&, std::ostream& err)
{
    // Wired to the update run once that flow is in the tree.
    err << "korautoupdate: update is not available in this build\n";
    return kExitFailed;
}

} // namespace kau::cli
