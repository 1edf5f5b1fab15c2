#include "helper/calendar_time.h"

namespace common::log {

namespace {

constexpr std::int64_t kLastSecond = 32'535'215'999; // 3000-12-31 23:59:59
constexpr unsigned int kSecondsOfDay = 86'400;

// All without a sign, so that each division by a constant is but a product and a shift.
//
// Years are counted from a 1st of March, so that the leap day is the last day of its year and the months before it
// have lengths that one linear expression gives. An era is the 400 years after which the calendar repeats.
constexpr unsigned int kDaysFromEraTo1970 = 719'468; // 0000-03-01 to 1970-01-01
constexpr unsigned int kDaysOfEra = 146'097;
constexpr unsigned int kDaysOf4Years = 1'461;
constexpr unsigned int kDaysOfCentury = 36'524;

} // namespace

bool toCalendarTime(std::int64_t secondsSince1970, CalendarTime & calendar) noexcept
{
    if (secondsSince1970 < 0 || secondsSince1970 > kLastSecond) {
        return false;
    }
    auto const seconds = static_cast<std::uint64_t>(secondsSince1970);
    auto const days = static_cast<unsigned int>(seconds / kSecondsOfDay) + kDaysFromEraTo1970;
    auto const secondOfDay = static_cast<unsigned int>(seconds % kSecondsOfDay);

    unsigned int const era = days / kDaysOfEra;
    unsigned int const dayOfEra = days % kDaysOfEra;
    // What the leap days add is taken off first; the rest divides by 365.
    unsigned int const yearOfEra =
        (dayOfEra - dayOfEra / (kDaysOf4Years - 1) + dayOfEra / kDaysOfCentury - dayOfEra / (kDaysOfEra - 1)) / 365;
    unsigned int const dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    unsigned int const monthFromMarch = (5 * dayOfYear + 2) / 153;

    calendar.day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
    calendar.month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    calendar.year = 400 * era + yearOfEra + (calendar.month <= 2 ? 1U : 0U);
    calendar.hour = secondOfDay / 3600;
    calendar.minute = secondOfDay / 60 % 60;
    calendar.second = secondOfDay % 60;
    return true;
}

} // namespace common::log
