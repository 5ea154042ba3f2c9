#pragma once
// The example application's main window: what the program is, and a menu with
// the library's windows. Made at the application's start, it lets the library
// check for updates if a check is due.
#include <QMainWindow>

#include <string>

class ExampleWindow : public QMainWindow {
    Q_OBJECT
public:
    // product: the product key; applicationPath: this program as the
    // installer starts it again; label: what the window says it is.
    ExampleWindow(std::string product, std::string applicationPath, const QString& label);

private:
    std::string m_product;
    std::string m_applicationPath;
};
