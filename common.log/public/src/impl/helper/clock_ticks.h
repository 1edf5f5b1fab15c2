#pragma once

#include <cstdint>
#include <ctime>

namespace common::log {

/// The timestamp of a wall-clock time in ticks of 100 nanoseconds since 1970-01-01 00:00:00 UTC.
timespec timestampOfTicks(std::int64_t ticks) noexcept;

} // namespace common::log
