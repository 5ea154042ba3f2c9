#include "NotesTextBrowser.h"

#include "PageUrl.h"

namespace kau {

NotesTextBrowser::NotesTextBrowser(QWidget* parent) : QTextBrowser(parent)
{
    setOpenLinks(false);
    setOpenExternalLinks(false);
    connect(this, &QTextBrowser::anchorClicked, this, &NotesTextBrowser::OnAnchorClicked);
}

QVariant NotesTextBrowser::loadResource(int type, const QUrl& name)
{
    const QUrl url = source().resolved(name);
    if (!url.isLocalFile() && url.scheme() != "data" && url.scheme() != "qrc" && !url.scheme().isEmpty())
        return {};
    return QTextBrowser::loadResource(type, name);
}

void NotesTextBrowser::OnAnchorClicked(const QUrl& link)
{
    const QUrl target = source().resolved(link);
    if (IsLinkIntoPage(target, source())) {
        if (target.hasFragment())
            scrollToAnchor(target.fragment());
        return;
    }
    OpenLinkOutside(target);
}

} // namespace kau
