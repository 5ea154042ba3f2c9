#pragma once
// Message boxes as Qt shows them. A box asked for on another thread is shown
// on the GUI thread, and only the asking thread waits for the answer. When
// the application quits, waiting threads get the careful answer at once, so a
// worker never waits on a GUI thread that is gone.
#include "platform/Box.h"

namespace kau {

class QtBox : public Box {
public:
    BoxAnswer show(const std::string& text, BoxButtons buttons, BoxIcon icon) override;

    // Installs a QtBox unless a box is installed already, and ties it to the
    // application's end.
    static void installDefault();

    // Answers every box still waiting for the GUI thread with the careful
    // answer, and each new one from another thread until the GUI thread
    // handles events again.
    static void cancelAll();

    static BoxAnswer showHere(const std::string& text, BoxButtons buttons, BoxIcon icon);
};

} // namespace kau
