#include <common/log/convert_timestamp.h>

#include "helper/calendar_time.h"
#include "helper/string.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace common::log {

namespace {

constexpr std::size_t kLongestText = 27;

/// Puts a number ahead of `end`, filled up with zeros to a fixed number of digits.
///
/// @return where its first digit stands
char * putDigits(char * end, int number, int digits) noexcept
{
    for (int i = 0; i != digits; ++i) {
        *--end = static_cast<char>('0' + number % 10);
        number /= 10;
    }
    return end;
}

/// Writes the usual text, of which every record has one, without the detour over a format that snprintf reads anew each
/// time. `text` takes kLongestText characters and the terminator.
void putTime(char * text, CalendarTime const & calendar, int microseconds) noexcept
{
    char * end = text + kLongestText;
    *end = '\0';
    *--end = 'Z';
    end = putDigits(end, microseconds, 6);
    *--end = '.';
    end = putDigits(end, calendar.second, 2);
    *--end = ':';
    end = putDigits(end, calendar.minute, 2);
    *--end = ':';
    end = putDigits(end, calendar.hour, 2);
    *--end = 'T';
    end = putDigits(end, calendar.day, 2);
    *--end = '-';
    end = putDigits(end, calendar.month, 2);
    *--end = '-';
    (void)putDigits(end, calendar.year, 4);
}

} // namespace

void convertTimestamp(timespec const & timestamp, std::int64_t * microseconds, char * const text,
                      std::uint16_t textSize)
{
    auto const seconds = static_cast<std::int64_t>(timestamp.tv_sec);
    auto const nanoseconds = static_cast<std::int32_t>(timestamp.tv_nsec);
    if (microseconds != nullptr) {
        // Unsigned, so that a time that 64 bits cannot hold wraps around instead of being undefined.
        *microseconds = static_cast<std::int64_t>(static_cast<std::uint64_t>(seconds) * 1'000'000U +
                                                  static_cast<std::uint64_t>(nanoseconds / 1000));
    }
    if (text == nullptr) {
        return;
    }
    char whole[96] = ""; // room for any numbers; a date of this calendar takes 28 bytes
    CalendarTime calendar{};
    int const fraction = nanoseconds / 1000;
    if (seconds != 0 && toCalendarTime(seconds, calendar)) {
        if (fraction >= 0 && fraction < 1'000'000) {
            putTime(whole, calendar, fraction);
        } else {
            (void)std::snprintf(whole, sizeof whole, "%04d-%02d-%02dT%02d:%02d:%02d.%06dZ", calendar.year,
                                calendar.month, calendar.day, calendar.hour, calendar.minute, calendar.second,
                                fraction);
        }
    }
    // Seven digits or a sign, where the nanoseconds are no fraction of a second, push the final Z out: readers rely on
    // at most 27 characters.
    trace::copyTruncated(text, std::min<std::size_t>(textSize, kLongestText + 1), whole);
}

} // namespace common::log
