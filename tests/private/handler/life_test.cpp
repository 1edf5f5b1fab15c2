// What a handler asks of the thread layer at its start and at its end, and what
// it says of each failure.

#include "handler_fixture.h"

#include "support/internal_trace_access.h"

#include <cstring>
#include <ostream>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

/// What the layer answers, and what becomes of it.
struct Life
{
    char const * name;
    FakeThreadLayer::Answers answers;
    Texts calls; ///< without their arguments
    Texts errors;
    bool isFull = false;
};

std::ostream & operator<<(std::ostream & stream, Life const & life) { return stream << life.name; }

class HandlerLife : public HandlerTest, public testing::WithParamInterface<Life>
{
protected:
    HandlerLife() { layer.answers = GetParam().answers; }

    Texts callNames() const
    {
        Texts names;
        for (std::string const & call : layer.calls()) {
            names.push_back(call.substr(0, call.find('(')));
        }
        return names;
    }
    static Texts errorRecords(char const * function)
    {
        Texts records;
        for (std::string const & text : GetParam().errors) {
            records.push_back(ownRecord(kError, "handler.cpp", function, text));
        }
        return records;
    }
};

using HandlerStart = HandlerLife;

TEST_P(HandlerStart, CallsTheLayerAndTellsWhatFailedWhateverIsSwitchedOff)
{
    InternalTrace internalTrace;
    setFlags(internalTrace, {false, false, false});
    start();
    EXPECT_EQ(callNames(), GetParam().calls);
    EXPECT_EQ(layer.calls()[0], "cores(0)");
    if (GetParam().calls.size() > 1) {
        EXPECT_EQ(layer.calls()[1], "create(0, TraceHandler, priority 10, stack 65536, cores 0x5, false)");
        EXPECT_EQ(layer.argument(), handler.get());
    }
    Texts records{ownRecord(kMessage, "handler.cpp", "trace::Handler::Handler",
                            "Trace queue is lockfree and has a fixed size of 3200 elements.")};
    EXPECT_EQ(comparable(layer.streamAtCall(0)), records) << "the size ahead of everything";
    for (std::string const & record : errorRecords("trace::Handler::Handler")) {
        records.push_back(record);
    }
    EXPECT_EQ(written(), records);
    // The first field stands behind the pointer to the virtual operations, which
    // is where tools look for it.
    TraceResult initResult{};
    std::memcpy(&initResult, reinterpret_cast<char const *>(handler.get()) + sizeof(void *), sizeof initResult);
    EXPECT_EQ(initResult, GetParam().errors.empty() ? TRACE_OK : TRACE_THREAD_START_FAILED);
}

std::string const kCreate = "Calling 'ZEP_eThreadCreate' for thread "
                            "'TraceHandler' failed with error code ";
std::string const kDelete = "Calling 'ZEP_eThreadDelete' for thread "
                            "'TraceHandler' failed with error code ";

// The answers: cores, create, join, exit code, delete, cleanup.
Life const kStarts[] = {
    {"Success", {}, {"cores", "create"}, {}},
    {"SuccessWithANumber", {0x7FFFFFFF, 0x7001000F}, {"cores", "create"}, {}},
    {"NoCores", {0xF001000F}, {"cores"}, {"Calling 'ZEP_eThreadGetUsableCores' failed with error code 0xF001000F"}},
    {"NoThread", {0, 0x80000000}, {"cores", "create"}, {kCreate + "0x80000000"}},
    {"ThreadLeftBehind", {0, 0xF001000F}, {"cores", "create", "delete"}, {kCreate + "0xF001000F"}},
    {"ThreadLeftBehindForGood",
     {0, 0xF001000F, 0, 0, 0xF00100AB},
     {"cores", "create", "delete"},
     {kCreate + "0xF001000F", kDelete + "0xF00100AB"}},
};
INSTANTIATE_TEST_SUITE_P(Layer, HandlerStart, testing::ValuesIn(kStarts),
                         [](auto const & each) { return each.param.name; });

using HandlerEnd = HandlerLife;

