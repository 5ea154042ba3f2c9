#include "reminder/StartSchedule.h"

#include "platform/LogCategories.h"
#include "platform/Moment.h"
#include "reminder/CRegistryAccess.h"
#include "reminder/ReminderStore.h"

#include <condition_variable>
#include <system_error>

namespace kau {

struct StartSchedule::Shared {
    mutable std::mutex mutex;
    mutable std::condition_variable cv;
    bool running = false;
    bool stopRequested = false;
    std::function<void()> onFinished;
};

namespace {

constexpr RegistryHive kHive = RegistryHive::LocalMachine;

} // namespace

StartSchedule::StartSchedule(std::chrono::milliseconds startDelay)
    : m_startDelay(startDelay), m_shared(std::make_shared<Shared>())
{
}

StartSchedule::~StartSchedule()
{
    stop();
}

bool StartSchedule::IsCheckDue(std::uint32_t check, std::uint32_t intervalDays,
                               double lastUpdateDays, double nowDays)
{
    if (check == 0)
        return true;
    return !(nowDays - lastUpdateDays < static_cast<double>(intervalDays));
}

bool StartSchedule::RunStartSchedule(const std::string& productKey, Check check)
{
    return RunStartSchedule([productKey] { return productKey; }, std::move(check));
}

bool StartSchedule::RunStartSchedule(KeySource productKey, Check check)
{
    const std::string keyPath = reminder::KeyPath(productKey());

    CRegistryAccess reg;
    std::uint32_t active = 0;
    if (reg.ReadDword(kHive, keyPath, reminder::kActive, active) != 0) {
        // New to the store: the defaults, in this order, status not looked
        // at. One change of the file: the host's start pays for one write,
        // and no other process ever sees half of the defaults.
        reg.WriteValues(kHive, keyPath,
                        {{reminder::kActive, std::uint32_t(1)},
                         {reminder::kCheck, std::uint32_t(0)},
                         {reminder::kInterval, std::uint32_t(5)},
                         {reminder::kLastUpdate, Moment::now().format()}});
        active = 1;
    }
    if (active == 0) {
        qCInfo(lcSchedule, "%s: reminder off (Active=0), no check", keyPath.c_str());
        return true;
    }

    std::uint32_t checkMode = 0;
    reg.ReadDword(kHive, keyPath, reminder::kCheck, checkMode);
    if (checkMode != 0) {
        std::uint32_t interval = 0;
        std::string last;
        reg.ReadDword(kHive, keyPath, reminder::kInterval, interval);
        reg.ReadString(kHive, keyPath, reminder::kLastUpdate, last);
        if (!IsCheckDue(checkMode, interval, Moment::parse(last).days(), Moment::now().days())) {
            qCInfo(lcSchedule, "%s: no check due (Interval=%u days, LastUpdate=%s)",
                   keyPath.c_str(), interval, last.c_str());
            return true;
        }
    }
    qCInfo(lcSchedule, "%s: check due (Check=%u)", keyPath.c_str(), checkMode);

    std::lock_guard control(m_control);
    {
        std::lock_guard lock(m_shared->mutex);
        if (m_shared->running) {
            qCInfo(lcSchedule, "a check runs already");
            return true;
        }
        m_shared->running = true;
        m_shared->stopRequested = false;
    }
    if (m_thread.joinable())
        m_thread.join();  // the last worker has ended already
    try {
        m_thread = std::thread(&StartSchedule::ScheduleThreadProc, m_shared, std::move(productKey),
                               std::move(check), m_startDelay);
    } catch (const std::system_error&) {
        std::lock_guard lock(m_shared->mutex);
        m_shared->running = false;
        return false;
    }
    return true;
}

bool StartSchedule::isRunning() const
{
    std::lock_guard lock(m_shared->mutex);
    return m_shared->running;
}

bool StartSchedule::waitUntilIdle(std::chrono::milliseconds timeout) const
{
    std::unique_lock lock(m_shared->mutex);
    return m_shared->cv.wait_for(lock, timeout, [&] { return !m_shared->running; });
}

bool StartSchedule::stopRequested() const
{
    std::lock_guard lock(m_shared->mutex);
    return m_shared->stopRequested;
}

void StartSchedule::setOnFinished(std::function<void()> onFinished)
{
    std::lock_guard lock(m_shared->mutex);
    m_shared->onFinished = std::move(onFinished);
}

bool StartSchedule::stop()
{
    std::lock_guard control(m_control);
    {
        std::lock_guard lock(m_shared->mutex);
        m_shared->stopRequested = true;
    }
    m_shared->cv.notify_all();
    if (!m_thread.joinable())
        return true;
    if (m_thread.get_id() == std::this_thread::get_id()) {
        // Called from the check itself: it can't wait for its own end.
        m_thread.detach();
        return false;
    }
    if (!waitUntilIdle(kStopWait)) {
        m_thread.detach();
        return false;
    }
    m_thread.join();
    return true;
}

// The worker holds its own reference to the shared state, so it never
// touches the schedule object.
void StartSchedule::ScheduleThreadProc(std::shared_ptr<Shared> shared, KeySource productKey,
                                       Check check, std::chrono::milliseconds delay)
{
    bool stopped;
    {
        std::unique_lock lock(shared->mutex);
        stopped = shared->cv.wait_for(lock, delay, [&] { return shared->stopRequested; });
    }
    if (!stopped) {
        const std::string key = productKey();
        CRegistryAccess().WriteString(kHive, reminder::KeyPath(key), reminder::kLastUpdate,
                                      Moment::now().format());
        bool stopNow;
        {
            std::lock_guard lock(shared->mutex);
            stopNow = shared->stopRequested;
        }
        if (check && !stopNow) {
            try {
                check(key);
            } catch (...) {
                // The check reports its own failures; nothing may leave the thread.
            }
        }
    }
    std::function<void()> onFinished;
    {
        std::lock_guard lock(shared->mutex);
        shared->running = false;
        onFinished = shared->onFinished;
    }
    shared->cv.notify_all();
    if (onFinished)
        onFinished();
}

} // namespace kau
