// Time from opening the release notes dialog to its page being shown, in one
// process: the first opening (the view's start-up included) and a second one.
// Prints "first-ms second-ms view". The view is chosen as users choose it
// (KORAUTOUPDATE_NO_WEBENGINE for the text view).
//
//   release_notes_bench PAGE [--buttons] [--grab PNG]
// --buttons opens the dialog as the update check does; --grab saves what the
// first opening shows.
#include "frontend/CKorAutoUpdateApp.h"
#include "notes/BrowserView.h"
#include "notes/CReleaseNotesDlg.h"
#include "platform/Box.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: release_notes_bench PAGE [--buttons] [--grab PNG]\n");
        return 2;
    }
    bool buttons = false;
    std::string grab;
    for (int i = 2; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--buttons"))
            buttons = true;
        else if (!std::strcmp(argv[i], "--grab") && i + 1 < argc)
            grab = argv[++i];
    }
    kau::CKorAutoUpdateApp::ensureQtApplication();
    double ms[2] = {0, 0};
    std::string view;
    for (int round = 0; round < 2; ++round) {
        kau::CReleaseNotesDlg dialog;
        dialog.m_strPage = argv[1];
        dialog.m_bInstallButtons = buttons;
        if (buttons)
            dialog.m_strTitle = " <<<  Last Software Updates on <localhost>  (KORVANE AG Varnland)  >>>";
        QElapsedTimer clock;
        QObject::connect(&dialog, &kau::CReleaseNotesDlg::pageShown, &dialog, [&](bool) {
            ms[round] = static_cast<double>(clock.nsecsElapsed()) / 1e6;
            view = dialog.view()->widget()->metaObject()->className();
            // Let the page be painted before the picture is taken.
            QTimer::singleShot(round == 0 && !grab.empty() ? 500 : 0, &dialog, [&, round] {
                if (round == 0 && !grab.empty())
                    dialog.grab().save(QString::fromStdString(grab));
                dialog.close();
            });
        });
        clock.start();
        dialog.DoModal();
    }
    std::printf("%.1f %.1f %s\n", ms[0], ms[1], view.c_str());
    return 0;
}
