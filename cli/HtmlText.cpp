#include "HtmlText.h"

#include <QGuiApplication>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextList>
#include <QTextTable>

namespace kau::cli {
namespace {

// QTextDocument measures its fonts through a Qt GUI application. The console
// makes one on the "minimal" platform, which needs no display whatever
// QT_QPA_PLATFORM says.
void ensureTextApplication()
{
    if (QCoreApplication::instance())
        return;
    static int argc = 3;
    static char name[] = "korautoupdate", option[] = "-platform", platform[] = "minimal";
    static char* argv[] = {name, option, platform, nullptr};
    // Qt's notes on its start-up (such as a missing XDG_RUNTIME_DIR) would
    // only disturb the console's output.
    const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    new QGuiApplication(argc, argv); // lives until the process ends
    qInstallMessageHandler(previous);
}

// Blanks collapsed and trimmed; a no-break space and a control character
// (a reference like "&#0;") are blanks.
std::string simplified(QString text)
{
    for (QChar& c : text)
        if (c == QChar::Nbsp || c.category() == QChar::Other_Control)
            c = u' ';
    return text.simplified().toStdString();
}

// Adds the lines of text (split at the line breaks a <br> leaves), each
// behind prefix; empty lines are dropped. True if a line was added.
bool addLines(std::string& out, const QString& text, bool blankBefore, const std::string& prefix)
{
    bool added = false;
    for (const QString& part : text.split(QChar::LineSeparator)) {
        const std::string line = simplified(part);
        if (line.empty())
            continue;
        if (!out.empty())
            out += blankBefore && !added ? "\n\n" : "\n";
        out += prefix + line;
        added = true;
    }
    return added;
}

} // namespace

std::string htmlToText(const std::string& html)
{
    ensureTextApplication();
    QTextDocument document;
    document.setHtml(QString::fromUtf8(html.data(), static_cast<qsizetype>(html.size())));
    std::string out;
    bool blank = addLines(out, document.metaInformation(QTextDocument::DocumentTitle), false, "");
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        const QTextBlockFormat format = block.blockFormat();
        blank = blank || format.topMargin() > 0;
        QString text = block.text();
        if (QTextTable* table = QTextCursor(block).currentTable()) {
            // A table row is one line, its cells joined by a blank.
            const QTextTableCell cell = table->cellAt(block.position());
            if (cell.column() > 0)
                continue;
            for (int column = 1; column < table->columns(); ++column) {
                const QTextTableCell next = table->cellAt(cell.row(), column);
                QTextCursor cursor = next.firstCursorPosition();
                cursor.setPosition(next.lastCursorPosition().position(), QTextCursor::KeepAnchor);
                text += u' ' + cursor.selectedText();
            }
        }
        if (addLines(out, text, blank, block.textList() ? "- " : ""))
            blank = format.bottomMargin() > 0;
    }
    if (!out.empty())
        out += '\n';
    return out;
}

} // namespace kau::cli
