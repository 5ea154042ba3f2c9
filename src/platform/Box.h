#pragma once
// The one seam through which every message box of the library is shown.
//
// Code anywhere in the library calls showBox(); the front end installs the
// implementation that fits it (Qt message boxes, the console, a scripted
// answerer in tests). Without an installed box, texts go to stderr and the
// box answers with its most careful button (No, Cancel, or OK).
#include <string>

namespace kau {

enum class BoxButtons { Ok, OkCancel, YesNo };
enum class BoxIcon { None, Question, Exclamation, Stop };
enum class BoxAnswer { Ok, Cancel, Yes, No };

class Box {
public:
    virtual ~Box() = default;
    // Shows the text and blocks the calling thread until it is answered.
    // May be called from any thread.
    virtual BoxAnswer show(const std::string& text, BoxButtons buttons, BoxIcon icon) = 0;
};

// Installs the process-wide box (not owned); nullptr restores the default.
// Returns the box that was installed before.
Box* installBox(Box* box);
Box* installedBox();

BoxAnswer showBox(const std::string& text, BoxButtons buttons = BoxButtons::Ok,
                  BoxIcon icon = BoxIcon::None);

// The answer a box gives when nobody can answer it.
BoxAnswer carefulAnswer(BoxButtons buttons);

} // namespace kau