TEST_P(HandlerEnd, JoinsAndReleasesTheThreadBehindAllOtherReports)
{
    start();
    fill(traceEntry(kMessage, ""), GetParam().isFull ? kQueueSize : kQueueSize - 1);
    stream.clear();
    handler.reset();
    EXPECT_EQ(callNames(), GetParam().calls);
    bool const hasThread = GetParam().calls.size() == 4;
    std::string const handle = hasThread ? "0x700000007" : "0x0";
    EXPECT_EQ(layer.calls().rbegin()[1], "join(" + handle + ", 3000, 0)");
    EXPECT_EQ(layer.calls().back(), GetParam().calls.back() + "(" + handle + ")");
    std::size_t const release = layer.calls().size() - 1;
    EXPECT_EQ(comparable(layer.streamAtCall(release - 1)).size(), GetParam().isFull ? 1U : 0U) << "ahead of the join";
    Texts expected = errorRecords("trace::Handler::~Handler");
    EXPECT_EQ(written(), expected);
    auto const & [cores, create, join, exitCode, deleteStatus, cleanupStatus] = GetParam().answers;
    expected.resize(expected.size() - (cleanupStatus == 0xF0010002 ? 1 : 0));
    EXPECT_EQ(comparable(layer.streamAtCall(release)), expected);
}

char const * const kFull = "Calling 'addTraceData' with data type 2 failed with error code 0xF0000006";
char const * const kTimedOut = "Thread 'TraceHandler' did not end after 3000 ms";
char const * const kNoJoin = "Calling 'ZEP_eThreadJoin' for 'TraceHandler' "
                             "failed with error code 0xF0010001";
char const * const kBadExit = "Thread 'TraceHandler' ended with exit code 0xF0000009";
char const * const kNoCleanup = "Calling 'ZEP_eThreadCleanup' for thread 'TraceHandler' failed with error "
                                "code 0xF0010002";
Texts const kCleanedUp{"cores", "create", "join", "cleanup"};
Texts const kDeleted{"cores", "create", "join", "delete"};

Life const kEnds[] = {
    {"Success", {}, kCleanedUp, {}},
    {"SuccessWithNumbers", {0, 0, 0x7001000B, 0x7FFFFFFF, 0, 0x7FFFFFFF}, kCleanedUp, {}},
    {"WithoutAWorker", {0xF0010001, 0, 0xF0010001, 0}, {"cores", "join", "cleanup"}, {kNoJoin}},
    {"TimeOutAndNoCleanup", {0, 0, 0xF001000B, 0, 0, 0xF0010002}, kCleanedUp, {kTimedOut, kNoCleanup}},
    {"NoJoinAndBadExit", {0, 0, 0xF0010001, 0xF0000009}, kCleanedUp, {kNoJoin, kBadExit}},
    {"FullAndBadExitAndNoCleanup",
     {0, 0, 0, 0xF0000009, 0, 0xF0010002},
     kCleanedUp,
     {kFull, kBadExit, kNoCleanup},
     true},
    {"FullAndTimeOutAndNoDelete",
     {0, 0, 0xF001000B, 0, 0xF0010002, 0xF0010002},
     kDeleted,
     {kFull, kTimedOut, kDelete + "0xF0010002"},
     true},
    {"FullAndNoJoinAndBadExit", {0, 0, 0xF0010001, 0xF0000009}, kDeleted, {kFull, kNoJoin, kBadExit}, true},
};
INSTANTIATE_TEST_SUITE_P(Layer, HandlerEnd, testing::ValuesIn(kEnds),
                         [](auto const & each) { return each.param.name; });

using HandlerShutdown = HandlerTest;

TEST_F(HandlerShutdown, AnnouncesItselfWhileEntriesAreStillTakenAndWritesAllThatAreQueued)
{
    Texts lines;
    Handler * object = nullptr;
    RecordStream const records([&](std::string_view record) {
        lines.push_back(comparable("\n" + std::string(record)).front());
        if (lines.back().find("Bundle") != std::string::npos) {
            EXPECT_EQ(object->addTraceData(traceEntry(kMessage, "in time")), TRACE_OK);
        }
    });
    InternalTrace internalTrace;
    setFlags(internalTrace, {true, true, true});
    start();
    object = handler.get();
    layer.whileJoining = [&] { layer.runWorker(); };
    fill(traceEntry(kWarning, "queued"), 2);
    lines.clear();
    handler.reset();
    EXPECT_THAT(lines,
                ElementsAre(ownRecord(kMessage, "handler.cpp", "trace::Handler::~Handler",
                                      "Bundle will be destructed. Traces sent up to now "
                                      "to queue will still be "
                                      "set, new ones will be ignored."),
                            HasSubstr("is started"), unitRecord(kWarning, "queued"), unitRecord(kWarning, "queued"),
                            unitRecord(kMessage, "in time"), HasSubstr("is terminated")));
}

} // namespace

} // namespace common::log::test
