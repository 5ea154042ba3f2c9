#pragma once
// Keeps a local page local: while the web view shows a file, every request
// for something that is not a local file or embedded data is blocked, so the
// page can't report home or pull in remote content.
#include <QWebEngineUrlRequestInterceptor>
#include <atomic>

namespace kau {

class LocalContentGuard : public QWebEngineUrlRequestInterceptor {
    Q_OBJECT
public:
    void setLocalPage(bool local) { m_localPage = local; }
    void interceptRequest(QWebEngineUrlRequestInfo& info) override;

private:
    std::atomic<bool> m_localPage{true};
};

} // namespace kau
