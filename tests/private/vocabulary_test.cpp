// Numbers and sizes that code outside of this repository relies on.

#include "log_buffered.h"

#include <common/log/trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;

using Numbers = std::vector<std::uint32_t>; // filled without a cast: every enumeration converts to its number

TEST(Vocabulary, HasFixedNumbers)
{
    EXPECT_THAT((Numbers{TRACE_OK, TRACE_DISABLED}), ElementsAre(1U, 2U));
    Numbers const failures{TRACE_FAILED,
                           TRACE_UNSUPPORTED,
                           TRACE_INVALID_ARGUMENT,
                           TRACE_NOT_AVAILABLE,
                           TRACE_TRUNCATED,
                           TRACE_QUEUE_FULL,
                           TRACE_ALREADY_REGISTERED,
                           TRACE_NOT_FOUND,
                           TRACE_UNKNOWN_COMMON_RESULT,
                           TRACE_INVALID_UNIT_NAME,
                           TRACE_SHUTTING_DOWN,
                           TRACE_THREAD_START_FAILED,
                           TRACE_MACHINE_MISMATCH,
                           TRACE_NO_SAVED_DATA};
    for (std::uint32_t index = 0; index < failures.size(); ++index) {
        EXPECT_EQ(failures[index], 0xF0000001U + index);
    }
    EXPECT_THAT((Numbers{COMMON_OK, COMMON_FAILED, COMMON_RESULT_2, COMMON_RESULT_3, COMMON_RESULT_4, COMMON_TRUNCATED,
                         COMMON_RESULT_6}),
                ElementsAre(1U, 0xF0000001U, 0xF0000002U, 0xF0000003U, 0xF0000004U, 0xF0000005U, 0xF0000006U));
    EXPECT_THAT((Numbers{PRIORITY_ERROR, PRIORITY_WARNING, PRIORITY_MESSAGE, CLOCK_ID_WALL}),
                ElementsAre(3U, 4U, 6U, 0U));
}

// Tools look at these in memory: a field more shows in the size.
constexpr std::size_t kPointer = sizeof(void *);
static_assert(sizeof(EnablingState) == 3);
static_assert(sizeof(Clock) == 2 * kPointer);
static_assert(sizeof(SnapName) == kPointer + sizeof(std::string));
static_assert(sizeof(LogParametersExtended) == 8 * kPointer);
static_assert(sizeof(LogBuffered) == kPointer + 72);
static_assert(sizeof(InternalTrace) == 4 * kPointer + sizeof(SnapName));

} // namespace

} // namespace common::log::test
