#pragma once
// The diagnostic log: Qt logging categories, silent unless switched on, e.g.
//   QT_LOGGING_RULES='korautoupdate.*=true'            everything
//   QT_LOGGING_RULES='korautoupdate.ftp.info=true'     the FTP talk only
// Messages go wherever Qt's message handler sends them (stderr by default).
// Info lines tell what was done, warnings why something was not; neither
// ever holds a password.
//
//   korautoupdate.ftp       logon, directory changes, look-ups, transfers
//   korautoupdate.check     the update check and what it found
//   korautoupdate.run       update and restore runs, file by file
//   korautoupdate.schedule  the reminder's settings and its decision
//   korautoupdate.install   the hand-off: which installer, which command line
//
// QtCore only: usable from every layer.
#include <QLoggingCategory>

namespace kau {

Q_DECLARE_LOGGING_CATEGORY(lcFtp)
Q_DECLARE_LOGGING_CATEGORY(lcCheck)
Q_DECLARE_LOGGING_CATEGORY(lcRun)
Q_DECLARE_LOGGING_CATEGORY(lcSchedule)
Q_DECLARE_LOGGING_CATEGORY(lcInstall)

} // namespace kau
