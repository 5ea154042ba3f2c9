#pragma once
// Message boxes as Qt shows them. A box asked for on another thread is shown
// on the GUI thread, and only the asking thread waits for the answer.
#include "platform/Box.h"

namespace kau {

class QtBox : public Box {
public:
    BoxAnswer show(const std::string& text, BoxButtons buttons, BoxIcon icon) override;

    // Installs a QtBox unless a box is installed already.
    static void installDefault();

private:
    static BoxAnswer showOnGuiThread(const std::string& text, BoxButtons buttons, BoxIcon icon);
};

} // namespace kau
