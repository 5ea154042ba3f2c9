#include "CWebBrowser.h"

#include "NotesTextBrowser.h"
#include "PageUrl.h"

namespace kau {

CWebBrowser::~CWebBrowser()
{
    delete m_browser.data();
}

bool CWebBrowser::Create(QWidget* parent, const QRect& rect)
{
    if (!parent) {
        m_failure = "no window to place the text view in";
        return false;
    }
    m_browser = new NotesTextBrowser(parent);
    m_browser->setGeometry(rect);
    m_browser->show();
    return true;
}

QWidget* CWebBrowser::widget() const { return m_browser.data(); }

void CWebBrowser::Navigate(const std::string& pathOrUrl)
{
    if (!m_browser)
        return;
    const QUrl url = PageUrl(pathOrUrl);
    // Reads local files only (see NotesTextBrowser); a URL elsewhere leaves the view empty.
    m_browser->setSource(url);
    pageShown(url.isLocalFile() && !m_browser->document()->isEmpty());
}

} // namespace kau
