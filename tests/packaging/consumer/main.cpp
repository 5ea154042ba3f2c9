// A program outside the project that uses the installed library: checks the
// server for a product and answers the library's windows as a user would.
//
//   consumer KEY PATH check     the question of the check is answered No
//   consumer KEY PATH install   Yes, then "Install new updates..." and OK, until
//                               the library asks the application to quit
//
// Each box's text is printed between "BOX>>" and "<<BOX" lines.
#include <korautoupdate.h>

#include <QApplication>
#include <QDialog>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTimer>

#include <cstdio>
#include <cstring>

namespace {

// Clicked from the event loop, not inside the answerer's timer: what the
// click opens runs a loop of its own, in which that timer would not fire.
void clickLater(QAbstractButton* button)
{
    QMetaObject::invokeMethod(button, &QAbstractButton::click, Qt::QueuedConnection);
}

void answer(QWidget* window, bool install)
{
    if (auto* box = qobject_cast<QMessageBox*>(window)) {
        std::printf("BOX>>\n%s\n<<BOX\n", box->text().toUtf8().constData());
        std::fflush(stdout);
        const bool agree = install;
        QAbstractButton* button = box->button(agree ? QMessageBox::Yes : QMessageBox::No);
        if (!button)
            button = box->button(agree ? QMessageBox::Ok : QMessageBox::Cancel);
        if (!button)
            button = box->button(QMessageBox::Ok);
        if (button)
            clickLater(button);
        return;
    }
    if (auto* dialog = qobject_cast<QDialog*>(window)) {
        for (QPushButton* button : dialog->findChildren<QPushButton*>()) {
            if (button->text().startsWith(install ? "Install new updates" : "Exit")) {
                std::printf("DIALOG %s\n", button->text().toUtf8().constData());
                std::fflush(stdout);
                clickLater(button);
                return;
            }
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: consumer KEY PATH check|install\n");
        return 2;
    }
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false); // no main window: the boxes are all
    const bool install = std::strcmp(argv[3], "install") == 0;

    // The library's windows are modal: look at the top one every 50 ms.
    QTimer answerer;
    QPointer<QWidget> answered; // each window is answered once
    QObject::connect(&answerer, &QTimer::timeout, [install, &answered] {
        QWidget* window = QApplication::activeModalWidget();
        if (window && window->isVisible() && window != answered) {
            answered = window;
            answer(window, install);
        }
    });
    answerer.start(50);

    // After a Yes the notes open from the event loop, and their hand-off
    // asks the application to quit; a check answered No ends here.
    QTimer::singleShot(0, [&] {
        UpdateInfo(argv[1], argv[2]);
        std::printf("UpdateInfo returned\n");
        std::fflush(stdout);
        if (!install)
            QCoreApplication::quit();
    });
    QTimer::singleShot(60000, [] {
        std::fprintf(stderr, "consumer: not asked to quit within 60 s\n");
        QCoreApplication::exit(1);
    });
    return app.exec();
}
