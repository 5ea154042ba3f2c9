#include "platform/Moment.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <ctime>

namespace kau {

namespace {

using namespace std::chrono;

constexpr double kSecondsPerDay = 86400.0;

// Day number 0 of the count.
constexpr sys_days kBaseDay = sys_days(year(1899) / December / 30);

} // namespace

Moment Moment::now()
{
    return fromTimePoint(system_clock::now());
}

Moment Moment::fromTimePoint(system_clock::time_point tp)
{
    const auto secs = floor<seconds>(tp);
    const std::time_t t = system_clock::to_time_t(secs);
    std::tm local{};
    if (!localtime_r(&t, &local))
        return Moment();
    const sys_days day = sys_days(year(local.tm_year + 1900) / month(unsigned(local.tm_mon + 1))
                                  / std::chrono::day(unsigned(local.tm_mday)));
    const double daySeconds = local.tm_hour * 3600.0 + local.tm_min * 60.0 + local.tm_sec
        + duration<double>(tp - secs).count();
    return Moment(double((day - kBaseDay).count()) + daySeconds / kSecondsPerDay);
}

system_clock::time_point Moment::toTimePoint() const
{
    const double whole = std::floor(m_days);
    const year_month_day ymd(kBaseDay + std::chrono::days(static_cast<long long>(whole)));
    const long long ms = std::llround((m_days - whole) * kSecondsPerDay * 1000.0);
    std::tm local{};
    local.tm_year = int(ymd.year()) - 1900;
    local.tm_mon = int(unsigned(ymd.month())) - 1;
    local.tm_mday = int(unsigned(ymd.day()));
    local.tm_hour = 0;
    local.tm_min = 0;
    local.tm_sec = int(ms / 1000);  // mktime normalises the seconds of the day
    local.tm_isdst = -1;
    const std::time_t t = std::mktime(&local);
    return system_clock::from_time_t(t) + milliseconds(ms % 1000);
}

std::string Moment::format() const
{
    // "%f" of the C locale, whatever locale the host has set: a Qt host sets
    // the user's locale, which may use a comma as the decimal point.
    char buf[400];
    const auto res = std::to_chars(buf, buf + sizeof buf, m_days, std::chars_format::fixed, 6);
    return std::string(buf, res.ptr);
}

Moment Moment::parse(const std::string& text)
{
    // atof with the C locale's decimal point, independent of the host's locale.
    std::size_t i = 0;
    while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i])))
        ++i;
    if (i < text.size() && text[i] == '+')
        ++i;
    double v = 0.0;
    const auto res = std::from_chars(text.data() + i, text.data() + text.size(), v);
    if (res.ec != std::errc() || !std::isfinite(v))
        return Moment();
    return Moment(v);
}

} // namespace kau
