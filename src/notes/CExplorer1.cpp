#include "CExplorer1.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

#ifdef KAU_HAVE_WEBENGINE
#include "LocalContentGuard.h"
#include "NotesWebPage.h"
#include "PageUrl.h"

#include <QWebEngineProfile>
#include <QWebEngineSettings>
#include <QWebEngineView>
#endif

namespace kau {
namespace {

bool isSet(const char* name)
{
    const char* value = std::getenv(name);
    return value && *value;
}

// Why the web view must not be made in this process; empty if it may.
std::string refusal()
{
    if (isSet("KORAUTOUPDATE_NO_WEBENGINE"))
        return "the web view is switched off (KORAUTOUPDATE_NO_WEBENGINE)";
    if (::geteuid() == 0) {
        const char* flags = std::getenv("QTWEBENGINE_CHROMIUM_FLAGS");
        if (!isSet("QTWEBENGINE_DISABLE_SANDBOX") && !(flags && std::strstr(flags, "--no-sandbox")))
            return "the web view does not run as root with its sandbox on "
                   "(set QTWEBENGINE_DISABLE_SANDBOX=1 to run it without)";
    }
    return {};
}

} // namespace

#ifdef KAU_HAVE_WEBENGINE

CExplorer1::CExplorer1() = default;

CExplorer1::~CExplorer1()
{
    // The view goes before the page, the page before its profile.
    delete m_view.data();
    delete m_profile.data();
}

bool CExplorer1::Built() { return true; }

bool CExplorer1::Create(QWidget* parent, const QRect& rect)
{
    m_failure = refusal();
    if (m_failure.empty() && !parent)
        m_failure = "no window to place the web view in";
    if (!m_failure.empty())
        return false;

    // Off the record: no cache, cookies or history of the page stay on disk.
    m_profile = new QWebEngineProfile();
    m_page = new NotesWebPage(m_profile);
    m_guard = std::make_unique<LocalContentGuard>();
    m_page->setUrlRequestInterceptor(m_guard.get());

    QWebEngineSettings* settings = m_page->settings();
    settings->setAttribute(QWebEngineSettings::JavascriptEnabled, false);
    settings->setAttribute(QWebEngineSettings::JavascriptCanOpenWindows, false);
    settings->setAttribute(QWebEngineSettings::PluginsEnabled, false);
    settings->setAttribute(QWebEngineSettings::PdfViewerEnabled, false);
    settings->setAttribute(QWebEngineSettings::LocalContentCanAccessRemoteUrls, false);
    settings->setAttribute(QWebEngineSettings::LocalStorageEnabled, false);
    settings->setAttribute(QWebEngineSettings::HyperlinkAuditingEnabled, false);
    settings->setAttribute(QWebEngineSettings::DnsPrefetchEnabled, false);
    settings->setAttribute(QWebEngineSettings::NavigateOnDropEnabled, false);
    settings->setAttribute(QWebEngineSettings::WebGLEnabled, false);

    m_view = new QWebEngineView(parent);
    m_view->setPage(m_page);
    m_view->setContextMenuPolicy(Qt::NoContextMenu);
    m_view->setGeometry(rect);
    QObject::connect(m_page, &QWebEnginePage::loadFinished, m_view, [this](bool ok) { pageShown(ok); });
    m_view->show();
    return true;
}

QWidget* CExplorer1::widget() const { return m_view.data(); }

void CExplorer1::Navigate(const std::string& pathOrUrl)
{
    if (!m_view)
        return;
    const QUrl url = PageUrl(pathOrUrl);
    m_guard->setLocalPage(url.isLocalFile());
    m_page->setPageUrl(url);
    m_page->load(url);
}

#else

CExplorer1::CExplorer1() = default;
CExplorer1::~CExplorer1() = default;

bool CExplorer1::Built() { return false; }

bool CExplorer1::Create(QWidget*, const QRect&)
{
    m_failure = refusal();
    if (m_failure.empty())
        m_failure = "this build has no web view (Qt WebEngine)";
    return false;
}

QWidget* CExplorer1::widget() const { return nullptr; }

void CExplorer1::Navigate(const std::string&) {}

#endif

} // namespace kau
