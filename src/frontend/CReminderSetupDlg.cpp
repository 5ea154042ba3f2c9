#include "CReminderSetupDlg.h"

#include "reminder/Reminder.h"
#include "resources/Strings.h"
#include "ui_ReminderSetupDlg.h"

#include <QRegularExpressionValidator>
#include <QShowEvent>

namespace kau {

CReminderSetupDlg::CReminderSetupDlg(Reminder& reminder, QWidget* parent)
    : QDialog(parent), m_reminder(reminder), m_ui(std::make_unique<Ui::ReminderSetupDlg>())
{
    m_ui->setupUi(this);
    setWindowFlags(Qt::Dialog | Qt::WindowTitleHint | Qt::WindowSystemMenuHint
                   | Qt::WindowCloseButtonHint);
    m_ui->intervalEdit->setValidator(
        new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[0-9]*")), this));
    connect(m_ui->okButton, &QPushButton::clicked, this, &CReminderSetupDlg::accept);
    connect(m_ui->cancelButton, &QPushButton::clicked, this, &CReminderSetupDlg::reject);
    connect(m_ui->activeCheck, &QCheckBox::clicked, this, &CReminderSetupDlg::OnClickedActive);
    OnInitDialog();
}

CReminderSetupDlg::~CReminderSetupDlg() = default;

void CReminderSetupDlg::OnInitDialog()
{
    setWindowTitle(windowTitle() + QStringLiteral("  Version: ")
                   + QString::fromUtf8(strings::kToolVersion));
}

void CReminderSetupDlg::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    // A window the window system shows again (after minimising) reads nothing.
    if (!event->spontaneous())
        OnShowWindow();
}

void CReminderSetupDlg::OnShowWindow()
{
    const ReminderSetup setup = m_reminder.ReadSetup();
    m_ui->activeCheck->setChecked(setup.active != 0);
    // A Check of 2 or more sets neither button, which exclusive buttons refuse.
    for (QRadioButton* radio : {m_ui->eachStartRadio, m_ui->afterDaysRadio})
        radio->setAutoExclusive(false);
    m_ui->eachStartRadio->setChecked(setup.check == 0);
    m_ui->afterDaysRadio->setChecked(setup.check == 1);
    for (QRadioButton* radio : {m_ui->eachStartRadio, m_ui->afterDaysRadio})
        radio->setAutoExclusive(true);
    m_ui->intervalEdit->setText(QString::fromStdString(ReminderSetup::IntervalText(setup.interval)));
    OnClickedActive();
}

void CReminderSetupDlg::OnClickedActive()
{
    const bool on = m_ui->activeCheck->isChecked();
    m_ui->intervalEdit->setEnabled(on);
    m_ui->eachStartRadio->setEnabled(on);
    m_ui->afterDaysRadio->setEnabled(on);
}

void CReminderSetupDlg::accept()
{
    ReminderSetup setup;
    setup.active = m_ui->activeCheck->isChecked() ? 1 : 0;
    setup.check = m_ui->afterDaysRadio->isChecked() ? 1 : 0;
    setup.interval = ReminderSetup::IntervalOfText(m_ui->intervalEdit->text().toStdString());
    m_reminder.WriteSetup(setup);
    QDialog::accept();
}

} // namespace kau
