// The module that gives the console its HTML reading: loaded by NotesText
// only when a command prints release notes, so that no other command pays
// Qt GUI's start-up.
#include "HtmlText.h"

#include <string>

extern "C" __attribute__((visibility("default"))) void korautoupdate_html_to_text(const std::string* html,
                                                                                   std::string* text)
{
    *text = kau::cli::htmlToText(*html);
}
