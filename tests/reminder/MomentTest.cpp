#include "platform/Moment.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <ctime>

using kau::Moment;
using namespace std::chrono;

namespace {

// A local date and time as a time point, through the C library.
system_clock::time_point localTime(int y, int mon, int d, int h, int min, int s)
{
    std::tm tm{};
    tm.tm_year = y - 1900;
    tm.tm_mon = mon - 1;
    tm.tm_mday = d;
    tm.tm_hour = h;
    tm.tm_min = min;
    tm.tm_sec = s;
    tm.tm_isdst = -1;
    return system_clock::from_time_t(std::mktime(&tm));
}

} // namespace

TEST(Moment, CountsDaysSinceTheBaseDayWithTimeOfDayAsFraction)
{
    EXPECT_DOUBLE_EQ(Moment::fromTimePoint(localTime(1899, 12, 30, 0, 0, 0)).days(), 0.0);
    EXPECT_DOUBLE_EQ(Moment::fromTimePoint(localTime(1900, 1, 1, 18, 0, 0)).days(), 2.75);
    EXPECT_DOUBLE_EQ(Moment::fromTimePoint(localTime(2000, 1, 1, 12, 0, 0)).days(), 36526.5);
    EXPECT_NEAR(Moment::fromTimePoint(localTime(2026, 11, 22, 6, 0, 0)).days(), 46348.25, 1e-9);
}

TEST(Moment, RoundTripsThroughTimePoints)
{
    const auto tp = localTime(2024, 7, 15, 13, 45, 30);
    EXPECT_EQ(Moment::fromTimePoint(tp).toTimePoint(), tp);
    const auto nowMoment = Moment::now();
    EXPECT_NEAR(nowMoment - Moment::fromTimePoint(system_clock::now()), 0.0, 1.0 / 86400);
}

TEST(Moment, FormatsWithSixDecimalsWhateverTheLocale)
{
    EXPECT_EQ(Moment(46348.25).format(), "46348.250000");
    EXPECT_EQ(Moment(0).format(), "0.000000");
    const std::string old = std::setlocale(LC_NUMERIC, nullptr);
    if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") || std::setlocale(LC_NUMERIC, "fr_FR.UTF-8")) {
        EXPECT_EQ(Moment(1.5).format(), "1.500000");
        EXPECT_DOUBLE_EQ(Moment::parse("1.5").days(), 1.5);
    }
    std::setlocale(LC_NUMERIC, old.c_str());
}

TEST(Moment, ParsesLikeAtof)
{
    EXPECT_DOUBLE_EQ(Moment::parse("46348.250000").days(), 46348.25);
    EXPECT_DOUBLE_EQ(Moment::parse("  12.5xyz").days(), 12.5);
    EXPECT_DOUBLE_EQ(Moment::parse("+3").days(), 3.0);
    EXPECT_DOUBLE_EQ(Moment::parse("-2.5").days(), -2.5);
    EXPECT_DOUBLE_EQ(Moment::parse("").days(), 0.0);
    EXPECT_DOUBLE_EQ(Moment::parse("yesterday").days(), 0.0);
    EXPECT_DOUBLE_EQ(Moment::parse("1e999").days(), 0.0);
    EXPECT_DOUBLE_EQ(Moment::parse("nan").days(), 0.0);
    const Moment m(46348.123456);
    EXPECT_DOUBLE_EQ(Moment::parse(m.format()).days(), 46348.123456);
}
