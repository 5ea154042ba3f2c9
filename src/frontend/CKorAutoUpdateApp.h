#pragma once
// The library's application object: it remembers the thread that loaded the
// library (the thread a quit request is meant for) and makes sure a Qt
// application exists before any export shows a window.
#include <thread>

namespace kau {

class CKorAutoUpdateApp {
public:
    CKorAutoUpdateApp();

    std::thread::id loadingThread() const { return m_loadingThread; }

    // Creates a QApplication on the calling thread if the host has none.
    static void ensureQtApplication();

private:
    std::thread::id m_loadingThread;
};

extern CKorAutoUpdateApp theApp;

} // namespace kau
