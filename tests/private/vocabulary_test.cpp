#include "support/internal_trace_access.h"

#include "log_buffered.h"

#include <common/log/trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;

using Numbers = std::vector<std::uint32_t>; // filled without a cast: every enumeration converts to its number

template <typename... Enumerations>
constexpr bool kAreNumbers = (std::is_same_v<std::underlying_type_t<Enumerations>, std::uint32_t> && ...);

static_assert(kAreNumbers<TraceResult, CommonResult, PriorityType, OutputType, ClockId>);
static_assert(std::is_same_v<decltype(g_internalTrace), InternalTrace *>);
static_assert(std::is_same_v<decltype(g_logUserData), void volatile * volatile>);
static_assert(
    std::is_same_v<decltype(g_logHookFunc), void (*volatile)(void volatile *, OutputType, char const *, char *)>);

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

// Tools look at objects of the library in memory, and call units through their slots.

constexpr std::size_t kPointer = sizeof(void *);

constexpr std::size_t aligned(std::size_t offset) { return (offset + kPointer - 1) / kPointer * kPointer; }

template <typename Object, typename Field>
std::size_t offsetIn(Object const & object, Field const & field)
{
    return static_cast<std::size_t>(reinterpret_cast<char const *>(&field) - reinterpret_cast<char const *>(&object));
}

template <typename Value, typename Object>
Value valueAt(Object const & object, std::size_t offset)
{
    Value value;
    std::memcpy(&value, reinterpret_cast<char const *>(&object) + offset, sizeof value);
    return value;
}

/// The interfaces as a tool declares them for itself: the same slots in the same order.
struct SlotsOfUnit
{
    virtual ~SlotsOfUnit() = default;
    virtual TraceResult log(unsigned int, char const *, char const *, char const *, char const *, unsigned int,
                            char const *, ...) = 0;
    virtual TraceResult logRealTime(unsigned int, LogParameters const &, ...) = 0;
    virtual TraceResult logRealTimeVaList(unsigned int, LogParameters const &, char *) = 0;
};

/// Pointers to virtual members are equal in memory where their slots are.
template <typename Left, typename Right>
bool isSameSlot(Left left, Right right)
{
    static_assert(sizeof left == sizeof right);
    return std::memcmp(&left, &right, sizeof left) == 0;
}

static_assert(std::has_virtual_destructor_v<ILog> && std::has_virtual_destructor_v<LogParameters>);
static_assert(std::has_virtual_destructor_v<Clock> && sizeof(Clock) == 2 * kPointer);
static_assert(std::has_virtual_destructor_v<SnapName> && sizeof(SnapName) == kPointer + sizeof(std::string));
static_assert(std::has_virtual_destructor_v<InternalTrace>);
static_assert(sizeof(EnablingState) == 3 && std::is_trivially_copyable_v<EnablingState>);

TEST(Layout, UnitsHaveTheirOperationsInSlotOrder)
{
    EXPECT_TRUE(isSameSlot(&ILog::log, &SlotsOfUnit::log));
    EXPECT_TRUE(isSameSlot(&Log::log, &SlotsOfUnit::log));
    EXPECT_TRUE(isSameSlot(&ILogRealTime::logRealTime, &SlotsOfUnit::logRealTime));
    EXPECT_TRUE(isSameSlot(&ILogRealTime::logRealTimeVaList, &SlotsOfUnit::logRealTimeVaList));
}

TEST(Layout, SmallRecordsHoldTheirFieldsInOrder)
{
    EnablingState const state;
    EXPECT_EQ(offsetIn(state, state.warnings), offsetIn(state, state.messages) + 1);
    EXPECT_EQ(offsetIn(state, state.errors), 2U);
    SnapName const snapName;
    EXPECT_EQ(offsetIn(snapName, snapName.getSnapName()), kPointer);
    EXPECT_EQ(valueAt<std::uint32_t>(Clock(static_cast<ClockId>(7)), kPointer), 0U) << "whatever it is given";
}

TEST(Layout, ParametersStandInOrderAndEmpty)
{
    EXPECT_EQ(LogParameters().classType, 0U);
    LogParametersExtended const parameters;
    EXPECT_EQ(parameters.classType, 1U);
    EXPECT_EQ(offsetIn(parameters, parameters.classType), kPointer);
    std::size_t offset = aligned(kPointer + sizeof parameters.classType);
    for (char const * const * const text : {&parameters.componentName, &parameters.snapName, &parameters.fileName,
                                            &parameters.functionName, &parameters.format}) {
        EXPECT_EQ(*text, nullptr);
        offset += text == &parameters.format ? kPointer : 0; // behind the line
        EXPECT_EQ(offsetIn(parameters, *text), offset);
        offset += kPointer;
    }
    EXPECT_EQ(parameters.line, 0U);
    EXPECT_EQ(offsetIn(parameters, parameters.line), offset - 2 * kPointer);
    EXPECT_EQ(sizeof parameters, offset);
}

TEST(Layout, LogHoldsItsFieldsInOrder)
{
    auto const owner = std::make_shared<int>(1);
    std::shared_ptr<Handler> const handler(owner, reinterpret_cast<Handler *>(owner.get()));
    Log const unit("axis.control", handler);
    std::size_t const stateOffset = kPointer + sizeof(std::function<void(EnablingState const &)>);
    std::size_t const nameOffset = stateOffset + 2 * sizeof(EnablingState);
    std::size_t const handlerOffset = aligned(nameOffset + 64);
    EXPECT_EQ(offsetIn(unit, unit.getEnablingState()), stateOffset);
    EXPECT_EQ(offsetIn(unit, unit.getDefaultEnablingState()), stateOffset + sizeof(EnablingState));
    EXPECT_EQ(offsetIn(unit, *unit.getUnitName()), nameOffset);
    EXPECT_EQ(valueAt<void *>(unit, handlerOffset), owner.get());
    EXPECT_EQ(valueAt<std::uint32_t>(unit, handlerOffset + sizeof handler + kPointer), 0U) << "the clock's";
    EXPECT_EQ(sizeof unit, handlerOffset + sizeof handler + sizeof(Clock));
}

TEST(Layout, LogBufferedHoldsItsSwitchAndItsName)
{
    char const expected[64] = "axis"; // and zeros
    for (bool const isEnabled : {false, true}) {
        LogBuffered const unit("axis", isEnabled);
        EXPECT_EQ(valueAt<bool>(unit, kPointer), isEnabled);
        EXPECT_EQ(std::memcmp(reinterpret_cast<char const *>(&unit) + kPointer + 1, expected, sizeof expected), 0);
        EXPECT_EQ(sizeof unit, aligned(kPointer + 1 + sizeof expected));
    }
}

TEST(Layout, InternalTraceHoldsItsFieldsInOrder)
{
    InternalTrace const internalTrace;
    std::size_t const bufferedOffset = aligned(2 * kPointer + sizeof(EnablingState));
    EXPECT_EQ(valueAt<ILogRealTime *>(internalTrace, kPointer), internalTrace.activeUnit());
    EXPECT_EQ(offsetIn(internalTrace, internalTrace.enablingState()), 2 * kPointer);
    EXPECT_EQ(valueAt<LogBuffered *>(internalTrace, bufferedOffset), internalTrace.activeUnit());
    EXPECT_EQ(offsetIn(internalTrace, internalTrace.snapName()), bufferedOffset + kPointer);
    EXPECT_EQ(sizeof internalTrace, bufferedOffset + kPointer + sizeof(SnapName));
}

} // namespace

} // namespace common::log::test
