#include "QtBox.h"

#include "resources/Strings.h"

#include <QApplication>
#include <QMessageBox>
#include <QThread>

#include <condition_variable>
#include <memory>
#include <mutex>

namespace kau {
namespace {

// Never destroyed: the library's last static destructors still cancel boxes.
struct WaitState {
    std::mutex mutex;
    std::condition_variable answered;
    bool cancelled = false;
};

WaitState& waitState()
{
    static WaitState* state = new WaitState;
    return *state;
}

struct PendingAnswer {
    bool done = false;
    BoxAnswer answer = BoxAnswer::Ok;
};

} // namespace

BoxAnswer QtBox::show(const std::string& text, BoxButtons buttons, BoxIcon icon)
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return carefulAnswer(buttons);
    if (QThread::currentThread() == app->thread())
        return showHere(text, buttons, icon);

    auto pending = std::make_shared<PendingAnswer>();
    {
        std::lock_guard lock(waitState().mutex);
        if (waitState().cancelled)
            return carefulAnswer(buttons);
    }
    QMetaObject::invokeMethod(
        app,
        [pending, text, buttons, icon] {
            {
                std::lock_guard lock(waitState().mutex);
                if (waitState().cancelled)
                    return;
            }
            const BoxAnswer answer = showHere(text, buttons, icon);
            std::lock_guard lock(waitState().mutex);
            pending->answer = answer;
            pending->done = true;
            waitState().answered.notify_all();
        },
        Qt::QueuedConnection);

    std::unique_lock lock(waitState().mutex);
    waitState().answered.wait(lock, [&] { return pending->done || waitState().cancelled; });
    return pending->done ? pending->answer : carefulAnswer(buttons);
}

void QtBox::installDefault()
{
    static QtBox box;
    if (!installedBox())
        installBox(&box);
    static bool tied = false;
    if (!tied && QCoreApplication::instance()) {
        tied = true;
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit,
                         &QtBox::cancelAll);
        QObject::connect(QCoreApplication::instance(), &QObject::destroyed, &QtBox::cancelAll);
    }
}

void QtBox::cancelAll()
{
    std::lock_guard lock(waitState().mutex);
    waitState().cancelled = true;
    waitState().answered.notify_all();
}

BoxAnswer QtBox::showHere(const std::string& text, BoxButtons buttons, BoxIcon icon)
{
    QMessageBox box;
    box.setWindowTitle(QString::fromUtf8(strings::kBoxCaption));
    box.setText(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
    switch (icon) {
    case BoxIcon::None: box.setIcon(QMessageBox::NoIcon); break;
    case BoxIcon::Question: box.setIcon(QMessageBox::Question); break;
    case BoxIcon::Exclamation: box.setIcon(QMessageBox::Warning); break;
    case BoxIcon::Stop: box.setIcon(QMessageBox::Critical); break;
    }
    switch (buttons) {
    case BoxButtons::Ok: box.setStandardButtons(QMessageBox::Ok); break;
    case BoxButtons::OkCancel: box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel); break;
    case BoxButtons::YesNo: box.setStandardButtons(QMessageBox::Yes | QMessageBox::No); break;
    }
    switch (box.exec()) {
    case QMessageBox::Ok: return BoxAnswer::Ok;
    case QMessageBox::Cancel: return BoxAnswer::Cancel;
    case QMessageBox::Yes: return BoxAnswer::Yes;
    case QMessageBox::No: return BoxAnswer::No;
    default: return carefulAnswer(buttons);
    }
}

} // namespace kau
