#include "reminder/Reminder.h"

#include "flows/ApplicationPath.h"
#include "flows/ReleaseNotesFetch.h"
#include "flows/UpdateCheck.h"
#include "reminder/CRegistryAccess.h"
#include "reminder/ReminderStore.h"

#include <cstdlib>

namespace kau {

namespace {

constexpr RegistryHive kHive = RegistryHive::LocalMachine;

// Holds the client for one flow, unless another flow has it already.
class ClientUse {
public:
    explicit ClientUse(std::atomic_flag& flag) : m_flag(flag), m_mine(!flag.test_and_set()) {}
    ~ClientUse()
    {
        if (m_mine)
            m_flag.clear();
    }
    ClientUse(const ClientUse&) = delete;
    ClientUse& operator=(const ClientUse&) = delete;
    bool mine() const { return m_mine; }

private:
    std::atomic_flag& m_flag;
    bool m_mine;
};

} // namespace

std::string ReminderSetup::IntervalText(std::uint32_t interval)
{
    return std::to_string(static_cast<std::int32_t>(interval));
}

std::uint32_t ReminderSetup::IntervalOfText(const std::string& text)
{
    return static_cast<std::uint32_t>(
        static_cast<std::int32_t>(std::strtoll(text.c_str(), nullptr, 10)));
}

Reminder::Reminder(std::string productKey, std::string installDir, std::string exeName,
                   NotesHook armNotes, std::chrono::milliseconds startDelay)
    : m_strProductKey(std::move(productKey)), m_strInstallDir(std::move(installDir)),
      m_strExeName(std::move(exeName)), m_armNotes(std::move(armNotes)), m_schedule(startDelay)
{
}

Reminder::~Reminder()
{
    StopSchedule();
}

std::string Reminder::productKey() const
{
    std::lock_guard lock(m_keyLock);
    return m_strProductKey;
}

void Reminder::setProductKey(std::string productKey)
{
    std::lock_guard lock(m_keyLock);
    m_strProductKey = std::move(productKey);
}

bool Reminder::CheckForUpdates(std::string productKey, std::string installDir,
                               std::string exeName, bool bQuietIfCurrent)
{
    bool yes = false;
    {
        ClientUse use(m_clientInUse);
        UpdateCheck check(m_ftpClient, m_strInstallDir, [&yes] { yes = true; });
        check.setClientBusy(!use.mine());
        check.run(std::move(productKey), std::move(installDir), std::move(exeName),
                  bQuietIfCurrent);
    }
    // Only now that the client is free: the notes connect on it again.
    if (yes && m_armNotes)
        m_armNotes();
    return false;
}

bool Reminder::RunStartSchedule()
{
    return m_schedule.RunStartSchedule([this] { return productKey(); },
                                       [this](const std::string& key) {
                                           CheckForUpdates(key, m_strInstallDir, m_strExeName,
                                                           true);
                                       });
}

bool Reminder::StopSchedule()
{
    if (!m_schedule.isRunning())
        return true;
    m_ftpClient.Abort();
    const bool stopped = m_schedule.stop();
    if (stopped) {
        // The abort holds until the next Disconnect; later flows start clean.
        ClientUse use(m_clientInUse);
        if (use.mine())
            m_ftpClient.Disconnect();
    }
    return stopped;
}

bool Reminder::FetchReleaseNotes(const ShowNotes& show)
{
    ClientUse use(m_clientInUse);
    if (!use.mine())
        return false;
    Notes notes{{}, productKey(), ApplicationPath::orCurrentDirectory(m_strInstallDir),
                m_strExeName, {}};
    return kau::FetchReleaseNotes(m_ftpClient, notes.productKey, notes.installDir,
                                  [&](const std::string& pagePath) {
                                      notes.pagePath = pagePath;
                                      notes.server = m_ftpClient.server();
                                      if (show)
                                          show(notes);
                                  });
}

ReminderSetup Reminder::ReadSetup() const
{
    const std::string keyPath = reminder::KeyPath(productKey());
    ReminderSetup setup;
    CRegistryAccess reg;
    reg.ReadDword(kHive, keyPath, reminder::kActive, setup.active);
    reg.ReadDword(kHive, keyPath, reminder::kCheck, setup.check);
    reg.ReadDword(kHive, keyPath, reminder::kInterval, setup.interval);
    return setup;
}

void Reminder::WriteSetup(const ReminderSetup& setup) const
{
    CRegistryAccess().WriteValues(kHive, reminder::KeyPath(productKey()),
                                  {{reminder::kActive, setup.active},
                                   {reminder::kCheck, setup.check},
                                   {reminder::kInterval, setup.interval}});
}

} // namespace kau
