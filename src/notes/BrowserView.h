#pragma once
// A browser control made inside a rectangle of a dialog and told to open one
// page. The release notes dialog tries the views in a fixed order and keeps
// the first one that can be made.
//
// The page is untrusted (it comes over plain FTP), so every view shows it
// without running anything: no scripts, no plugins, nothing fetched from the
// network for a local page, and a clicked link goes to the system's browser
// (LinkOpener) instead of being followed inside the dialog.
#include <functional>
#include <string>

class QRect;
class QWidget;

namespace kau {

class BrowserView {
public:
    virtual ~BrowserView() = default;

    // Makes the control as a child of parent, covering rect, visible. False
    // when it can't be made; failureReason() then says why.
    virtual bool Create(QWidget* parent, const QRect& rect) = 0;
    // The control; null until Create has succeeded.
    virtual QWidget* widget() const = 0;
    // Opens a local path (relative to the current directory) or a URL. A page
    // that can't be opened is no failure here: the control shows what it shows.
    virtual void Navigate(const std::string& pathOrUrl) = 0;
    virtual std::string failureReason() const = 0;

    // Called once after each Navigate when the control has shown the page
    // (true) or given up on it (false).
    void setPageShownHandler(std::function<void(bool)> handler) { m_pageShown = std::move(handler); }

protected:
    void pageShown(bool ok) const
    {
        if (m_pageShown)
            m_pageShown(ok);
    }

private:
    std::function<void(bool)> m_pageShown;
};

} // namespace kau
