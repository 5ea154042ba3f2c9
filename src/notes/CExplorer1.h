#pragma once
// The first choice of browser control: a full web view (Qt WebEngine), when
// the build has one. Scripts, plugins and a local page's remote loads are
// off, links open in the system's browser, and nothing is kept on disk.
//
// Create fails, with its reason, and the dialog goes on to the next choice:
// - in a build without Qt WebEngine;
// - when KORAUTOUPDATE_NO_WEBENGINE is set to anything but empty (the switch
//   that tests and users set to have the text view);
// - as root, unless the host has switched WebEngine's sandbox off itself
//   (QTWEBENGINE_DISABLE_SANDBOX=1, or --no-sandbox in
//   QTWEBENGINE_CHROMIUM_FLAGS): Chromium refuses to run as root with its
//   sandbox and ends the whole process. The library never switches the
//   sandbox off on its own.
#include "BrowserView.h"

#include <QPointer>
#include <memory>

class QWebEngineView;
class QWebEngineProfile;

namespace kau {

class NotesWebPage;
class LocalContentGuard;

class CExplorer1 : public BrowserView {
public:
    CExplorer1();
    ~CExplorer1() override;
    CExplorer1(const CExplorer1&) = delete;
    CExplorer1& operator=(const CExplorer1&) = delete;

    // Whether this build has the web view at all.
    static bool Built();

    bool Create(QWidget* parent, const QRect& rect) override;
    QWidget* widget() const override;
    void Navigate(const std::string& pathOrUrl) override;
    std::string failureReason() const override { return m_failure; }

private:
    std::string m_failure;
#ifdef KAU_HAVE_WEBENGINE
    QPointer<QWebEngineView> m_view;
    QPointer<QWebEngineProfile> m_profile; // owns the page
    NotesWebPage* m_page = nullptr;
    std::unique_ptr<LocalContentGuard> m_guard;
#endif
};

} // namespace kau
