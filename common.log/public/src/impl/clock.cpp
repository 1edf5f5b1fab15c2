#include <common/log/clock.h>

#include "helper/clock_ticks.h"

#include <chrono>
#include <ratio>

namespace common::log {

namespace {

constexpr std::int64_t kTicksOfSecond = 10'000'000;
constexpr std::int64_t kNanosecondsOfTick = 100;

} // namespace

timespec timestampOfTicks(std::int64_t ticks) noexcept
{
    std::int64_t const seconds = ticks / kTicksOfSecond;
    // In double precision on purpose: readers know the steps of 256 and the full second that this gives, and an exact
    // remainder would change the bytes of every record.
    auto const nanosecondsSince1970 = static_cast<double>(ticks * kNanosecondsOfTick);
    double const nanosecondsOfSeconds = static_cast<double>(seconds) * 1'000'000'000.0;
    timespec timestamp{};
    timestamp.tv_sec = static_cast<decltype(timestamp.tv_sec)>(seconds);
    timestamp.tv_nsec = static_cast<std::int32_t>(nanosecondsSince1970 - nanosecondsOfSeconds);
    return timestamp;
}

Clock::Clock(ClockId /*clockId*/) : m_clockId(CLOCK_ID_WALL) {}

Clock::~Clock() = default;

timespec Clock::getTimestamp() const
{
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, kTicksOfSecond>>;
    auto const sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return timestampOfTicks(std::chrono::duration_cast<Ticks>(sinceEpoch).count());
}

} // namespace common::log
