#include "Box.h"

#include <atomic>
#include <cstdio>

namespace kau {
namespace {
std::atomic<Box*> g_box{nullptr};
}

Box* installBox(Box* box) { return g_box.exchange(box); }

Box* installedBox() { return g_box.load(); }

BoxAnswer carefulAnswer(BoxButtons buttons)
{
    switch (buttons) {
    case BoxButtons::YesNo: return BoxAnswer::No;
    case BoxButtons::OkCancel: return BoxAnswer::Cancel;
    case BoxButtons::Ok: break;
    }
    return BoxAnswer::Ok;
}

BoxAnswer showBox(const std::string& text, BoxButtons buttons, BoxIcon icon)
{
    if (Box* box = g_box.load())
        return box->show(text, buttons, icon);
    std::fprintf(stderr, "%s\n", text.c_str());
    return carefulAnswer(buttons);
}

} // namespace kau
