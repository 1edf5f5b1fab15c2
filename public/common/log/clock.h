#pragma once

#include <common/log/export.h>

#include <cstdint>
#include <ctime>

namespace common::log {

/// There is one time source only, so this has one value.
enum ClockId : std::uint32_t
{
    CLOCK_ID_WALL = 0,
};

/// Where the timestamp of every record comes from: the system's wall clock, in UTC.
///
/// Threads    Stateless; any number of threads at once.
/// Real time  Safe: one read of the system clock, no allocation, no lock.
class COMMON_LOG_EXPORT Clock
{
public:
    /// @param clockId  accepted and not used: every Clock reads the wall clock
    explicit Clock(ClockId clockId);
    Clock(Clock const &) = default;
    Clock & operator=(Clock const &) = default;
    virtual ~Clock();

    /// Seconds since 1970-01-01 00:00:00 UTC, and nanoseconds.
    ///
    /// The nanoseconds have the resolution of a double, which for present dates is 256. Those of the last tick of a
    /// second come out as exactly 1,000,000,000 with the second not advanced.
    timespec getTimestamp() const;

private:
    [[maybe_unused]] ClockId m_clockId; // always 0, and never read
};

} // namespace common::log
