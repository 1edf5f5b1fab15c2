// What a unit promises, on each of its roads: written by the caller, queued for the worker, or by a buffered unit.

#include "handler_fixture.h"

#include "log_buffered.h"

#include "support/internal_trace_access.h"

#include <cstdarg>
#include <functional>
#include <utility>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Values;
using testing::ValuesIn;
using Lines = std::vector<std::string>;

// Tools look at these in memory: a field more shows in the size.
constexpr std::size_t kPointer = sizeof(void *);
static_assert(sizeof(EnablingState) == 3);
static_assert(sizeof(Clock) == 2 * kPointer);
static_assert(sizeof(SnapName) == kPointer + sizeof(std::string));
static_assert(sizeof(LogParametersExtended) == 8 * kPointer);
static_assert(sizeof(LogBuffered) == kPointer + 72);
static_assert(sizeof(InternalTrace) == 4 * kPointer + sizeof(SnapName));

enum class Operation
{
    log,
    logRealTime,
    logRealTimeVaList
};

struct Road
{
    char const * name;
    bool isBuffered; ///< a LogBuffered: writes on the calling thread, and has a single switch
    Operation operation;
};

constexpr Road kRoads[] = {{"Log", false, Operation::log},
                           {"LogRealTime", false, Operation::logRealTime},
                           {"LogRealTimeVaList", false, Operation::logRealTimeVaList},
                           {"BufferedLog", true, Operation::log},
                           {"BufferedRealTime", true, Operation::logRealTime},
                           {"BufferedRealTimeVaList", true, Operation::logRealTimeVaList}};

constexpr EnablingState kOff{false, false, false};
constexpr EnablingState kOn{true, true, true};

class TraceUnit : public HandlerTest, public testing::WithParamInterface<Road>
{
protected:
    TraceUnit()
    {
        start();
        renew(kOn);
        stream.clear();
    }

    void renew(EnablingState const & state, char const * name = "axis.control")
    {
        if (isBuffered) {
            unit = std::make_unique<LogBuffered>(name, state.messages);
            return;
        }
        auto log = std::make_unique<Log>(name, handler);
        log->setEnablingState(state);
        unit = std::move(log);
    }

    /// With 3 as the first argument.
    template <typename... Arguments>
    TraceResult call(unsigned int code, LogParameters const & parameters, Arguments... arguments)
    {
        if (operation == Operation::logRealTime) {
            return unit->logRealTime(code, parameters, 3, arguments...);
        }
        if (operation == Operation::logRealTimeVaList) {
            return callVaList(code, &parameters, 3, arguments...);
        }
        auto const & origin = static_cast<LogParametersExtended const &>(parameters);
        // Past the compiler's check of the format.
        using Log = TraceResult (ILog::*)(unsigned int, char const *, char const *, char const *, char const *,
                                          unsigned int, char const *, ...);
        Log const log = &ILog::log;
        return (*unit.*log)(code, origin.componentName, origin.snapName, origin.fileName, origin.functionName,
                            origin.line, origin.format, 3, arguments...);
    }

    TraceResult callVaList(unsigned int code, LogParameters const * parameters, ...)
    {
        std::va_list arguments;
        va_start(arguments, parameters);
        TraceResult const result = unit->logRealTimeVaList(code, *parameters, argumentPointer(arguments));
        EXPECT_EQ(va_arg(arguments, int), 3) << "the caller's list is still unread";
        va_end(arguments);
        return result;
    }

    /// What the calls themselves wrote, and behind it, or from the worker, the records.
    void expectWritten(Lines reports, Lines const & records)
    {
        if (!isQueued) {
            reports.insert(reports.end(), records.begin(), records.end());
        }
        EXPECT_EQ(takeLines(), reports);
        if (isQueued) {
            EXPECT_EQ(drain(), records);
            stream.clear();
        }
    }

    /// By the unit, or by the worker for it.
    Lines invalidCodeReports(unsigned int code) const
    {
        std::string const text = invalidCodeText(code);
        if (!isBuffered) {
            return {ownRecord(kError, isQueued ? "handler.cpp" : "log.cpp",
                              isQueued ? "trace::Handler::logThread" : "trace::Log::log", "axis.control: " + text)};
        }
        std::string const function = bufferedFunction(operation == Operation::log ? "log" : "logRealTimeVaList");
        return {"ERR: " + function + " (line L): axis.control: " + text,
                recordStart(kError) + "axis.control|||||axis.control|private/src/impl/log_buffered.cpp|" + function +
                    "|L|" + text};
    }
    static std::string bufferedFunction(char const * name)
    {
        return std::string("common::log::trace::LogBuffered::") + name;
    }
    static std::string realTimeReport(char const * function, std::string const & message)
    {
        return ownRecord(kError, "log_real_time.cpp", std::string("trace::Log::") + function, message);
    }

