#include "ExampleWindow.h"

#include "korautoupdate.h"

#include <QLabel>
#include <QMenuBar>

#include <filesystem>

ExampleWindow::ExampleWindow(std::string product, std::string applicationPath, const QString& label)
    : m_product(std::move(product)), m_applicationPath(std::move(applicationPath))
{
    setWindowTitle(label);
    auto* text = new QLabel(QStringLiteral("<h2>%1</h2><p>%2</p>")
                                .arg(label.toHtmlEscaped(),
                                     QString::fromStdString(m_applicationPath).toHtmlEscaped()),
                            this);
    text->setAlignment(Qt::AlignCenter);
    text->setMargin(24);
    setCentralWidget(text);

    QMenu* updates = menuBar()->addMenu(QStringLiteral("&Updates"));
    updates->addAction(QStringLiteral("Check for updates…"), this,
                       [this] { UpdateInfo(m_product.c_str(), m_applicationPath.c_str()); });
    updates->addAction(QStringLiteral("Update settings…"), this,
                       [this] { UpdateSetupScheduler(m_product.c_str()); });
    updates->addAction(QStringLiteral("Release notes"), this, [this] {
        // The page the last "yes" to an update fetched next to the program.
        const auto page = std::filesystem::path(m_applicationPath).parent_path() / "LatestUpdate.html";
        ReleaseInfo(page.c_str());
    });
    updates->addSeparator();
    updates->addAction(QStringLiteral("&Quit"), this, &QWidget::close);

    // At the start: a check one second later, if one is due.
    UpdateStartSchedule(m_product.c_str(), m_applicationPath.c_str());
}
