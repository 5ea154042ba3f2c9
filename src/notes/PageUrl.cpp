#include "PageUrl.h"

#include <QDesktopServices>
#include <QDir>

namespace kau {

QUrl PageUrl(const std::string& pathOrUrl)
{
    const QString text = QString::fromUtf8(pathOrUrl.data(), static_cast<qsizetype>(pathOrUrl.size()));
    const QUrl url(text);
    // One letter before the colon is no scheme but a path like "c:x".
    if (url.isValid() && url.scheme().size() > 1)
        return url;
    return QUrl::fromLocalFile(QDir::current().absoluteFilePath(text));
}

bool OpenLinkOutside(const QUrl& link)
{
    const QString scheme = link.scheme().toLower();
    if (scheme != "http" && scheme != "https" && scheme != "ftp" && scheme != "mailto")
        return false;
    return QDesktopServices::openUrl(link);
}

bool IsLinkIntoPage(const QUrl& link, const QUrl& page)
{
    return link.adjusted(QUrl::RemoveFragment) == page.adjusted(QUrl::RemoveFragment);
}

} // namespace kau