    bool const isBuffered = GetParam().isBuffered;
    Operation const operation = GetParam().operation;
    bool const isQueued = !isBuffered && operation != Operation::log;
    InternalTrace internalTrace;
    std::unique_ptr<ILogRealTime> unit;
};

TEST_P(TraceUnit, PassesEachClassByItsOwnFlagAloneAndTellsOfAnInvalidCode)
{
    for (unsigned int number = 0; number < 8; ++number) {
        EnablingState const state = stateOf(number);
        for (CodeClass const & codeClass : kCodeClasses) {
            SCOPED_TRACE(testing::Message() << "state " << number << std::hex << ", code " << codeClass.code);
            bool const isValid = codeClass.flag != nullptr;
            bool const isOn = isBuffered ? state.messages : !isValid || state.*codeClass.flag;
            renew(state);
            EXPECT_EQ(call(codeClass.code, parametersOf("Axis %d started")), !isOn     ? TRACE_DISABLED
                                                                             : isValid ? TRACE_OK
                                                                                       : TRACE_INVALID_ARGUMENT);
            renew(kOff); // what is queued does not look at the flags any more
            Lines const reports = isOn && !isValid ? invalidCodeReports(codeClass.code) : Lines();
            Lines records(isQueued ? reports : Lines());
            records.resize(records.size() + (isOn ? 1 : 0), unitRecord(codeClass.writtenCode, "Axis 3 started"));
            expectWritten(isQueued ? Lines() : reports, records);
        }
    }
}

TEST_P(TraceUnit, TakesEachNibbleButThreeForInvalid)
{
    for (unsigned int nibble = 0; nibble < 16; ++nibble) {
        bool const isValid = nibble == 0xA || nibble == 0xE || nibble == 0xF;
        EXPECT_EQ(call(0xFFF0FFFF | nibble << 16U, parametersOf("")), isValid ? TRACE_OK : TRACE_INVALID_ARGUMENT)
            << nibble;
    }
}

TEST_P(TraceUnit, WritesNullTextsAsEmptyAndTheLineSignedOrNot)
{
    for (auto const & [line, text] : {std::pair<unsigned int, char const *>{0U, ""},
                                      {1U, "1"},
                                      {0x7FFFFFFFU, "2147483647"},
                                      {0x80000000U, "-2147483648"},
                                      {0xFFFFFFFFU, "-1"}}) {
        LogParametersExtended parameters;
        parameters.line = line;
        EXPECT_EQ(call(kWarning, parameters), TRACE_OK);
        expectWritten({}, {recordStart(kWarning) + "axis.control|||||axis.control|||" + text + "|"});
    }
}

TEST_P(TraceUnit, StampsTheTimeOfTheCall)
{
    auto const now = [] {
        char text[20]; // to the second
        convertTimestamp(Clock(CLOCK_ID_WALL).getTimestamp(), nullptr, text, sizeof text);
        return std::string(text);
    };
    std::string const before = now();
    (void)call(kMessage, parametersOf("text"));
    if (isQueued) {
        (void)drain();
    }
    std::string const time = stream.records().at(isQueued ? 1 : 0).timestamp.substr(0, 19);
    EXPECT_LE(before, time);
    EXPECT_LE(time, now());
}

TEST_P(TraceUnit, CutsItsNameWithoutAReport)
{
    for (std::size_t const length : {0U, 63U, 64U, 200U}) {
        renew(kOn, std::string(length, 'n').c_str());
        std::string const kept = isBuffered && length == 0 ? "Buffered trace" : std::string(length, 'n').substr(0, 63);
        EXPECT_EQ(call(kWarning, LogParametersExtended()), TRACE_OK);
        expectWritten({}, {recordStart(kWarning) + kept + "|||||" + kept + "||||"});
    }
}

