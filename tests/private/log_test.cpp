#include "unit_calls.h"

#include <functional>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;

int numberOf(EnablingState const & state)
{
    return (state.messages ? 1 : 0) + (state.warnings ? 2 : 0) + (state.errors ? 4 : 0);
}

class LogTest : public TraceTest
{
protected:
    Log unit{"axis.control", nullptr};
};

TEST_F(LogTest, PassesEachClassByItsOwnFlagAloneAndReportsAnInvalidCodeAhead)
{
    InternalTrace const internalTrace;
    for (unsigned int number = 0; number < 8; ++number) {
        EnablingState const state = stateOf(number);
        if (number != 0) { // as a new unit is
            unit.setEnablingState(state);
        }
        for (CodeClass const & codeClass : kCodeClasses) {
            SCOPED_TRACE(testing::Message() << "state " << number << std::hex << ", code " << codeClass.code);
            TraceResult const result = callLog(unit, codeClass.code, parametersOf("Axis %d started"), 3);
            std::string const record = unitRecord(codeClass.writtenCode, "Axis 3 started");
            if (codeClass.flag == nullptr) {
                EXPECT_EQ(result, TRACE_INVALID_ARGUMENT);
                EXPECT_THAT(takeLines(), ElementsAre(ownRecord(kError, "log.cpp", "trace::Log::log",
                                                               "axis.control: " + invalidCodeText(codeClass.code)),
                                                     record));
            } else {
                bool const isOn = state.*codeClass.flag;
                EXPECT_EQ(result, isOn ? TRACE_OK : TRACE_DISABLED);
                EXPECT_EQ(takeLines(), std::vector<std::string>(isOn ? 1 : 0, record));
            }
        }
    }
}

TEST_F(LogTest, TakesEachNibbleButThreeForInvalid)
{
    for (unsigned int nibble = 0; nibble < 16; ++nibble) {
        bool const isValid = nibble == 0xA || nibble == 0xE || nibble == 0xF;
        EXPECT_EQ(callLog(unit, 0xFFF0FFFF | nibble << 16U, parametersOf("")),
                  isValid ? TRACE_DISABLED : TRACE_INVALID_ARGUMENT)
            << nibble;
    }
}

TEST_F(LogTest, AFailureOfTheSinkDisplacesAnEarlierResult)
{
    unit.setEnablingState(true);
    for (unsigned int const code : {kMessage, kInvalid}) {
        EXPECT_EQ(callLog(unit, code, parametersOf("%ls"), kUnwritable), TRACE_FAILED);
        EXPECT_EQ(callLog(unit, code, parametersOf("%256d"), 1), TRACE_TRUNCATED);
        EXPECT_EQ(callLog(unit, code, parametersOf("%255d"), 1), code == kMessage ? TRACE_OK : TRACE_INVALID_ARGUMENT);
    }
    EXPECT_EQ(takeLines().size(), 4U) << "none where the text cannot be formatted";
}

TEST_F(LogTest, WritesTheLineSignedAndNoneAndNullTextsAsEmpty)
{
    unit.setEnablingState(true);
    LogParametersExtended origin;
    std::string const start = recordStart(kWarning) + "axis.control|||||axis.control|||";
    for (auto const & [line, text] : {std::pair<unsigned int, char const *>{0U, ""},
                                      {1U, "1"},
                                      {0x7FFFFFFFU, "2147483647"},
                                      {0x80000000U, "-2147483648"},
                                      {0xFFFFFFFFU, "-1"}}) {
        origin.line = line;
        EXPECT_EQ(callLog(unit, kWarning, origin), TRACE_OK);
        EXPECT_THAT(takeLines(), ElementsAre(start + text + "|"));
    }
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
    (void)callLog(unit, kMessage, parametersOf("text"));
    std::string const time = stream.records().at(0).timestamp.substr(0, 19);
    EXPECT_LE(before, time);
    EXPECT_LE(time, now());
}

TEST_F(LogTest, CutsItsNameWithoutAReport)
{
    InternalTrace const internalTrace;
    for (std::size_t const length : {0U, 63U, 64U, 200U}) {
        Log named(std::string(length, 'n').c_str(), nullptr);
        std::string const kept = std::string(length, 'n').substr(0, 63);
        EXPECT_EQ(named.getUnitName(), kept);
        named.setEnablingState(true);
        EXPECT_EQ(callLog(named, kWarning, LogParametersExtended()), TRACE_OK);
        EXPECT_THAT(takeLines(), ElementsAre(recordStart(kWarning) + kept + "|||||" + kept + "||||"));
    }
}

TEST_F(LogTest, CallsTheCallbackAfterEachSwitchOfTheStateAndOfNothingElse)
{
    std::vector<int> seen;
    std::function<void(EnablingState const &)> callback = [&](EnablingState const & state) {
        EXPECT_EQ(&state, &unit.getEnablingState()) << "the unit's own field";
        seen.push_back(numberOf(state));
    };
    unit.setCallbackEnablingState(callback);
    callback = nullptr; // a copy stays
    unit.setDefaultEnablingState(stateOf(6));
    EXPECT_THAT(seen, IsEmpty()) << "neither when it is set nor for the default state";
    EXPECT_EQ(numberOf(unit.getEnablingState()), 0);
    unit.setEnablingState(stateOf(5));
    unit.setEnablingState(stateOf(5)); // nothing changes
    unit.setEnablingState(true);
    unit.setEnablingState(false);
    EXPECT_THAT(seen, ElementsAre(5, 5, 7, 0));
    EXPECT_EQ(numberOf(unit.getDefaultEnablingState()), 6);
    unit.setCallbackEnablingState(nullptr);
    unit.setEnablingState(stateOf(2));
    EXPECT_EQ(seen.size(), 4U);
}

} // namespace

} // namespace common::log::test
