#include "log_buffered.h"

#include "unit_calls.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;

std::string const kClass = "common::log::trace::LogBuffered::";

class LogBufferedTest : public UnitTest
{
protected:
    TraceResult callList(unsigned int code, LogParameters const * parameters, ...)
    {
        std::va_list arguments;
        va_start(arguments, parameters);
        TraceResult const result = unit.logRealTimeVaList(code, *parameters, argumentPointer(arguments));
        firstUnread = va_arg(arguments, int);
        va_end(arguments);
        return result;
    }

    LogBuffered unit{"axis.control", true};
    LogBuffered disabled{"axis.control", false};
    int firstUnread = 0;
};

class LogBufferedOfClass : public LogBufferedTest, public testing::WithParamInterface<CodeClass>
{
protected:
    /// All that a call of any of the operations writes, if `function` is where an invalid code is found.
    std::vector<std::string> expectedLines(std::string const & function) const
    {
        std::vector<std::string> lines;
        if (GetParam().flag == nullptr) {
            char report[128];
            (void)std::snprintf(report, sizeof report,
                                "Invalid main diagnosis code 0x%08X: treat as trace error, using 0x080F0112 instead.",
                                GetParam().code);
            lines.push_back("ERR: " + kClass + function + " (line L): axis.control: " + report);
            lines.push_back("T||080F0112|Trace error axis.control|||||axis.control|private/src/impl/log_buffered.cpp|" +
                            kClass + function + "|L|" + report);
        }
        lines.push_back(std::string("T||") + GetParam().writtenCode + "|" + GetParam().titleStart +
                        "axis.control|||axis|machine|axis.control|axis.cpp|Axis::start|118|Axis 3 started");
        return lines;
    }
};

TEST_P(LogBufferedOfClass, IsWrittenByEachOperation)
{
    TraceResult const expected = GetParam().flag != nullptr ? TRACE_OK : TRACE_INVALID_ARGUMENT;
    EXPECT_EQ(callLog(unit, GetParam().code, {}, "Axis %d started", 3), expected);
    EXPECT_EQ(takeLines(), expectedLines("log"));

    LogParametersExtended const parameters = parametersOf({}, "Axis %d started");
    EXPECT_EQ(unit.logRealTime(GetParam().code, parameters, 3), expected);
    EXPECT_EQ(takeLines(), expectedLines("logRealTimeVaList"));

    EXPECT_EQ(callList(GetParam().code, &parameters, 3), expected);
    EXPECT_EQ(takeLines(), expectedLines("logRealTimeVaList"));
    EXPECT_EQ(firstUnread, 3);
}

TEST_P(LogBufferedOfClass, IsNotWrittenByADisabledUnit)
{
    EXPECT_EQ(callLog(disabled, GetParam().code, {}, "text"), TRACE_DISABLED);
    EXPECT_EQ(disabled.logRealTime(GetParam().code, parametersOf({}, "text")), TRACE_DISABLED);
    EXPECT_EQ(disabled.logRealTimeVaList(GetParam().code, LogParameters(), nullptr), TRACE_DISABLED);
    EXPECT_THAT(takeLines(), IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(Class, LogBufferedOfClass, testing::ValuesIn(kCodeClasses),
                         [](auto const & i) { return i.param.name; });

TEST_F(LogBufferedTest, RefusesAWrongClassTypeWithTheNumberThatArrived)
{
    LogParametersExtended parameters = parametersOf({}, "text");
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
        char const * Origin::*text;
        std::string Record::*field;
        std::size_t room;
    };
    for (Case const & value :
         {Case{&Origin::componentName, &Record::componentName, 127}, Case{&Origin::snapName, &Record::snapName, 63},
          Case{&Origin::fileName, &Record::fileName, 63}, Case{&Origin::functionName, &Record::functionName, 63}}) {
        std::string const fitting(value.room, 'x');
        std::string const tooLong = fitting + 'y';
        Origin origin;
        origin.*value.text = fitting.c_str();
        EXPECT_EQ(unit.logRealTime(kMessage, parametersOf(origin, "")), TRACE_OK);
        origin.*value.text = tooLong.c_str();
        EXPECT_EQ(callLog(unit, kMessage, origin, ""), TRACE_OK) << "no such bound";
        EXPECT_EQ(unit.logRealTime(kMessage, parametersOf(origin, "")), TRACE_TRUNCATED);

        std::vector<std::string> const lines = takeLines();
        ASSERT_EQ(lines.size(), 4U);
        EXPECT_EQ(parseRecord(lines[0]).*value.field, fitting);
        EXPECT_EQ(parseRecord(lines[1]).*value.field, tooLong);
        EXPECT_EQ(lines[2], cutReport(value.room + 1, static_cast<int>(value.room)));
        EXPECT_EQ(parseRecord(lines[3]).*value.field, fitting);
    }
}

TEST_F(LogBufferedTest, CutsTheFormatAheadOfItsUse)
{
    InternalTrace const internalTrace;
    std::string const fitting = std::string(251, 'f') + "%.3s"; // 255 characters
    EXPECT_EQ(unit.logRealTime(kMessage, parametersOf({}, fitting.c_str()), "abcdef"), TRACE_OK);
    EXPECT_EQ(parseRecord(takeLines().at(0)).message, std::string(251, 'f') + "abc");

    std::string const shrinking = "%.0s%.0s" + std::string(300, 'f');
    EXPECT_EQ(unit.logRealTime(kInvalid, parametersOf({}, shrinking.c_str()), "a", "b"), TRACE_TRUNCATED)
        << "in place of the invalid argument";
    std::vector<std::string> lines = takeLines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[2], cutReport(308, 255));
    EXPECT_EQ(parseRecord(lines[3]).message, std::string(247, 'f'));

    std::string const growing = "%20d" + std::string(300, 'f');
    EXPECT_EQ(unit.logRealTime(kMessage, parametersOf({}, growing.c_str()), 7), TRACE_TRUNCATED);
    lines = takeLines();
    ASSERT_EQ(lines.size(), 3U) << "the cut of the format, that of the text, the record";
    EXPECT_EQ(parseRecord(lines[1]).functionName, "common::log::sendLog");
    EXPECT_EQ(parseRecord(lines[2]).message, std::string(19, ' ') + "7" + std::string(235, 'f'));
}

