#include <common/log/convert_timestamp.h>

#include "helper/calendar_time.h"
#include "helper/string.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace common::log {

namespace {

constexpr std::size_t kLongestText = 27;

constexpr char kPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839404142434445464748"
    "49505152535455565758596061626364656667686970717273747576777879808182838485868788899091929394959697"
    "9899";

/// @param number  below 100
void putPair(char * text, std::size_t number) noexcept { std::memcpy(text, &kPairs[2 * number], 2); }

/// Writes the usual text, of which every record has one, without the detour over a format that snprintf reads anew each
/// time. `text` takes kLongestText characters and the terminator.
void putTime(char * text, CalendarTime const & calendar, unsigned int microseconds) noexcept
{
    std::memcpy(text, "0000-00-00T00:00:00.000000Z", kLongestText + 1);
    putPair(text, calendar.year / 100);
    putPair(text + 2, calendar.year % 100);
    putPair(text + 5, calendar.month);
    putPair(text + 8, calendar.day);
    putPair(text + 11, calendar.hour);
    putPair(text + 14, calendar.minute);
    putPair(text + 17, calendar.second);
    putPair(text + 20, microseconds / 10'000);
    putPair(text + 22, microseconds / 100 % 100);
    putPair(text + 24, microseconds % 100);
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
    CalendarTime calendar{};
    bool const isDate = seconds != 0 && toCalendarTime(seconds, calendar);
    int const fraction = nanoseconds / 1000;
    if (isDate && textSize > kLongestText && fraction >= 0 && fraction < 1'000'000) {
        putTime(text, calendar, static_cast<unsigned int>(fraction));
        return;
    }
    char whole[96] = ""; // room for any numbers; a date of this calendar takes 28 bytes
    if (isDate) {
        (void)std::snprintf(whole, sizeof whole, "%04u-%02u-%02uT%02u:%02u:%02u.%06dZ", calendar.year, calendar.month,
                            calendar.day, calendar.hour, calendar.minute, calendar.second, fraction);
    }
    // Seven digits or a sign, where the nanoseconds are no fraction of a second, push the final Z out: readers rely on
    // at most 27 characters.
    trace::copyTruncated(text, std::min<std::size_t>(textSize, kLongestText + 1), whole);
}

} // namespace common::log
