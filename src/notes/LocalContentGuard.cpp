#include "LocalContentGuard.h"

namespace kau {

void LocalContentGuard::interceptRequest(QWebEngineUrlRequestInfo& info)
{
    if (!m_localPage)
        return;
    const QString scheme = info.requestUrl().scheme();
    if (scheme != "file" && scheme != "data" && scheme != "blob")
        info.block(true);
}

} // namespace kau
