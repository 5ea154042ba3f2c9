#include "QuitHost.h"

#include <QCoreApplication>
#include <QMetaObject>

namespace kau {

void QuitHost()
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return;
    // Queued, so that a caller on the application's thread finishes its
    // handler first. exit() ends every loop of that thread, the modal ones
    // included, whatever the windows think of being closed.
    QMetaObject::invokeMethod(app, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
}

} // namespace kau
