#pragma once
// The web page of the release notes: it shows the page it was told to open
// and nothing else. A clicked link goes to the system's browser; any other
// navigation away from the page (a refresh header, a form) is refused.
#include <QUrl>
#include <QWebEnginePage>

namespace kau {

class NotesWebPage : public QWebEnginePage {
    Q_OBJECT
public:
    // A child of profile, which must outlive it.
    explicit NotesWebPage(QWebEngineProfile* profile);

    // The page that may be shown in the main frame.
    void setPageUrl(const QUrl& url) { m_pageUrl = url; }

protected:
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;
    // A link that asks for a new window opens in the system's browser too.
    QWebEnginePage* createWindow(WebWindowType type) override;

private:
    QUrl m_pageUrl;
};

} // namespace kau
