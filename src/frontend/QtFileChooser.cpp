#include "QtFileChooser.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace kau {
namespace {

struct Request {
    bool done = false;
    std::optional<std::string> path;
};

std::mutex g_mutex;
std::condition_variable g_answered;
std::vector<std::shared_ptr<Request>> g_waiting;
// Set when the application quits; cleared once its GUI thread handles events again.
bool g_quitting = false;

QString fromBytes(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

void finish(Request& request, std::optional<std::string> path)
{
    if (request.done)
        return;
    request.path = std::move(path);
    request.done = true;
    g_answered.notify_all();
}

} // namespace

std::optional<std::string> QtFileChooser::choose(const FileChoice& choice)
{
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    if (!app)
        return std::nullopt;
    if (QThread::currentThread() == app->thread())
        return chooseHere(choice);

    auto request = std::make_shared<Request>();
    {
        std::lock_guard lock(g_mutex);
        if (g_quitting)
            return std::nullopt;
        g_waiting.push_back(request);
    }
    QMetaObject::invokeMethod(
        app,
        [request, choice] {
            {
                std::lock_guard lock(g_mutex);
                if (request->done)
                    return;
            }
            std::optional<std::string> path = chooseHere(choice);
            std::lock_guard lock(g_mutex);
            finish(*request, std::move(path));
        },
        Qt::QueuedConnection);

    std::unique_lock lock(g_mutex);
    g_answered.wait(lock, [&] { return request->done; });
    std::erase(g_waiting, request);
    return request->path;
}

void QtFileChooser::installDefault()
{
    static QtFileChooser chooser;
    if (!installedFileChooser())
        installFileChooser(&chooser);
    static QPointer<QCoreApplication> tiedTo;
    QCoreApplication* app = QCoreApplication::instance();
    if (app && tiedTo != app) {
        tiedTo = app;
        {
            std::lock_guard lock(g_mutex);
            g_quitting = false;
        }
        QObject::connect(app, &QCoreApplication::aboutToQuit, &QtFileChooser::cancelAll);
        QObject::connect(app, &QObject::destroyed, &QtFileChooser::cancelAll);
    }
}

void QtFileChooser::cancelAll()
{
    {
        std::lock_guard lock(g_mutex);
        for (const auto& request : g_waiting)
            finish(*request, std::nullopt);
        g_quitting = true;
    }
    // Behind every request already queued: the GUI thread serves requests again.
    if (QCoreApplication* app = QCoreApplication::instance()) {
        QMetaObject::invokeMethod(
            app,
            [] {
                std::lock_guard lock(g_mutex);
                g_quitting = false;
            },
            Qt::QueuedConnection);
    }
}

int QtFileChooser::waiting()
{
    std::lock_guard lock(g_mutex);
    return static_cast<int>(std::count_if(g_waiting.begin(), g_waiting.end(),
                                          [](const auto& request) { return !request->done; }));
}

std::optional<std::string> QtFileChooser::chooseHere(const FileChoice& choice)
{
    QFileDialog dialog(nullptr, fromBytes(choice.title));
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    // The labels carry their patterns already, as "Text Files (*.txt)".
    dialog.setOption(QFileDialog::HideNameFilterDetails);
    if (choice.forOpen) {
        dialog.setAcceptMode(QFileDialog::AcceptOpen);
        dialog.setFileMode(QFileDialog::ExistingFile);
    } else {
        dialog.setAcceptMode(QFileDialog::AcceptSave);
        dialog.setFileMode(QFileDialog::AnyFile);
        dialog.setOption(QFileDialog::DontConfirmOverwrite, false);
    }
    const QStringList filters = nameFilters(choice.filter);
    if (!filters.isEmpty())
        dialog.setNameFilters(filters);
    dialog.setDefaultSuffix(defaultSuffix(choice.defaultExtension));
    if (!choice.initialDirectory.empty())
        dialog.setDirectory(QFile::decodeName(QByteArray::fromStdString(choice.initialDirectory)));
    // A name with a directory in it opens the dialog in that directory.
    if (!choice.name.empty())
        dialog.selectFile(QFile::decodeName(QByteArray::fromStdString(choice.name)));

    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    const QStringList files = dialog.selectedFiles();
    if (files.isEmpty() || files.first().isEmpty())
        return std::nullopt;
    return QFile::encodeName(files.first()).toStdString();
}

QStringList QtFileChooser::nameFilters(const std::string& filter)
{
    const QStringList fields = fromBytes(filter).split(QLatin1Char('|'));
    QStringList result;
    for (qsizetype i = 0; i + 1 < fields.size(); i += 2) {
        const QString label = fields[i].trimmed();
        const QString patternField = fields[i + 1];
        if (label.isEmpty() || patternField.isEmpty())
            break;
        QStringList patterns;
        for (QString pattern : patternField.split(QLatin1Char(';'))) {
            // Qt reads the patterns from the last bracketed group of a filter.
            pattern.remove(QLatin1Char('(')).remove(QLatin1Char(')'));
            pattern = pattern.trimmed();
            if (pattern.isEmpty())
                continue;
            patterns << (pattern == QLatin1String("*.*") ? QStringLiteral("*") : pattern);
        }
        if (!patterns.isEmpty())
            result << label + QLatin1String(" (") + patterns.join(QLatin1Char(' ')) + QLatin1Char(')');
    }
    return result;
}

QString QtFileChooser::defaultSuffix(const std::string& extension)
{
    QString suffix = fromBytes(extension).trimmed();
    while (suffix.startsWith(QLatin1Char('*')) || suffix.startsWith(QLatin1Char('.')))
        suffix.remove(0, 1);
    for (QChar c : suffix) {
        if (c == QLatin1Char('*') || c == QLatin1Char('?') || c == QLatin1Char('/') ||
            c == QLatin1Char(';') || c.isSpace())
            return QString();
    }
    return suffix;
}

} // namespace kau
