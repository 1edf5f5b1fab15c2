#include "unit_calls.h"

#include <algorithm>
#include <functional>
#include <memory>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;

bool isEqual(EnablingState const & left, EnablingState const & right)
{
    return left.messages == right.messages && left.warnings == right.warnings && left.errors == right.errors;
}

class LogTest : public UnitTest
{
protected:
    Log unit{"axis.control", nullptr};
};

class LogOfClass : public LogTest, public testing::WithParamInterface<CodeClass>
{
};

TEST_P(LogOfClass, PassesByItsOwnFlagAlone)
{
    bool EnablingState::*const flag = GetParam().flag;
    std::string const record = std::string("T||") + GetParam().writtenCode + "|" + GetParam().titleStart +
                               "axis.control|||axis|machine|axis.control|axis.cpp|Axis::start|118|Axis 3 started";
    for (int flags = 0; flags < 8; ++flags) {
        SCOPED_TRACE(flags);
        EnablingState const state{(flags & 1) != 0, (flags & 2) != 0, (flags & 4) != 0};
        if (flags != 0) { // as a new unit is
            unit.setEnablingState(state);
        }
        TraceResult const result = callLog(unit, GetParam().code, {}, "Axis %d started", 3);
        if (flag != nullptr && !(state.*flag)) {
            EXPECT_EQ(result, TRACE_DISABLED);
            EXPECT_THAT(takeLines(), IsEmpty());
        } else {
            EXPECT_EQ(result, flag != nullptr ? TRACE_OK : TRACE_INVALID_ARGUMENT);
            EXPECT_THAT(takeLines(), ElementsAre(record));
        }
    }
}
INSTANTIATE_TEST_SUITE_P(Class, LogOfClass, testing::ValuesIn(kCodeClasses),
                         [](auto const & i) { return i.param.name; });

TEST_F(LogTest, TakesEachNibbleButThreeForInvalid)
{
    for (unsigned int nibble = 0; nibble < 16; ++nibble) {
        bool const isValid = nibble == 0xA || nibble == 0xE || nibble == 0xF;
        EXPECT_EQ(callLog(unit, 0xFFF0FFFF | nibble << 16U, {}, ""), isValid ? TRACE_DISABLED : TRACE_INVALID_ARGUMENT)
            << nibble;
    }
}

TEST_F(LogTest, ReportsAnInvalidCodeAheadOfItsRecord)
{
    InternalTrace const internalTrace;
    EXPECT_EQ(callLog(unit, 0xFC, {}, "text"), TRACE_INVALID_ARGUMENT);
    EXPECT_THAT(takeLines(),
                ElementsAre(ownError("log.cpp", "trace::Log::log",
                                     "axis.control: Invalid main diagnosis code 0x000000FC: treat as trace error, "
                                     "using 0x080F0112 instead."),
                            "T||080F0112|Trace error axis.control|||axis|machine|axis.control|axis.cpp|Axis::start|118|"
                            "text"));
}

TEST_F(LogTest, AFailureOfTheSinkDisplacesAnEarlierResult)
{
    unit.setEnablingState(true);
    for (unsigned int const code : {kMessage, kInvalid}) {
        SCOPED_TRACE(code);
        EXPECT_EQ(callLog(unit, code, {}, "%ls", kUnwritable), TRACE_FAILED);
        EXPECT_EQ(callLog(unit, code, {}, "%256d", 1), TRACE_TRUNCATED);
        EXPECT_EQ(callLog(unit, code, {}, "%255d", 1), code == kMessage ? TRACE_OK : TRACE_INVALID_ARGUMENT);
        std::vector<std::string> const lines = takeLines();
        ASSERT_EQ(lines.size(), 2U) << "none where the text cannot be formatted";
        EXPECT_EQ(parseRecord(lines[0]).message, std::string(255, ' '));
    }
}

