#pragma once
// What every dialog of the library has in common, apart from its layout.
#include <QDialog>
#include <QEvent>
#include <QObject>

#include <functional>

namespace kau {

// A title bar with the system menu and a close button, and no help button;
// modal for the whole application.
inline void SetModalDialogFrame(QDialog& dialog)
{
    dialog.setWindowFlags(Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint
                          | Qt::WindowCloseButtonHint);
    dialog.setWindowModality(Qt::ApplicationModal);
}

// Calls init once, when the dialog is first shown, and brings the dialog to
// the front: the dialog is on the screen before its own work begins.
inline void CallOnFirstShow(QDialog& dialog, std::function<void()> init)
{
    class FirstShow : public QObject {
    public:
        FirstShow(QDialog& dialog, std::function<void()> init)
            : QObject(&dialog), m_dialog(dialog), m_init(std::move(init))
        {
            dialog.installEventFilter(this);
        }
        bool eventFilter(QObject* watched, QEvent* event) override
        {
            if (watched == &m_dialog && event->type() == QEvent::Show) {
                m_dialog.removeEventFilter(this);
                m_init();
                m_dialog.raise();
                m_dialog.activateWindow();
                deleteLater();
            }
            return false;
        }

    private:
        QDialog& m_dialog;
        std::function<void()> m_init;
    };
    new FirstShow(dialog, std::move(init));
}

} // namespace kau
