// An application that keeps itself up to date with KorAutoUpdate: its window
// lets the library decide at the start whether a check is due, and its
// Updates menu opens the library's windows.
//
//   korautoupdate_example [--product KEY] [--app PATH] [--label TEXT]
//
// --product: the product key (default "Sampler"); --app: the path the
// installer starts the program by (default: this program); --label: what
// the window says it is.
#include "ExampleWindow.h"

#include <QApplication>
#include <QCommandLineParser>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QCommandLineParser options;
    options.addHelpOption();
    options.addOptions({{"product", "Product key.", "KEY", "Sampler"},
                        {"app", "Path the installer restarts.", "PATH", app.applicationFilePath()},
                        {"label", "What the window says it is.", "TEXT", "Sampler"}});
    options.process(app);
    const std::string product = options.value("product").toStdString();
    const std::string applicationPath = options.value("app").toStdString();

    ExampleWindow window(product, applicationPath, options.value("label"));
    window.resize(420, 200);
    window.show();
    return app.exec();
}