TEST_P(TraceUnit, BoundsTheTextsOfARealTimeCallAndReportsEachCut)
{
    struct TextField
    {
        char const * LogParametersExtended::*text;
        std::size_t room;
    };
    for (TextField const & field :
         {TextField{&LogParametersExtended::componentName, 127}, TextField{&LogParametersExtended::snapName, 63},
          TextField{&LogParametersExtended::fileName, 63}, TextField{&LogParametersExtended::functionName, 63}}) {
        for (std::size_t const length : {field.room, field.room + 1, field.room + 300}) {
            SCOPED_TRACE(testing::Message() << length << " of " << field.room);
            bool const isCut = operation != Operation::log && length > field.room;
            std::string text(length, 'x');
            LogParametersExtended origin = parametersOf("");
            origin.*field.text = text.c_str();
            EXPECT_EQ(call(kMessage, origin), isCut ? TRACE_TRUNCATED : TRACE_OK);
            text.resize(isCut ? field.room : length);
            origin.*field.text = text.c_str();
            expectWritten(Lines(isCut ? 1 : 0, cutReport(length, static_cast<long>(field.room))),
                          {recordStart(kMessage) + "axis.control|||" + origin.componentName + "|" + origin.snapName +
                           "|axis.control|" + origin.fileName + "|" + origin.functionName + "|118|"});
        }
    }
}

TEST_P(TraceUnit, BoundsItsMessageAndWritesNoneThatCannotBeFormatted)
{
    std::string const sink = isQueued ? "log_real_time.cpp" : "send_log.cpp";
    std::string const function = isQueued ? "trace::Log::logRealTimeVaList" : "sendLog";
    EXPECT_EQ(call(kMessage, parametersOf("%255d")), TRACE_OK);
    EXPECT_EQ(call(kMessage, parametersOf("%d%255s"), "."), TRACE_TRUNCATED);
    std::string const report =
        ownRecord(kError, sink, function,
                  "Message size of output string exceeded. String is truncated after 255 characters (or before, "
                  "depending on implementation).");
    std::string const blanks(254, ' ');
    Lines const records{unitRecord(kMessage, blanks + "3"), unitRecord(kMessage, "3" + blanks)};
    if (isQueued) {
        expectWritten({report}, records);
    } else {
        expectWritten({}, {records[0], report, records[1]});
    }
    EXPECT_EQ(call(kMessage, parametersOf(kUnwritable), 1), TRACE_FAILED);
    expectWritten({ownRecord(kError, sink, function, "Calling 'vsnprintf' failed. Output string could not be built.")},
                  {});
}

TEST_P(TraceUnit, AnswersWithTheLastStepThatWentWrong)
{
    removeInternalTracePointer(); // no result depends on a report
    std::string const tooLong(300, 'f');
    for (unsigned int const code : {kMessage, kInvalid}) {
        TraceResult const usual = code == kMessage ? TRACE_OK : TRACE_INVALID_ARGUMENT;
        EXPECT_EQ(call(code, parametersOf("%255d")), usual);
        EXPECT_EQ(call(code, parametersOf("%256d")), TRACE_TRUNCATED);
        LogParametersExtended cut = parametersOf("%d%d");
        cut.fileName = tooLong.c_str();
        EXPECT_EQ(call(code, cut, 1), operation == Operation::log ? usual : TRACE_TRUNCATED);
        cut.format = kUnwritable;
        EXPECT_EQ(call(code, cut, 1), TRACE_FAILED);
    }
}

INSTANTIATE_TEST_SUITE_P(Road, TraceUnit, ValuesIn(kRoads), [](auto const & road) { return road.param.name; });

class RealTimeUnit : public TraceUnit
{
};

