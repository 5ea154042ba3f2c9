#pragma once
// The install buttons of the release notes as the front end serves them: the
// restore dialog chooses the release to go back to, and QuitHost ends the host.
#include "notes/NotesHandOff.h"

namespace kau {

NotesHandOff FrontEndNotesHandOff();

} // namespace kau
