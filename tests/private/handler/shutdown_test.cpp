#include "handler_fixture.h"

#include "support/internal_trace_access.h"

#include <ostream>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr char const * kFull = "Calling 'addTraceData' with data type 2 failed with error code 0xF0000006";
constexpr char const * kTimedOut = "Thread 'TraceHandler' did not end after 3000 ms";
constexpr char const * kNoJoin = "Calling 'ZEP_eThreadJoin' for 'TraceHandler' failed with error code 0xF0010001";
constexpr char const * kBadExit = "Thread 'TraceHandler' ended with exit code 0xF0000009";
constexpr char const * kNoDelete =
    "Calling 'ZEP_eThreadDelete' for thread 'TraceHandler' failed with error code 0xF0010002";
constexpr char const * kNoCleanup =
    "Calling 'ZEP_eThreadCleanup' for thread 'TraceHandler' failed with error code 0xF0010002";

struct EndCase
{
    char const * name;
    bool isFull;
    std::uint32_t joinStatus;
    std::uint32_t exitCode;
    std::uint32_t releaseStatus;
    bool isDeleted;
    std::vector<std::string> errors;
};

std::ostream & operator<<(std::ostream & stream, EndCase const & endCase) { return stream << endCase.name; }

EndCase const kEndCases[] = {
    {"Success", false, 0, TRACE_OK, 0, false, {}},
    {"SuccessWithNumbers", false, 0x7001000B, 0x7FFFFFFF, 0x7FFFFFFF, false, {}},
    {"BadExit", false, 0, 0xF0000009, 0, false, {kBadExit}},
    {"TimeOutAndNoCleanup", false, 0xF001000B, 0, 0xF0010002, false, {kTimedOut, kNoCleanup}},
    {"NoJoinAndBadExit", false, 0xF0010001, 0xF0000009, 0, false, {kNoJoin, kBadExit}},
    {"Full", true, 0, TRACE_OK, 0, false, {kFull}},
    {"FullAndBadExitAndNoCleanup", true, 0, 0xF0000009, 0xF0010002, false, {kFull, kBadExit, kNoCleanup}},
    {"FullAndTimeOutAndNoDelete", true, 0xF001000B, 0, 0xF0010002, true, {kFull, kTimedOut, kNoDelete}},
    {"FullAndNoJoinAndBadExit", true, 0xF0010001, 0xF0000009, 0, true, {kFull, kNoJoin, kBadExit}},
};

class HandlerEnd : public HandlerTest, public testing::WithParamInterface<EndCase>
{
};

TEST_P(HandlerEnd, JoinsAndReleasesTheThread)
{
    EndCase const & endCase = GetParam();
    start();
    fill(traceEntry(kMessage, ""), endCase.isFull ? kQueueSize : kQueueSize - 1);
    layer.answers.joinStatus = endCase.joinStatus;
    layer.answers.exitCode = endCase.exitCode;
    layer.answers.deleteStatus = endCase.releaseStatus;
    layer.answers.cleanupStatus = endCase.releaseStatus;
    stream.clear();
    handler.reset();

    ASSERT_EQ(layer.calls().size(), 4U);
    EXPECT_EQ(layer.calls()[2], "join(0x700000007, 3000, 0)");
    EXPECT_EQ(layer.calls()[3], endCase.isDeleted ? "delete(0x700000007)" : "cleanup(0x700000007)");
    EXPECT_EQ(comparable(layer.streamAtCall(2)).size(), endCase.isFull ? 1U : 0U);
    std::vector<std::string> expected;
    for (std::string const & text : endCase.errors) {
        expected.push_back(ownRecord(kError, "handler.cpp", "trace::Handler::~Handler", text));
    }
    EXPECT_EQ(written(), expected);
    expected.resize(expected.size() - (endCase.releaseStatus == 0xF0010002 ? 1 : 0));
    EXPECT_EQ(comparable(layer.streamAtCall(3)), expected) << "all others ahead of the release";
}

INSTANTIATE_TEST_SUITE_P(Layer, HandlerEnd, testing::ValuesIn(kEndCases),
                         [](auto const & each) { return each.param.name; });

using HandlerShutdown = HandlerTest;

TEST_F(HandlerShutdown, WithoutAWorkerGoesTheSameWayWithHandleZero)
{
    layer.answers.coresStatus = 0xF0010001;
    layer.answers.joinStatus = 0xF0010001;
    layer.answers.exitCode = 0;
    start();
    stream.clear();
    handler.reset();
    EXPECT_THAT(layer.calls(), ElementsAre("cores(0)", "join(0x0, 3000, 0)", "cleanup(0x0)"));
    EXPECT_THAT(written(), ElementsAre(ownRecord(kError, "handler.cpp", "trace::Handler::~Handler", kNoJoin)));
}

TEST_F(HandlerShutdown, AnnouncesItselfWhileEntriesAreStillTakenAndWritesAllThatAreQueued)
{
    std::vector<std::string> lines;
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
                                      "Bundle will be destructed. Traces sent up to now to queue will still be "
                                      "set, new ones will be ignored."),
                            HasSubstr("is started"), unitRecord(kWarning, "queued"), unitRecord(kWarning, "queued"),
                            unitRecord(kMessage, "in time"), HasSubstr("is terminated")));
}

} // namespace

} // namespace common::log::test
