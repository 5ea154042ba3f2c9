#include "ReportLastError.h"

#include "platform/Box.h"

namespace kau {

void ReportLastError(const std::string& reason)
{
    showBox("Last Error from Window:\n" + (reason.empty() ? std::string("unknown error") : reason),
            BoxButtons::Ok, BoxIcon::None);
}

} // namespace kau