TEST_F(LogBufferedTest, TakesNullTextsForEmptyOnesAndTheLineForSigned)
{
    Origin origin{nullptr, nullptr, nullptr, nullptr, 0};
    EXPECT_EQ(callLog(unit, kWarning, origin, nullptr), TRACE_OK);
    EXPECT_EQ(unit.logRealTime(kWarning, parametersOf(origin, nullptr)), TRACE_OK);
    origin.line = 0x80000001;
    EXPECT_EQ(unit.logRealTime(kWarning, parametersOf(origin, nullptr)), TRACE_OK);
    std::string const record = "T||080E0112|Trace warning axis.control|||||axis.control|||";
    EXPECT_THAT(takeLines(), ElementsAre(record + "|", record + "|", record + "-2147483647|"));
}

TEST_F(LogBufferedTest, AFailureOfTheSinkDisplacesAnEarlierResult)
{
    std::string const tooLong(300, 'x');
    Origin origin;
    origin.snapName = tooLong.c_str();
    EXPECT_EQ(callLog(unit, kInvalid, {}, "%ls", kUnwritable), TRACE_FAILED);
    EXPECT_EQ(callLog(unit, kInvalid, {}, "%300d", 1), TRACE_TRUNCATED);
    EXPECT_EQ(unit.logRealTime(kInvalid, parametersOf(origin, "%ls"), kUnwritable), TRACE_FAILED);
    EXPECT_EQ(unit.logRealTime(kInvalid, parametersOf({}, "%300d"), 1), TRACE_TRUNCATED);
}

TEST_F(LogBufferedTest, HasADefaultNameAndCutsALongOneWithoutAReport)
{
    InternalTrace const internalTrace;
    std::string const longName(64, 'n');
    for (auto const & [given, name] : {std::pair<char const *, std::string>(nullptr, "Buffered trace"),
                                       {"", "Buffered trace"},
                                       {"n", "n"},
                                       {longName.c_str(), std::string(63, 'n')}}) {
        LogBuffered named(given, true);
        EXPECT_EQ(named.logRealTime(kWarning, parametersOf({}, "")), TRACE_OK);
        EXPECT_THAT(takeLines(), ElementsAre("T||080E0112|Trace warning " + name + "|||axis|machine|" + name +
                                             "|axis.cpp|Axis::start|118|"));
    }
}

/// Keeps what the unit calls of itself.
class DerivedUnit : public LogBuffered
{
public:
    DerivedUnit() : LogBuffered("axis.control", true) {}
    TraceResult log(unsigned int mainDiagnosisCode, char const *, char const *, char const *, char const *,
                    unsigned int line, char const *, ...) override COMMON_LOG_PRINTF_FORMAT(8, 9)
    {
        calls.push_back("log " + std::to_string(mainDiagnosisCode));
        reportedLine = line;
        return TRACE_FAILED;
    }
    TraceResult logRealTimeVaList(unsigned int mainDiagnosisCode, LogParameters const & parameters,
                                  char * arguments) override
    {
        calls.emplace_back("logRealTimeVaList");
        return LogBuffered::logRealTimeVaList(mainDiagnosisCode, parameters, arguments);
    }
    std::vector<std::string> calls;
    unsigned int reportedLine = 0;
};

TEST_F(LogBufferedTest, CallsItsOwnOperationsByTheirSlots)
{
    DerivedUnit derived;
    EXPECT_EQ(derived.logRealTime(kInvalid, parametersOf({}, "")), TRACE_INVALID_ARGUMENT);
    EXPECT_THAT(derived.calls, ElementsAre("logRealTimeVaList", "log 135201042")) << "what `log` returns is ignored";
    EXPECT_THAT(stream.lines().at(0), testing::HasSubstr("(line " + std::to_string(derived.reportedLine) + "): "))
        << "both reports of the code bear the same line";
}

} // namespace

} // namespace common::log::test
