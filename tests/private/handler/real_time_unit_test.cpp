#include "handler_fixture.h"

#include <cstdarg>
#include <ostream>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char const * kRealTime = "common::log::trace::Log::logRealTime";
constexpr char const * kVaList = "common::log::trace::Log::logRealTimeVaList";
constexpr char const * kFormatReport = "Calling 'vsnprintf' failed. Output string could not be built.";
constexpr char const * kCutReport =
    "Message size of output string exceeded. String is truncated after 255 characters (or before, depending on "
    "implementation).";

std::string unitReport(std::string const & function, std::string const & message)
{
    return ownRecord(kError, function, message, "log_real_time.cpp");
}

std::string copyReport(std::size_t length, std::size_t kept)
{
    return ownRecord(kError, "common::log::trace::checkAndSetString",
                     "Message size (" + std::to_string(length) +
                         ") of source string exceeded. String is truncated after " + std::to_string(kept) +
                         " characters.",
                     "string.cpp");
}

TraceResult callVaList(Log & unit, unsigned int code, LogParameters const * parameters, ...)
{
    std::va_list arguments;
    va_start(arguments, parameters);
    TraceResult const result = unit.logRealTimeVaList(code, *parameters, argumentPointer(arguments));
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
        parameters.componentName = "axis";
        parameters.snapName = "machine";
        parameters.fileName = "axis.cpp";
        parameters.functionName = "Axis::start";
        parameters.line = 118;
        parameters.format = "done";
        stream.clear();
    }

    InternalTrace internalTrace;
    LogParametersExtended parameters;
    std::unique_ptr<Log> unit;
};

TEST_F(RealTimeUnit, QueuesWhatItsFlagLetsThrough)
{
    for (unsigned int const open : {kMessage, kWarning, kError}) {
        stream.clear();
        unit->setEnablingState(EnablingState{open == kMessage, open == kWarning, open == kError});
        for (unsigned int const code : {kMessage, kWarning, kError}) {
            SCOPED_TRACE(testing::Message() << std::hex << open << " open, call of " << code);
            EXPECT_EQ(unit->logRealTime(code, parameters), code == open ? TRACE_OK : TRACE_DISABLED);
            EXPECT_EQ(callVaList(*unit, code, &parameters), code == open ? TRACE_OK : TRACE_DISABLED);
        }
        EXPECT_EQ(stream.text(), "") << "nothing is written by the calls themselves";
        EXPECT_THAT(drain(), ElementsAre(unitRecord(open, "done"), unitRecord(open, "done")));
    }
}

TEST_F(RealTimeUnit, LeavesAnInvalidCodeToTheWorker)
{
    unit->setEnablingState(false);
    for (unsigned int const code : {kInvalid, 0U, 0xFFFBFFFFU}) {
        EXPECT_EQ(unit->logRealTime(code, parameters), TRACE_INVALID_ARGUMENT);
        EXPECT_EQ(stream.text(), "");
        char report[128];
        (void)std::snprintf(report, sizeof report,
                            "axis.control: Invalid main diagnosis code 0x%08X: treat as trace error, using 0x080F0112 "
                            "instead.",
                            code);
        EXPECT_THAT(drain(), ElementsAre(ownRecord(kError, "common::log::trace::Handler::logThread", report),
                                         unitRecord(kError, "done")));
        stream.clear();
    }
}

TEST_F(RealTimeUnit, RefusesAnotherClassTypeAndPrintsTheOneItExpects)
{
    constexpr char const * kReport = "Incorrect class type was sent. Class type: 1. Unit name: axis.control.";
    for (std::uint32_t const type : {0U, 2U, 0x80000001U}) {
        SCOPED_TRACE(type);
        parameters.classType = type;
        for (unsigned int const code : {kMessage, kInvalid}) {
            stream.clear();
            EXPECT_EQ(unit->logRealTime(code, parameters), TRACE_INVALID_ARGUMENT);
            EXPECT_EQ(callVaList(*unit, code, &parameters), TRACE_INVALID_ARGUMENT);
            EXPECT_THAT(written(), ElementsAre(unitReport(kRealTime, kReport), unitReport(kVaList, kReport)));
        }
    }
    LogParameters const plain;
    EXPECT_EQ(unit->logRealTime(kMessage, plain), TRACE_INVALID_ARGUMENT);
    EXPECT_THAT(drain(), IsEmpty());
}

