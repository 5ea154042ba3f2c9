#pragma once
// The reminder settings window: switches the update reminder on and off and
// chooses between a check at each start and a check after a number of days.
// A view over the process's Reminder, which reads and writes the values.
//
// Modeless. Each time it goes from hidden to shown it reads the values of
// the reminder's current product key anew (a value that can't be read shows
// as 0). OK writes what the controls show, also from disabled controls, and
// hides; cancel hides and writes nothing.
#include <QDialog>

#include <memory>

namespace Ui {
class ReminderSetupDlg;
}

namespace kau {

class Reminder;

class CReminderSetupDlg : public QDialog {
    Q_OBJECT
public:
    explicit CReminderSetupDlg(Reminder& reminder, QWidget* parent = nullptr);
    ~CReminderSetupDlg() override;

public slots:
    void accept() override; // OnOK; cancel is QDialog::reject

protected:
    void showEvent(QShowEvent* event) override;

private:
    void OnInitDialog();
    void OnShowWindow();
    void OnClickedActive();

    Reminder& m_reminder;
    std::unique_ptr<Ui::ReminderSetupDlg> m_ui;
};

} // namespace kau