TEST_P(RealTimeUnit, RefusesAnotherClassType)
{
    bool const isVaList = operation == Operation::logRealTimeVaList;
    for (auto const & [type, number] : {std::pair(0U, "0"), std::pair(2U, "2"), std::pair(0xFFFFFFFFU, "-1")}) {
        // A buffered unit tells the number that arrived, the other one that it expects.
        std::string const report = std::string("Incorrect class type was sent. Class type: ") +
                                   (isBuffered ? number : "1") + ". Unit name: axis.control.";
        std::string const function = isVaList ? "logRealTimeVaList" : "logRealTime";
        Lines const reports{isBuffered ? "ERR: " + bufferedFunction(function.c_str()) + " (line L): " + report
                                       : realTimeReport(function.c_str(), report)};
        LogParametersExtended parameters = parametersOf("%d");
        parameters.classType = type;
        renew(kOn);
        EXPECT_EQ(call(kMessage, parameters), TRACE_INVALID_ARGUMENT);
        expectWritten(reports, {});
        Lines invalidReports = isBuffered && isVaList ? invalidCodeReports(kInvalid) : Lines();
        invalidReports.insert(invalidReports.end(), reports.begin(), reports.end());
        EXPECT_EQ(call(kInvalid, parameters), TRACE_INVALID_ARGUMENT);
        expectWritten(invalidReports, {});
        renew(kOff);
        EXPECT_EQ(call(kMessage, parameters), isVaList ? TRACE_DISABLED : TRACE_INVALID_ARGUMENT);
        expectWritten(isVaList ? Lines() : reports, {});
    }
    renew(kOn);
    EXPECT_EQ(call(kMessage, LogParameters()), TRACE_INVALID_ARGUMENT) << "and does not read beyond it";
}

INSTANTIATE_TEST_SUITE_P(Road, RealTimeUnit, Values(kRoads[1], kRoads[2], kRoads[4], kRoads[5]),
                         [](auto const & road) { return road.param.name; });

TEST_F(HandlerTest, AnswersThatARecordIsLostWhateverElseWentWrong)
{
    start();
    // Not an owner: the unit's last call meets a handler that goes.
    Log log("axis.control", std::shared_ptr<Handler>(std::shared_ptr<void>(), handler.get()));
    log.setEnablingState(true);
    fill(traceEntry(kMessage, ""), kQueueSize - 1);
    for (unsigned int const code : {kMessage, kInvalid}) {
        fill(traceEntry(kMessage, ""), code == kMessage ? 1 : 0);
        EXPECT_EQ(log.logRealTime(code, parametersOf("%300d"), 1), TRACE_QUEUE_FULL);
    }
    layer.whileJoining = [&log] {
        EXPECT_EQ(log.logRealTime(kInvalid, parametersOf("%300d"), 1), TRACE_SHUTTING_DOWN);
    };
    stream.clear();
    handler.reset();
    EXPECT_THAT(takeLines(), ElementsAre(testing::HasSubstr("Calling 'addTraceData' with data type 2 failed")));
}

class BufferedUnit : public TraceUnit
{
};

TEST_P(BufferedUnit, CutsTheFormatAheadOfItsUse)
{
    std::string const shrinking = "%.0d%.0s%.0s" + std::string(300, 'f');
    EXPECT_EQ(call(kInvalid, parametersOf(shrinking.c_str()), "a", "b"), TRACE_TRUNCATED) << "not: invalid argument";
    Lines lines = takeLines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[2], cutReport(312, 255));
    EXPECT_EQ(parseRecord(lines[3]).message, "3" + std::string(243, 'f'));

    std::string const growing = "%20d" + std::string(300, 'f');
    EXPECT_EQ(call(kMessage, parametersOf(growing.c_str())), TRACE_TRUNCATED);
    lines = takeLines();
    ASSERT_EQ(lines.size(), 3U) << "the cut of the format, that of the text, the record";
    EXPECT_EQ(parseRecord(lines[2]).message, std::string(19, ' ') + "3" + std::string(235, 'f'));
    std::string const fitting = std::string(251, 'f') + "%3d."; // 255 characters
    EXPECT_EQ(call(kMessage, parametersOf(fitting.c_str())), TRACE_OK);
    expectWritten({}, {unitRecord(kMessage, std::string(251, 'f') + "  3.")});
}

TEST_P(BufferedUnit, HasADefaultName)
{
    renew(kOn, nullptr);
    (void)call(kWarning, LogParametersExtended());
    expectWritten({}, {recordStart(kWarning) + "Buffered trace|||||Buffered trace||||"});
}

INSTANTIATE_TEST_SUITE_P(Road, BufferedUnit, Values(kRoads[4], kRoads[5]),
                         [](auto const & road) { return road.param.name; });

int numberOf(EnablingState const & state)
{
    return (state.messages ? 1 : 0) + (state.warnings ? 2 : 0) + (state.errors ? 4 : 0);
}

TEST(UnitState, IsOffAtFirstAndCallsTheCallbackAfterEachSwitchAndForNothingElse)
{
    Log unit("axis.control", nullptr);
    EXPECT_EQ(numberOf(unit.getEnablingState()), 0);
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