TEST_F(RealTimeUnit, LooksAtTheClassTypeFirstAndWithAListAtTheFlagFirst)
{
    unit->setEnablingState(false);
    parameters.classType = 0;
    EXPECT_EQ(callVaList(*unit, kMessage, &parameters), TRACE_DISABLED);
    EXPECT_EQ(stream.text(), "");
    EXPECT_EQ(unit->logRealTime(kMessage, parameters), TRACE_INVALID_ARGUMENT);
    EXPECT_EQ(written().size(), 1U);
}

TEST_F(RealTimeUnit, IsReachedThroughItsOverride)
{
    struct Derived : Log
    {
        using Log::Log;
        TraceResult logRealTimeVaList(unsigned int code, LogParameters const & given, char * arguments) override
        {
            seenCode = code;
            seen = &given;
            return Log::logRealTimeVaList(kWarning, given, arguments);
        }
        unsigned int seenCode = 0;
        LogParameters const * seen = nullptr;
    };
    Derived derived("axis.control", handler);
    derived.setEnablingState(EnablingState{false, true, false});
    parameters.format = "%d %s";
    EXPECT_EQ(static_cast<ILogRealTime &>(derived).logRealTime(kMessage, parameters, 5, "five"), TRACE_OK);
    EXPECT_EQ(derived.seenCode, kMessage);
    EXPECT_EQ(derived.seen, &parameters);
    EXPECT_THAT(drain(), ElementsAre(unitRecord(kWarning, "5 five")));
}

TEST_F(RealTimeUnit, LeavesTheCallersListUnread)
{
    auto const callTwice = [](Log & log, LogParametersExtended const * given, ...) {
        std::va_list arguments;
        va_start(arguments, given);
        EXPECT_EQ(log.logRealTimeVaList(kMessage, *given, argumentPointer(arguments)), TRACE_OK);
        EXPECT_EQ(log.logRealTimeVaList(kMessage, *given, argumentPointer(arguments)), TRACE_OK);
        EXPECT_EQ(va_arg(arguments, int), 7);
        va_end(arguments);
    };
    parameters.format = "%d %.3f";
    callTwice(*unit, &parameters, 7, 0.125);
    EXPECT_THAT(drain(), ElementsAre(unitRecord(kMessage, "7 0.125"), unitRecord(kMessage, "7 0.125")));
}

TEST_F(RealTimeUnit, QueuesWithoutATextWhereTheFormatIsNullOrEmpty)
{
    for (char const * const format : {static_cast<char const *>(nullptr), ""}) {
        parameters.format = format;
        EXPECT_EQ(unit->logRealTime(kMessage, parameters), TRACE_OK);
        EXPECT_THAT(drain(), ElementsAre(unitRecord(kMessage, "")));
    }
}

TEST_F(RealTimeUnit, TakesNullTextsForEmptyOnes)
{
    EXPECT_EQ(unit->logRealTime(kMessage, LogParametersExtended()), TRACE_OK);
    EXPECT_THAT(drain(), ElementsAre("T||080A0112|Trace message axis.control|||||axis.control||||"));
}

struct TextField
{
    char const * name;
    char const * LogParametersExtended::*parameter;
    std::string Record::*field;
    std::size_t room;
};

std::ostream & operator<<(std::ostream & stream, TextField const & field) { return stream << field.name; }

class RealTimeUnitText : public RealTimeUnit, public testing::WithParamInterface<TextField>
{
};

