#include "UpdateCheck.h"

#include "ApplicationPath.h"

#include "catalogue/InstallNames.h"
#include "catalogue/RevisionFile.h"
#include "catalogue/ReleaseComparison.h"
#include "catalogue/RevisionList.h"
#include "catalogue/StagedFiles.h"
#include "platform/Box.h"
#include "platform/LogCategories.h"
#include "platform/FixedNames.h"
#include "platform/InstallationLock.h"
#include "platform/PartFile.h"
#include "resources/Strings.h"
#include "server/CFtpFileClient.h"
#include "trust/ReleaseTrust.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace kau {
namespace {

constexpr std::size_t kListedFiles = 10;
constexpr const char* kNoConnection =
    "No connection to the KORVANE ftp server!\nSwitch off the automatic updates!";

} // namespace

UpdateCheck::UpdateCheck(CFtpFileClient& client, std::string sweepDirectory,
                         std::function<void()> onYes)
    : m_client(client), m_sweepDirectory(std::move(sweepDirectory)), m_onYes(std::move(onYes))
{
}

UpdateCheck::Outcome UpdateCheck::run(std::string productKey, std::string installDir,
                                      std::string exeName, bool bQuietIfCurrent)
{
    exeName.erase(0, exeName.find_first_not_of(" \t\r\n\v\f")); // kept for symmetry; unused
    SweepStagedFiles(ApplicationPath::orCurrentDirectory(m_sweepDirectory));
    installDir = ApplicationPath::orCurrentDirectory(installDir);

    qCInfo(lcCheck, "check of %s for %s", productKey.c_str(), installDir.c_str());
    bool failed = false;
    bool yes = false;
    ReleaseTrust trust(productKey);
    m_refusal.clear();
    Outcome outcome = Outcome::Silent;
    try {
        if (m_clientBusy || !m_client.Connect("", "", "")) {
            failed = true;
        } else {
            if (!m_client.ChangeDirectory(productKey) || !m_client.FindFile(kRemoteRevisionFile)) {
                failed = true;
            } else if (!trust.Load(m_client)) {
                qCWarning(lcCheck, "release refused: %s", trust.reason().c_str());
                m_refusal = trust.reason(); // an untrusted release: an unusable server
                failed = true;
            } else if (m_client.DownloadFile(kRemoteRevisionFile, installDir, {},
                                             trust.CheckOf(kRemoteRevisionFile).get())) {
                // The remote list is judged line by line against the local
                // one and not kept: the message needs only its first new
                // entries, and one more to know there are more. A name the
                // run would refuse is not offered.
                LocalRevisionList local;
                ReadLocalRevisions(local, installDir + "/" + kLocalRevisionFile);
                const NameIndex index(local.m_aNames);
                bool newFiles = false;
                std::vector<std::string> names, versions;
                const auto judge = [&](std::string_view name, std::string_view version) {
                    if (names.size() > kListedFiles || !IsNewEntry(index, local, name, version)
                        || !IsSafeInstallName(installDir, std::string(name)))
                        return;
                    newFiles = true;
                    if (names.size() <= kListedFiles) {
                        names.emplace_back(name);
                        versions.emplace_back(version);
                    }
                };
                const bool read = VisitRevisions(installDir + "/" + kRemoteRevisionFile, judge);
                if (!read)
                    qCWarning(lcCheck, "the server's revision file could not be read");
                if (read) {
                    outcome = newFiles ? Outcome::NewFiles : Outcome::UpToDate;
                    qCInfo(lcCheck, newFiles ? "newer files on the server" : "up to date");
                    if (newFiles || !bQuietIfCurrent) {
                        const std::string text = composeMessage(newFiles, names, versions);
                        yes = showBox(text, BoxButtons::YesNo, BoxIcon::Question)
                              == BoxAnswer::Yes;
                    }
                }
            }
            m_client.Disconnect();
            // Only now: what a Yes leads to connects again on the same client.
            if (yes && m_onYes)
                m_onYes();
        }
        if (failed) {
            qCWarning(lcCheck, "the server is not usable for %s (logon, directory or revision file)",
                      productKey.c_str());
            showBox(kNoConnection, BoxButtons::Ok, BoxIcon::Question);
            outcome = Outcome::ServerUnusable;
        }
    } catch (...) {
        qCWarning(lcCheck, "the check broke off");
        showBox("Error in ftp connection", BoxButtons::Ok, BoxIcon::None);
        outcome = Outcome::Error;
    }
    return outcome;
}

bool UpdateCheck::SweepStagedFiles(const std::string& directory)
{
    // A run that holds the installation still needs what it staged; the
    // sweep doesn't wait for it.
    InstallationLock lock(directory);
    if (lock.Acquire(std::chrono::milliseconds::zero()) != InstallationLock::State::Held) {
        qCInfo(lcCheck, "no sweep in %s: %s", directory.c_str(),
               lock.error().empty() ? "a run holds the installation" : lock.error().c_str());
        return true;
    }
    // Downloads that a killed run left unfinished.
    PartFile::RemoveLeftovers(directory);
    std::error_code ec;
    for (std::filesystem::directory_iterator it(directory, ec), end; !ec && it != end;
         it.increment(ec)) {
        const std::string name = it->path().filename().string();
        std::error_code removeError;
        if (name.rfind(kStagedPrefix, 0) != 0 || it->is_directory(removeError))
            continue;
        // Put aside by an update run: a file that a killed run left only under
        // its staged name goes back; every other one is an old copy no longer
        // needed.
        if (!UnstageFile(directory + "/" + name.substr(std::string_view(kStagedPrefix).size())))
            std::filesystem::remove(it->path(), removeError);
    }
    return true;
}

std::string UpdateCheck::composeMessage(bool newFiles, const std::vector<std::string>& names,
                                        const std::vector<std::string>& versions)
{
    std::string text = " Message from: <KorAutoUpdate>-Tool  V ";
    text += strings::kToolVersion;
    text += std::string("\n") + kDashLine + "\n\n";
    if (newFiles) {
        text += " There are some newer files on the server:\n\n";
        const std::size_t listed = std::min({names.size(), versions.size(), kListedFiles});
        for (std::size_t i = 0; i < listed; ++i)
            text += "   " + versions[i] + "\t\t->> " + names[i] + " \n";
        if (names.size() > kListedFiles)
            text += " ... and more ... \n";
    } else {
        text += " Your programm is working with the latest version!\n\n";
    }
    text += std::string("\n") + kDashLine + "\n\n";
    text += " Click <yes> to see the KORVANE update notes \n";
    text += " and to start the installation procedure ...";
    return text;
}

} // namespace kau
