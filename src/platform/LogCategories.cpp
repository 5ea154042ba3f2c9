#include "LogCategories.h"

namespace kau {

// Only critical messages are on by default, and the library writes none:
// nothing appears until QT_LOGGING_RULES (or a host's filter) asks for it.
Q_LOGGING_CATEGORY(lcFtp, "korautoupdate.ftp", QtCriticalMsg)
Q_LOGGING_CATEGORY(lcCheck, "korautoupdate.check", QtCriticalMsg)
Q_LOGGING_CATEGORY(lcRun, "korautoupdate.run", QtCriticalMsg)
Q_LOGGING_CATEGORY(lcSchedule, "korautoupdate.schedule", QtCriticalMsg)
Q_LOGGING_CATEGORY(lcInstall, "korautoupdate.install", QtCriticalMsg)

} // namespace kau
