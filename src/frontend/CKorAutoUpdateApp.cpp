#include "CKorAutoUpdateApp.h"

#include <QApplication>

namespace kau {

CKorAutoUpdateApp theApp;

CKorAutoUpdateApp::CKorAutoUpdateApp() : m_loadingThread(std::this_thread::get_id()) {}

void CKorAutoUpdateApp::ensureQtApplication()
{
    if (QCoreApplication::instance())
        return;
    static int argc = 1;
    static char name[] = "korautoupdate";
    static char* argv[] = {name, nullptr};
    // The web view of the release notes asks for shared OpenGL contexts,
    // which can only be set before the application exists.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    // Lives until the process ends, like the host's own would.
    new QApplication(argc, argv);
}

} // namespace kau
