#pragma once
// The URL of what the release notes are told to open, and the one rule for
// links clicked on such a page.
#include <QUrl>
#include <string>

namespace kau {

// A URL as written ("file:", "http:", ...), anything else a local path, taken
// relative to the current directory.
QUrl PageUrl(const std::string& pathOrUrl);

// Hands a clicked link to the system's browser (QDesktopServices) when it is
// a web or mail link; other schemes (local files above all) are dropped, so
// a page can't make the desktop open or run a local file. True if handed on.
bool OpenLinkOutside(const QUrl& link);

// Whether link points into the page itself (only a fragment differs).
bool IsLinkIntoPage(const QUrl& link, const QUrl& page);

} // namespace kau
