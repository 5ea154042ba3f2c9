#pragma once
// A moment on the local clock, counted in days since 1899-12-30 00:00 with the
// time of day as the fraction (0.5 is noon). This is the form in which the
// reminder keeps the time of its last check ("%f" text, six decimals).
//
// Moments before the base day are not supported: the day is taken as
// floor(days), and the fraction is the time of that day.
#include <chrono>
#include <string>

namespace kau {

class Moment {
public:
    constexpr Moment() = default;
    constexpr explicit Moment(double days) : m_days(days) {}

    // The present moment on the local clock.
    static Moment now();
    // The moment of a point in time, seen on the local clock.
    static Moment fromTimePoint(std::chrono::system_clock::time_point tp);
    // The point in time of this moment read as local time (daylight saving
    // time resolved by the C library). Whole seconds, plus the milliseconds
    // the fraction carries.
    std::chrono::system_clock::time_point toTimePoint() const;

    // The text of the moment in the format "%f": six decimals, a point.
    std::string format() const;
    // Reads a moment the way atof reads a number: leading blanks skipped, the
    // longest number at the start taken, text that is no number gives 0.
    static Moment parse(const std::string& text);

    constexpr double days() const { return m_days; }
    // Difference of two moments in days, fractions included.
    constexpr double operator-(const Moment& other) const { return m_days - other.m_days; }
    constexpr Moment operator+(double days) const { return Moment(m_days + days); }
    constexpr Moment operator-(double days) const { return Moment(m_days - days); }
    constexpr bool operator==(const Moment&) const = default;

private:
    double m_days = 0.0;
};

} // namespace kau
