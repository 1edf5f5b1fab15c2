#include "handler_fixture.h"

#include <cstdarg>
#include <ostream>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;

std::string unitReport(char const * function, std::string const & message)
{
    return ownRecord(kError, "log_real_time.cpp", std::string("trace::Log::") + function, message);
}

std::string const kFormatReport =
    unitReport("logRealTimeVaList", "Calling 'vsnprintf' failed. Output string could not be built.");
std::string const kCutReport =
    unitReport("logRealTimeVaList", "Message size of output string exceeded. String is truncated after 255 characters "
                                    "(or before, depending on implementation).");

TraceResult callVaList(Log & unit, unsigned int code, LogParameters const * parameters, ...)
{
    std::va_list arguments;
    va_start(arguments, parameters);
    TraceResult const result = unit.logRealTimeVaList(code, *parameters, argumentPointer(arguments));
    EXPECT_EQ(va_arg(arguments, int), 3) << "the caller's list is still unread";
    va_end(arguments);
    return result;
}

/// A unit with all severities on, which reports what goes wrong.
class RealTimeUnit : public HandlerTest
{
protected:
    RealTimeUnit()
    {
        start();
        unit = std::make_unique<Log>("axis.control", handler);
        unit->setEnablingState(true);
        stream.clear();
    }

    InternalTrace internalTrace;
    LogParametersExtended parameters = parametersOf("%d done");
    std::unique_ptr<Log> unit;
};

TEST_F(RealTimeUnit, QueuesWhatItsFlagLetsThroughAndLeavesAnInvalidCodeToTheWorker)
{
    for (unsigned int number = 0; number < 8; ++number) {
        EnablingState const state = stateOf(number);
        unit->setEnablingState(state);
        std::vector<std::string> expected;
        for (CodeClass const & codeClass : kCodeClasses) {
            SCOPED_TRACE(testing::Message() << "state " << number << std::hex << ", code " << codeClass.code);
            bool const isValid = codeClass.flag != nullptr;
            bool const isOn = !isValid || state.*codeClass.flag;
            TraceResult const result = !isOn ? TRACE_DISABLED : isValid ? TRACE_OK : TRACE_INVALID_ARGUMENT;
            EXPECT_EQ(unit->logRealTime(codeClass.code, parameters, 3), result);
            EXPECT_EQ(callVaList(*unit, codeClass.code, &parameters, 3), result);
            for (int call = 0; call < (isOn ? 2 : 0); ++call) {
                if (!isValid) {
                    expected.push_back(ownRecord(kError, "handler.cpp", "trace::Handler::logThread",
                                                 "axis.control: " + invalidCodeText(codeClass.code)));
                }
                expected.push_back(unitRecord(codeClass.writtenCode, "3 done"));
            }
        }
        EXPECT_EQ(stream.text(), "") << "nothing is written by the calls themselves";
        unit->setEnablingState(false); // no switch is looked at any more
        EXPECT_EQ(drain(), expected);
        stream.clear();
    }
}

TEST_F(RealTimeUnit, RefusesAnotherClassTypeAndPrintsTheOneItExpects)
{
    constexpr char const * kReport = "Incorrect class type was sent. Class type: 1. Unit name: axis.control.";
    for (std::uint32_t const type : {0U, 2U, 0x80000001U}) {
        parameters.classType = type;
        for (unsigned int const code : {kMessage, kInvalid}) {
            EXPECT_EQ(unit->logRealTime(code, parameters), TRACE_INVALID_ARGUMENT);
            EXPECT_EQ(callVaList(*unit, code, &parameters, 3), TRACE_INVALID_ARGUMENT);
            EXPECT_THAT(takeLines(),
                        ElementsAre(unitReport("logRealTime", kReport), unitReport("logRealTimeVaList", kReport)));
        }
    }
    EXPECT_EQ(unit->logRealTime(kMessage, LogParameters()), TRACE_INVALID_ARGUMENT);
    unit->setEnablingState(false);
    EXPECT_EQ(unit->logRealTime(kMessage, parameters), TRACE_INVALID_ARGUMENT) << "ahead of the flag";
    stream.clear();
    EXPECT_EQ(callVaList(*unit, kMessage, &parameters, 3), TRACE_DISABLED) << "with a list the flag is ahead";
    EXPECT_EQ(stream.text(), "");
    EXPECT_THAT(drain(), IsEmpty());
}