TEST_P(RealTimeUnitText, IsCutAndReportedFromOneCharacterTooManyOn)
{
    TextField const & field = GetParam();
    for (std::size_t const length : {field.room, field.room + 1, field.room + 300}) {
        SCOPED_TRACE(length);
        bool const isCut = length > field.room;
        std::string const text(length, 'x');
        parameters.*field.parameter = text.c_str();
        stream.clear();
        EXPECT_EQ(unit->logRealTime(kMessage, parameters), isCut ? TRACE_TRUNCATED : TRACE_OK);
        if (isCut) {
            bool const isMessage = field.parameter == &LogParametersExtended::format;
            EXPECT_THAT(written(),
                        ElementsAre(isMessage ? unitReport(kVaList, kCutReport) : copyReport(length, field.room)));
        } else {
            EXPECT_EQ(stream.text(), "");
        }
        EXPECT_EQ(drain().size(), 1U);
        EXPECT_EQ(stream.records().at(1).*field.field, std::string(field.room, 'x'));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Each, RealTimeUnitText,
    testing::Values(TextField{"Component", &LogParametersExtended::componentName, &Record::componentName, 127},
                    TextField{"Snap", &LogParametersExtended::snapName, &Record::snapName, 63},
                    TextField{"File", &LogParametersExtended::fileName, &Record::fileName, 63},
                    TextField{"Function", &LogParametersExtended::functionName, &Record::functionName, 63},
                    TextField{"Message", &LogParametersExtended::format, &Record::message, 255}),
    [](auto const & each) { return each.param.name; });

TEST_F(RealTimeUnit, ReportsCutsInTheOrderOfTheFields)
{
    std::string const texts[] = {std::string(128, 'c'), std::string(65, 's'), std::string(66, 'f'),
                                 std::string(67, 'n'), std::string(256, 'm')};
    parameters.componentName = texts[0].c_str();
    parameters.snapName = texts[1].c_str();
    parameters.fileName = texts[2].c_str();
    parameters.functionName = texts[3].c_str();
    parameters.format = "%s";
    EXPECT_EQ(unit->logRealTime(kMessage, parameters, texts[4].c_str()), TRACE_TRUNCATED);
    EXPECT_THAT(written(), ElementsAre(copyReport(128, 127), copyReport(65, 63), copyReport(66, 63), copyReport(67, 63),
                                       unitReport(kVaList, kCutReport)));
}

TEST_F(RealTimeUnit, QueuesNothingThatCannotBeFormatted)
{
    wchar_t const broken[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
    parameters.format = "%ls";
    for (unsigned int const code : {kMessage, kInvalid}) {
        stream.clear();
        EXPECT_EQ(unit->logRealTime(code, parameters, broken), TRACE_FAILED);
        EXPECT_THAT(written(), ElementsAre(unitReport(kVaList, kFormatReport)));
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
    char const * name;
    unsigned int code;
    std::size_t fileLength;
    std::size_t messageLength;
    Meets meets;
    TraceResult result;
};

std::ostream & operator<<(std::ostream & stream, Displacement const & row) { return stream << row.name; }

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
    std::string const message(row.messageLength, 'm');
    LogParametersExtended parameters;
    parameters.fileName = file.c_str();
    parameters.format = "%s";
    auto const call = [&] {
        stream.clear();
        EXPECT_EQ(unit.logRealTime(row.code, parameters, message.c_str()), row.result);
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

INSTANTIATE_TEST_SUITE_P(
    Of, RealTimeUnitResult,
    testing::Values(Displacement{"Nothing", kMessage, 1, 1, Meets::room, TRACE_OK},
                    Displacement{"InvalidCode", kInvalid, 1, 1, Meets::room, TRACE_INVALID_ARGUMENT},
                    Displacement{"CutField", kMessage, 64, 1, Meets::room, TRACE_TRUNCATED},
                    Displacement{"CutMessage", kMessage, 1, 256, Meets::room, TRACE_TRUNCATED},
                    Displacement{"InvalidCodeAndCutField", kInvalid, 64, 1, Meets::room, TRACE_TRUNCATED},
                    Displacement{"InvalidCodeAndCutMessage", kInvalid, 1, 256, Meets::room, TRACE_TRUNCATED},
                    Displacement{"FullQueue", kMessage, 1, 1, Meets::fullQueue, TRACE_QUEUE_FULL},
                    Displacement{"InvalidCodeAndFullQueue", kInvalid, 1, 1, Meets::fullQueue, TRACE_QUEUE_FULL},
                    Displacement{"CutAndFullQueue", kMessage, 64, 256, Meets::fullQueue, TRACE_QUEUE_FULL},
                    Displacement{"Shutdown", kMessage, 1, 1, Meets::shutdown, TRACE_SHUTTING_DOWN},
                    Displacement{"InvalidCodeAndCutAndShutdown", kInvalid, 64, 256, Meets::shutdown,
                                 TRACE_SHUTTING_DOWN}),
    [](auto const & each) { return each.param.name; });

} // namespace

} // namespace common::log::test
