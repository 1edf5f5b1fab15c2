#pragma once

#include <common/log/export.h>

#include <cstdint>
#include <ctime>

namespace common::log {

/// Turns a time into microseconds since 1970 and into text such as 2024-03-07T10:15:30.123456Z.
///
/// @param timestamp     UTC; of `tv_nsec` the low 32 bits count, as a signed number
/// @param microseconds  may be null; wraps around where 64 bits do not hold the number
/// @param text          may be null; at most `textSize` - 1 characters, always terminated. The whole text takes 28
///                      bytes. It is empty for second 0 and for a time outside the years 1970 to 3000.
/// @param textSize      in bytes; with 0 nothing is written
///
/// Real time  Safe: no allocation, no lock, no system call.
COMMON_LOG_EXPORT void convertTimestamp(timespec const & timestamp, std::int64_t * microseconds, char * const text,
                                        std::uint16_t textSize);

} // namespace common::log