TEST_F(LogTest, WritesTheLineSignedAndNoneAsEmpty)
{
    unit.setEnablingState(true);
    Origin origin;
    for (unsigned int const line : {0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        origin.line = line;
        EXPECT_EQ(callLog(unit, kMessage, origin, "text"), TRACE_OK);
    }
    std::vector<std::string> written;
    for (Record const & record : stream.records()) {
        written.push_back(record.line);
    }
    EXPECT_THAT(written, ElementsAre("", "1", "2147483647", "-2147483648", "-1"));
}

TEST_F(LogTest, TakesNullTextsForEmptyOnes)
{
    unit.setEnablingState(true);
    EXPECT_EQ(callLog(unit, kWarning, {nullptr, nullptr, nullptr, nullptr, 0}, nullptr), TRACE_OK);
    EXPECT_THAT(takeLines(), ElementsAre("T||080E0112|Trace warning axis.control|||||axis.control||||"));
}

TEST_F(LogTest, StampsTheTimeOfTheCall)
{
    unit.setEnablingState(true);
    auto const now = [] {
        char text[20]; // to the second
        convertTimestamp(Clock(CLOCK_ID_WALL).getTimestamp(), nullptr, text, sizeof text);
        return std::string(text);
    };
    std::string const before = now();
    (void)callLog(unit, kMessage, {}, "text");
    std::string const time = stream.records().at(0).timestamp.substr(0, 19);
    EXPECT_LE(before, time);
    EXPECT_LE(time, now());
}

TEST_F(LogTest, CutsItsNameWithoutAReport)
{
    InternalTrace const internalTrace;
    for (std::size_t const length : {0U, 63U, 64U, 200U}) {
        Log named(std::string(length, 'n').c_str(), nullptr);
        std::string const kept(std::min<std::size_t>(length, 63), 'n');
        EXPECT_EQ(named.getUnitName(), kept);
        named.setEnablingState(true);
        EXPECT_EQ(callLog(named, kWarning, {}, ""), TRACE_OK);
        EXPECT_THAT(takeLines(), ElementsAre("T||080E0112|Trace warning " + kept + "|||axis|machine|" + kept +
                                             "|axis.cpp|Axis::start|118|"));
    }
}

TEST_F(LogTest, CallsTheCallbackAfterEachSwitchOfTheStateAndOfNothingElse)
{
    std::vector<EnablingState const *> seen;
    EnablingState expected{true, false, true};
    unit.setCallbackEnablingState([&](EnablingState const & state) {
        EXPECT_TRUE(isEqual(state, expected));
        seen.push_back(&state);
    });
    unit.setDefaultEnablingState({false, true, true});
    EXPECT_THAT(seen, IsEmpty()) << "neither when it is set nor for the default state";
    EXPECT_TRUE(isEqual(unit.getEnablingState(), {}));

    unit.setEnablingState(expected);
    unit.setEnablingState(expected); // nothing changes
    expected = {true, true, true};
    unit.setEnablingState(true);
    expected = {};
    unit.setEnablingState(false);
    EXPECT_EQ(seen, std::vector<EnablingState const *>(4, &unit.getEnablingState())) << "the unit's own field";
    EXPECT_TRUE(isEqual(unit.getDefaultEnablingState(), {false, true, true}));

    int callsOfOther = 0;
    std::function<void(EnablingState const &)> other = [&](EnablingState const &) { ++callsOfOther; };
    unit.setCallbackEnablingState(other);
    other = nullptr; // a copy stays
    unit.setEnablingState(true);
    unit.setCallbackEnablingState(nullptr);
    unit.setEnablingState(EnablingState{false, true, false});
    EXPECT_EQ(callsOfOther, 1);
    EXPECT_EQ(seen.size(), 4U);
    EXPECT_TRUE(isEqual(unit.getEnablingState(), {false, true, false}));
}

TEST_F(LogTest, SharesItsHandlerAndItsCallbackUntilItEnds)
{
    auto const owner = std::make_shared<int>(0);
    {
        Log shared("axis", std::shared_ptr<Handler>(owner, reinterpret_cast<Handler *>(owner.get())));
        EXPECT_EQ(owner.use_count(), 2);
        shared.setCallbackEnablingState([owner](EnablingState const &) {});
        EXPECT_EQ(owner.use_count(), 3);
    }
    EXPECT_EQ(owner.use_count(), 1);
}

} // namespace

} // namespace common::log::test
