#include "QtFileChooser.h"

#include "GuiThreadCall.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>

namespace kau {
namespace {

QString fromBytes(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

std::optional<std::string> QtFileChooser::choose(const FileChoice& choice)
{
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return std::nullopt;
    const auto chosen = GuiThreadCall::run<std::optional<std::string>>(
        [choice] { return chooseHere(choice); });
    return chosen ? *chosen : std::nullopt;
}

void QtFileChooser::installDefault()
{
    static QtFileChooser chooser;
    if (!installedFileChooser())
        installFileChooser(&chooser);
    GuiThreadCall::tieToApplication();
}

void QtFileChooser::cancelAll() { GuiThreadCall::cancelAll(); }

int QtFileChooser::waiting() { return GuiThreadCall::waiting(); }

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
