#pragma once

#include <cstdint>

namespace common::log {

/// A time of the proleptic Gregorian calendar in UTC, without leap seconds.
struct CalendarTime
{
    unsigned int year;
    unsigned int month; ///< 1 to 12
    unsigned int day;   ///< 1 to 31
    unsigned int hour;
    unsigned int minute;
    unsigned int second;
};

/// @return false, and nothing set, outside of 1970-01-01 00:00:00 to 3000-12-31 23:59:59
///
/// Real time  Safe, which the system's own conversion is not: that one takes the lock of the time zone.
bool toCalendarTime(std::int64_t secondsSince1970, CalendarTime & calendar) noexcept;

} // namespace common::log
