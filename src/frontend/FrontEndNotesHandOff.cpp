#include "FrontEndNotesHandOff.h"

#include "CRestoreDlg.h"
#include "QuitHost.h"

namespace kau {

NotesHandOff FrontEndNotesHandOff()
{
    return {[](const std::string& installDir) { return ChooseRestoreRevision(installDir); }, QuitHost};
}

} // namespace kau
