#include "QtBox.h"

#include "resources/Strings.h"

#include <QApplication>
#include <QMessageBox>
#include <QThread>

namespace kau {

BoxAnswer QtBox::show(const std::string& text, BoxButtons buttons, BoxIcon icon)
{
    QCoreApplication* app = QCoreApplication::instance();
    if (!app)
        return carefulAnswer(buttons);
    if (QThread::currentThread() == app->thread())
        return showOnGuiThread(text, buttons, icon);
    BoxAnswer answer = carefulAnswer(buttons);
    QMetaObject::invokeMethod(
        app, [&] { answer = showOnGuiThread(text, buttons, icon); },
        Qt::BlockingQueuedConnection);
    return answer;
}

void QtBox::installDefault()
{
    static QtBox box;
    if (!installedBox())
        installBox(&box);
}

BoxAnswer QtBox::showOnGuiThread(const std::string& text, BoxButtons buttons, BoxIcon icon)
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
