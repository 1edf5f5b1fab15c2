#include "log_buffered.h"

#include "unit_calls.h"

#include <cstdarg>
#include <utility>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;

std::string const kClass = "common::log::trace::LogBuffered::";

class LogBufferedTest : public TraceTest
{
protected:
    TraceResult callList(unsigned int code, LogParameters const * parameters, ...)
    {
        std::va_list arguments;
        va_start(arguments, parameters);
        TraceResult const result = unit.logRealTimeVaList(code, *parameters, argumentPointer(arguments));
        EXPECT_EQ(va_arg(arguments, int), 3) << "the caller's list is still unread";
        va_end(arguments);
        return result;
    }

    /// All that a call of any of the operations writes, if `function` is where an invalid code is found.
    static std::vector<std::string> expectedLines(CodeClass const & codeClass, std::string const & function)
    {
        std::vector<std::string> lines;
        if (codeClass.flag == nullptr) {
            std::string const report = invalidCodeText(codeClass.code);
            lines.push_back("ERR: " + kClass + function + " (line L): axis.control: " + report);
            lines.push_back(recordStart(kError) + "axis.control|||||axis.control|private/src/impl/log_buffered.cpp|" +
                            kClass + function + "|L|" + report);
        }
        lines.push_back(unitRecord(codeClass.writtenCode, "Axis 3 started"));
        return lines;
    }

    LogBuffered unit{"axis.control", true};
    LogBuffered disabled{"axis.control", false};
};

TEST_F(LogBufferedTest, WritesEachClassByEachOperationAndNothingWhenDisabled)
{
    LogParametersExtended const parameters = parametersOf("Axis %d started");
    for (CodeClass const & codeClass : kCodeClasses) {
        TraceResult const expected = codeClass.flag != nullptr ? TRACE_OK : TRACE_INVALID_ARGUMENT;
        EXPECT_EQ(callLog(unit, codeClass.code, parameters, 3), expected);
        EXPECT_EQ(takeLines(), expectedLines(codeClass, "log"));
        EXPECT_EQ(unit.logRealTime(codeClass.code, parameters, 3), expected);
        EXPECT_EQ(takeLines(), expectedLines(codeClass, "logRealTimeVaList"));
        EXPECT_EQ(callList(codeClass.code, &parameters, 3), expected);
        EXPECT_EQ(takeLines(), expectedLines(codeClass, "logRealTimeVaList"));

        EXPECT_EQ(callLog(disabled, codeClass.code, parameters, 3), TRACE_DISABLED);
        EXPECT_EQ(disabled.logRealTime(codeClass.code, parameters, 3), TRACE_DISABLED);
        EXPECT_EQ(disabled.logRealTimeVaList(codeClass.code, LogParameters(), nullptr), TRACE_DISABLED);
        EXPECT_THAT(takeLines(), IsEmpty());
    }
}

TEST_F(LogBufferedTest, RefusesAWrongClassTypeWithTheNumberThatArrived)
{
    LogParametersExtended parameters = parametersOf("text");
    for (auto const & [classType, number] : {std::pair(0U, "0"), std::pair(2U, "2"), std::pair(0xFFFFFFFFU, "-1")}) {
        parameters.classType = classType;
        std::string const report = std::string(" (line L): Incorrect class type was sent. Class type: ") + number +
                                   ". Unit name: axis.control.";
        for (LogBuffered * const called : {&unit, &disabled}) {
            EXPECT_EQ(called->logRealTime(kInvalid, parameters), TRACE_INVALID_ARGUMENT);
            EXPECT_THAT(takeLines(), ElementsAre("ERR: " + kClass + "logRealTime" + report)) << "ahead of all else";
        }
        EXPECT_EQ(unit.logRealTimeVaList(kMessage, parameters, nullptr), TRACE_INVALID_ARGUMENT);
        EXPECT_THAT(takeLines(), ElementsAre("ERR: " + kClass + "logRealTimeVaList" + report));
    }
    EXPECT_EQ(unit.logRealTimeVaList(kInvalid, LogParameters(), nullptr), TRACE_INVALID_ARGUMENT);
    EXPECT_EQ(takeLines().size(), 3U) << "two for the code, one for the class type, and no record";
}

