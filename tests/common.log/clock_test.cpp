#include <common/log/clock.h>

#include "helper/clock_ticks.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace common::log::test {

namespace {

TEST(ClockTicks, GiveSecondsAndTheNanosecondsOfADouble)
{
    struct Case
    {
        std::int64_t seconds;
        std::int64_t ticks; // behind that second
        std::int64_t nanoseconds;
    };
    // From mid-2006 to early 2043 a double holds the nanoseconds since 1970 in steps of 256, before in steps of 128,
    // afterwards of 512. A full second is a multiple of all three, so that a fraction is rounded by itself.
    for (Case const & value : {
             Case{1'709'806'530, 1, 0},      // 100 is below half a step
             Case{1'709'806'530, 2, 256},    // 200 is above
             Case{1'709'806'530, 32, 3'072}, // 3200 is 12.5 steps, and 12 is even
             Case{1'709'806'530, 96, 9'728}, // 9600 is 37.5 steps, and 38 is even
             Case{1'709'806'530, 9'999'998, 999'999'744},
             Case{1'709'806'530, 9'999'999, 1'000'000'000}, // the last tick, the second not advanced
             Case{1'000'000'000, 9'999'999, 999'999'872}, Case{2'400'000'000, 9'999'998, 1'000'000'000},
             Case{0, 1, 100}, Case{0, -1, -100}, // towards zero
         }) {
        SCOPED_TRACE(std::to_string(value.seconds) + " s, " + std::to_string(value.ticks) + " ticks");
        timespec const timestamp = timestampOfTicks(value.seconds * 10'000'000 + value.ticks);
        EXPECT_EQ(timestamp.tv_sec, value.seconds);
        EXPECT_EQ(timestamp.tv_nsec, value.nanoseconds);
    }
}

std::int64_t systemNanoseconds()
{
    auto const sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count();
}

TEST(Clock, ReadsTheWallClockWhateverItsIdentifier)
{
    for (std::uint32_t const clockId : {0U, 1U, 7U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(clockId);
        Clock const clock(static_cast<ClockId>(clockId));
        std::int64_t const before = systemNanoseconds();
        timespec const timestamp = clock.getTimestamp();
        std::int64_t const after = systemNanoseconds();
        std::int64_t const read = std::int64_t{timestamp.tv_sec} * 1'000'000'000 + timestamp.tv_nsec;
        // Cut to a tick of 100 and brought to a step of 256.
        EXPECT_GE(read, before - 100 - 256);
        EXPECT_LE(read, after + 256);
        EXPECT_EQ(timestamp.tv_nsec % 256, 0);
    }
}

} // namespace

} // namespace common::log::test
