#pragma once
// QTextBrowser that shows an untrusted page: it loads nothing but local
// files and embedded data, and never follows a link itself.
#include <QTextBrowser>

namespace kau {

class NotesTextBrowser : public QTextBrowser {
    Q_OBJECT
public:
    explicit NotesTextBrowser(QWidget* parent);

    QVariant loadResource(int type, const QUrl& name) override;

private:
    void OnAnchorClicked(const QUrl& link);
};

} // namespace kau