TEST_F(LogBufferedTest, BoundsEachTextOfARealTimeCall)
{
    InternalTrace const internalTrace;
    struct Case
    {
        char const * LogParametersExtended::*text;
        std::string Record::*field;
        std::size_t room;
    };
    for (Case const & value : {Case{&LogParametersExtended::componentName, &Record::componentName, 127},
                               Case{&LogParametersExtended::snapName, &Record::snapName, 63},
                               Case{&LogParametersExtended::fileName, &Record::fileName, 63},
                               Case{&LogParametersExtended::functionName, &Record::functionName, 63}}) {
        std::string const fitting(value.room, 'x');
        std::string const tooLong = fitting + 'y';
        LogParametersExtended parameters = parametersOf("");
        parameters.*value.text = fitting.c_str();
        EXPECT_EQ(unit.logRealTime(kMessage, parameters), TRACE_OK);
        parameters.*value.text = tooLong.c_str();
        EXPECT_EQ(callLog(unit, kMessage, parameters), TRACE_OK) << "no such bound";
        EXPECT_EQ(unit.logRealTime(kMessage, parameters), TRACE_TRUNCATED);

        std::vector<std::string> const lines = takeLines();
        ASSERT_EQ(lines.size(), 4U);
        EXPECT_EQ(parseRecord(lines[0]).*value.field, fitting);
        EXPECT_EQ(parseRecord(lines[1]).*value.field, tooLong);
        EXPECT_EQ(lines[2], cutReport(value.room + 1, static_cast<long>(value.room)));
        EXPECT_EQ(parseRecord(lines[3]).*value.field, fitting);
    }
}

TEST_F(LogBufferedTest, CutsTheFormatAheadOfItsUse)
{
    InternalTrace const internalTrace;
    std::string const fitting = std::string(251, 'f') + "%.3s"; // 255 characters
    EXPECT_EQ(unit.logRealTime(kMessage, parametersOf(fitting.c_str()), "abcdef"), TRACE_OK);
    EXPECT_THAT(takeLines(), ElementsAre(unitRecord(kMessage, std::string(251, 'f') + "abc")));

    std::string const shrinking = "%.0s%.0s" + std::string(300, 'f');
    EXPECT_EQ(unit.logRealTime(kInvalid, parametersOf(shrinking.c_str()), "a", "b"), TRACE_TRUNCATED)
        << "in place of the invalid argument";
    std::vector<std::string> lines = takeLines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[2], cutReport(308, 255));
    EXPECT_EQ(parseRecord(lines[3]).message, std::string(247, 'f'));

    std::string const growing = "%20d" + std::string(300, 'f');
    EXPECT_EQ(unit.logRealTime(kMessage, parametersOf(growing.c_str()), 7), TRACE_TRUNCATED);
    lines = takeLines();
    ASSERT_EQ(lines.size(), 3U) << "the cut of the format, that of the text, the record";
    EXPECT_EQ(parseRecord(lines[2]).message, std::string(19, ' ') + "7" + std::string(235, 'f'));
}

TEST_F(LogBufferedTest, TakesNullTextsForEmptyOnesAndTheLineForSigned)
{
    LogParametersExtended parameters;
    EXPECT_EQ(callLog(unit, kWarning, parameters), TRACE_OK);
    EXPECT_EQ(unit.logRealTime(kWarning, parameters), TRACE_OK);
    parameters.line = 0x80000001;
    EXPECT_EQ(unit.logRealTime(kWarning, parameters), TRACE_OK);
    std::string const record = recordStart(kWarning) + "axis.control|||||axis.control|||";
    EXPECT_THAT(takeLines(), ElementsAre(record + "|", record + "|", record + "-2147483647|"));
}

TEST_F(LogBufferedTest, AFailureOfTheSinkDisplacesAnEarlierResult)
{
    std::string const tooLong(300, 'x');
    LogParametersExtended cut = parametersOf("%ls");
    cut.snapName = tooLong.c_str();
    EXPECT_EQ(callLog(unit, kInvalid, parametersOf("%ls"), kUnwritable), TRACE_FAILED);
    EXPECT_EQ(callLog(unit, kInvalid, parametersOf("%300d"), 1), TRACE_TRUNCATED);
    EXPECT_EQ(unit.logRealTime(kInvalid, cut, kUnwritable), TRACE_FAILED);
    EXPECT_EQ(unit.logRealTime(kInvalid, parametersOf("%300d"), 1), TRACE_TRUNCATED);
}

TEST_F(LogBufferedTest, HasADefaultNameAndCutsALongOneWithoutAReport)
{
    InternalTrace const internalTrace;
    std::string const longName(64, 'n');
    for (auto const & [given, name] : {std::pair<char const *, std::string>(nullptr, "Buffered trace"),
                                       {"", "Buffered trace"},
                                       {longName.c_str(), std::string(63, 'n')}}) {
        LogBuffered named(given, true);
        EXPECT_EQ(named.logRealTime(kWarning, LogParametersExtended()), TRACE_OK);
        EXPECT_THAT(takeLines(), ElementsAre(recordStart(kWarning) + name + "|||||" + name + "||||"));
    }
}

} // namespace

} // namespace common::log::test
