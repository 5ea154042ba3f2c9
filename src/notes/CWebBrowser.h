#pragma once
// The second choice of browser control: a QTextBrowser, always built. It shows
// HTML with style sheets and local images, but no scripts and nothing remote.
#include "BrowserView.h"

#include <QPointer>

namespace kau {

class NotesTextBrowser;

class CWebBrowser : public BrowserView {
public:
    CWebBrowser() = default;
    ~CWebBrowser() override;
    CWebBrowser(const CWebBrowser&) = delete;
    CWebBrowser& operator=(const CWebBrowser&) = delete;

    bool Create(QWidget* parent, const QRect& rect) override;
    QWidget* widget() const override;
    void Navigate(const std::string& pathOrUrl) override;
    std::string failureReason() const override { return m_failure; }

private:
    QPointer<NotesTextBrowser> m_browser;
    std::string m_failure;
};

} // namespace kau