TEST_F(RealTimeUnit, TakesNullTextsForEmptyOnes)
{
    EXPECT_EQ(unit->logRealTime(kMessage, LogParametersExtended()), TRACE_OK);
    EXPECT_EQ(unit->logRealTime(kMessage, parametersOf("")), TRACE_OK);
    EXPECT_THAT(drain(),
                ElementsAre(recordStart(kMessage) + "axis.control|||||axis.control||||", unitRecord(kMessage, "")));
}

TEST_F(RealTimeUnit, CutsEachTextFromOneCharacterTooManyOnAndReportsIt)
{
    struct TextField
    {
        char const * LogParametersExtended::*parameter;
        std::string Record::*field;
        std::size_t room;
    };
    for (TextField const & field : {TextField{&LogParametersExtended::componentName, &Record::componentName, 127},
                                    TextField{&LogParametersExtended::snapName, &Record::snapName, 63},
                                    TextField{&LogParametersExtended::fileName, &Record::fileName, 63},
                                    TextField{&LogParametersExtended::functionName, &Record::functionName, 63},
                                    TextField{&LogParametersExtended::format, &Record::message, 255}}) {
        for (std::size_t const length : {field.room, field.room + 1, field.room + 300}) {
            SCOPED_TRACE(testing::Message() << length << " of " << field.room);
            bool const isCut = length > field.room;
            std::string const text(length, 'x');
            parameters = parametersOf("");
            parameters.*field.parameter = text.c_str();
            stream.clear();
            EXPECT_EQ(unit->logRealTime(kMessage, parameters), isCut ? TRACE_TRUNCATED : TRACE_OK);
            std::string const report =
                field.room == 255 ? kCutReport : cutReport(length, static_cast<long>(field.room));
            EXPECT_EQ(written(), std::vector<std::string>(isCut ? 1 : 0, report));
            EXPECT_EQ(drain().size(), 1U);
            EXPECT_EQ(stream.records().at(1).*field.field, std::string(field.room, 'x'));
        }
    }
}

TEST_F(RealTimeUnit, QueuesNothingThatCannotBeFormatted)
{
    for (unsigned int const code : {kMessage, kInvalid}) {
        EXPECT_EQ(unit->logRealTime(code, parametersOf("%ls"), kUnwritable), TRACE_FAILED);
        EXPECT_THAT(takeLines(), ElementsAre(kFormatReport));
    }
    EXPECT_THAT(drain(), IsEmpty());
}

enum class Meets
{
    room,
    fullQueue,
    shutdown
};

struct Displacement
{
    unsigned int code;
    std::size_t fileLength;
    int messageLength;
    Meets meets;
    TraceResult result;
};

/// Without reports: no result depends on them.
class RealTimeUnitResult : public HandlerTest, public testing::WithParamInterface<Displacement>
{
};

TEST_P(RealTimeUnitResult, IsThatOfTheLastStepThatWentWrong)
{
    Displacement const & row = GetParam();
    start();
    Log unit("axis.control", std::shared_ptr<Handler>(std::shared_ptr<void>(), handler.get()));
    unit.setEnablingState(true);
    std::string const file(row.fileLength, 'f');
    LogParametersExtended parameters = parametersOf("%*d");
    parameters.fileName = file.c_str();
    auto const call = [&] {
        stream.clear();
        EXPECT_EQ(unit.logRealTime(row.code, parameters, row.messageLength, 1), row.result);
        EXPECT_EQ(stream.text(), "");
    };
    if (row.meets == Meets::shutdown) {
        layer.whileJoining = call;
        handler.reset();
        return;
    }
    if (row.meets == Meets::fullQueue) {
        fill(traceEntry(kMessage, ""));
    }
    call();
    if (row.meets == Meets::room) {
        EXPECT_EQ(drain().size(), 1U) << "a cut or an invalid code keeps no record back";
    }
}

INSTANTIATE_TEST_SUITE_P(Of, RealTimeUnitResult,
                         testing::Values(Displacement{kInvalid, 1, 1, Meets::room, TRACE_INVALID_ARGUMENT},
                                         Displacement{kInvalid, 64, 1, Meets::room, TRACE_TRUNCATED},
                                         Displacement{kInvalid, 1, 256, Meets::room, TRACE_TRUNCATED},
                                         Displacement{kMessage, 64, 256, Meets::fullQueue, TRACE_QUEUE_FULL},
                                         Displacement{kInvalid, 1, 1, Meets::fullQueue, TRACE_QUEUE_FULL},
                                         Displacement{kInvalid, 64, 256, Meets::shutdown, TRACE_SHUTTING_DOWN}));

} // namespace

} // namespace common::log::test
