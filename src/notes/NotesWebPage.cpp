#include "NotesWebPage.h"

#include "PageUrl.h"

#include <QWebEngineProfile>

namespace kau {
namespace {

// Stands in for a new window just long enough to catch where it would go.
class LinkCatcher : public QWebEnginePage {
public:
    explicit LinkCatcher(QWebEngineProfile* profile) : QWebEnginePage(profile, profile) {}

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType, bool) override
    {
        OpenLinkOutside(url);
        deleteLater();
        return false;
    }
};

} // namespace

NotesWebPage::NotesWebPage(QWebEngineProfile* profile) : QWebEnginePage(profile, profile) {}

bool NotesWebPage::acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame)
{
    if (type == NavigationTypeLinkClicked) {
        if (IsLinkIntoPage(url, m_pageUrl))
            return true;
        OpenLinkOutside(url);
        return false;
    }
    if (!isMainFrame)
        return true; // what a frame may load, LocalContentGuard decides
    if (type == NavigationTypeRedirect)
        return !m_pageUrl.isLocalFile();
    return IsLinkIntoPage(url, m_pageUrl);
}

QWebEnginePage* NotesWebPage::createWindow(WebWindowType)
{
    return new LinkCatcher(profile());
}

} // namespace kau
