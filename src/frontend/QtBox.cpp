#include "QtBox.h"

#include "GuiThreadCall.h"
#include "resources/Strings.h"

#include <QApplication>
#include <QMessageBox>

namespace kau {

BoxAnswer QtBox::show(const std::string& text, BoxButtons buttons, BoxIcon icon)
{
    const std::optional<BoxAnswer> answer = GuiThreadCall::run<BoxAnswer>(
        [text, buttons, icon] { return showHere(text, buttons, icon); });
    return answer ? *answer : carefulAnswer(buttons);
}

void QtBox::installDefault()
{
    static QtBox box;
    if (!installedBox())
        installBox(&box);
    GuiThreadCall::tieToApplication();
}

void QtBox::cancelAll() { GuiThreadCall::cancelAll(); }

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
