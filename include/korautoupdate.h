/*
 * KorAutoUpdate: keeps an installation in step with what an update server offers.
 *
 * The whole public interface of libkorautoupdate.so. Every function takes
 * UTF-8 / byte strings (a null pointer counts as an empty string), runs on the
 * caller's thread, never lets an exception out, and reports nothing beyond its
 * bool result: what went wrong is shown to the user in the library's boxes.
 *
 * The caller's thread should run a Qt event loop (or any loop that serves
 * Qt's): the library's reminder window, its timers and its boxes live there.
 * If no QApplication exists when a function is called, the library creates
 * one on the calling thread. Call all functions from that one thread.
 *
 * productKey: the product's directory on the update server, directly under
 *   the account's start directory, and the name of its reminder settings.
 * applicationPath: the application's program path, or its directory. A text
 *   containing ".exe", or naming no existing directory and not ending in "/",
 *   is a program path: its directory is the install directory and the rest
 *   the program name ("/Tool.exe" lies in "/"). Otherwise it is the install
 *   directory itself. Only an empty install directory means the current
 *   directory.
 *
 * The installer: where the release notes hand over to KorAutoInstall, the
 * library starts the one installed with it, found from the library's own
 * file: first <prefix>/libexec/KorAutoInstall, then <prefix>/bin/KorAutoInstall
 * (the install layout's directories next to the library's), and only when
 * neither is an executable file (or its path holds a blank) the first
 * KorAutoInstall on PATH.
 *
 * Diagnostic log: Qt logging categories korautoupdate.ftp, .check, .run,
 * .schedule and .install, silent until switched on, for instance with
 * QT_LOGGING_RULES='korautoupdate.*=true'. They never show a password.
 */
#ifndef KORAUTOUPDATE_H
#define KORAUTOUPDATE_H

#include <stdbool.h>

#if defined(KAU_BUILDING_LIBRARY)
#define KAU_API __attribute__((visibility("default")))
#else
#define KAU_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Checks the server for files newer than the installed ones and names them in
 * a Yes/No box; says so in the same box when the program is up to date. Yes
 * leads on to the release notes. Blocks for the whole check and the box.
 * The first call of UpdateInfo or UpdateStartSchedule in a process fixes the
 * install directory and program name used by the reminder; productKey of
 * this call selects the server directory checked.
 * Result: always false.
 */
KAU_API bool UpdateInfo(const char* productKey, const char* applicationPath);

/*
 * Decides from the product's reminder settings whether a check is due and, if
 * so, starts it on a background thread one second later. Returns at once
 * (it only reads the settings, and writes their defaults on a product's first
 * use); the check never shows a box when all is current, and its question on
 * new files appears on the caller's thread while the event loop runs.
 * Settings: QSettings' INI file $XDG_CONFIG_HOME/Korvane/AutoUpdate.conf
 * (default ~/.config), group productKey, values Active, Check, Interval and
 * LastUpdate. The settings group and the server directory are those of the
 * first call in the process, or of the last UpdateSetupScheduler call.
 * Ending: when the Qt application quits, or the library is unloaded (or the
 * process exits), while the background check runs, its transfer is aborted,
 * its open box is answered No, and the thread is waited for, about five
 * seconds at most; a worker still waiting for its start ends at once.
 * Result: true; false only if the background check could not be started.
 */
KAU_API bool UpdateStartSchedule(const char* productKey, const char* applicationPath);

/*
 * Runs the update (normally inside the installer KorAutoInstall, after the
 * application has ended): fetches every new file (every file when allFiles),
 * keeps the old copies in a restore directory, rewrites the local revision
 * file, then offers to start the program. Each file arrives under a hidden
 * name first; only once it is complete is the old copy kept and the new file
 * put in place, so "abort and exit" leaves every installed file either old or
 * new, and nothing on disk changes once the dialog has closed. Blocks in a
 * modal dialog until the user closes it. Result: always true.
 */
KAU_API bool UpdateFiles(const char* productKey, const char* applicationPath, bool allFiles);

/*
 * Goes back to an earlier state (normally inside the installer KorAutoInstall,
 * after the application has ended): plays the restore directories that update
 * runs left in the install directory back, from the newest down to the one
 * named revision (a 12-character date stamp), so that the files and the local
 * revision file are those from before the update that made it. Each old file
 * is put aside under its "upd_" name until its copy is complete; the archive
 * itself is left as it is. Then offers to start the program.
 * applicationPath is always read as the program's path: the install directory
 * is what stands before its last "/" (give "DIR/" for a directory alone).
 * An empty or unknown revision restores nothing; the log says so.
 * Runs the restore on a worker thread and blocks in a modal dialog on the
 * caller's thread until the user closes it. Result: always true.
 */
KAU_API bool RestoreFiles(const char* revision, const char* applicationPath);

/*
 * Shows a page in the release notes viewer: a modal window without buttons,
 * titled "KorAutoUpdate Release Notes Version: 3.0.0", that ends when the
 * user closes it. pagePath is a local path (relative to the current
 * directory) or a URL. Blocks until the window is closed.
 * The page is treated as untrusted: no scripts or plugins run, a local page
 * loads nothing from the network, and a clicked web link opens in the
 * system's browser.
 * The view is Qt WebEngine where the library was built with it; when that
 * can't be made, a box says why and a plain text view (QTextBrowser) shows
 * the page instead. Running as root: Chromium refuses to run as root with
 * its sandbox and would end the whole process, so as root the library takes
 * the text view unless the host itself has set QTWEBENGINE_DISABLE_SANDBOX=1
 * (or --no-sandbox in QTWEBENGINE_CHROMIUM_FLAGS); it never switches the
 * sandbox off by itself. KORAUTOUPDATE_NO_WEBENGINE=1 makes the web view
 * fail the same way, for anyone who wants the text view.
 * Result: always true.
 */
KAU_API bool ReleaseInfo(const char* pagePath);

/*
 * Shows the reminder settings window for productKey and returns at once; the
 * user works in it while the event loop runs. The window switches the
 * reminder on or off and chooses between a check at each start and a check
 * after a number of days. Each time it appears it shows the stored values
 * (0 for one that can't be read); OK stores Active, Check and Interval of
 * productKey (LastUpdate stays), cancel stores nothing, and both only hide
 * it. There is one window per process: a second call shows the same window.
 * Every call makes productKey the reminder's product: the settings group the
 * window and the start-up check use, and the server directory of the release
 * notes. Called first in a process, it leaves the reminder without an
 * install directory: the current directory serves instead.
 * Result: always true.
 */
KAU_API bool UpdateSetupScheduler(const char* productKey);

#ifdef __cplusplus
}
#endif

#endif
