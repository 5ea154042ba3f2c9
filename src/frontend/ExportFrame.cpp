#include "ExportFrame.h"

#include "CKorAutoUpdateApp.h"
#include "QtBox.h"
#include "QtFileChooser.h"

#include <cstdio>
#include <exception>

namespace kau {

std::string exportArgument(const char* text) { return text ? std::string(text) : std::string(); }

bool runExport(const char* exportName, bool onFailure, const std::function<bool()>& body)
{
    try {
        CKorAutoUpdateApp::ensureQtApplication();
        QtBox::installDefault();
        QtFileChooser::installDefault();
        return body();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "KorAutoUpdate: %s failed: %s\n", exportName, e.what());
    } catch (...) {
        std::fprintf(stderr, "KorAutoUpdate: %s failed\n", exportName);
    }
    return onFailure;
}

} // namespace kau
