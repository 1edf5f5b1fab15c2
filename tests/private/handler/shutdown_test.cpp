#include "handler_fixture.h"

#include "support/record_stream.h"

#include <ostream>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr std::uint32_t kTimedOut = 0xF001000B;
constexpr std::uint32_t kFailed = 0xF0010001;

constexpr char const * kFullText = "Calling 'addTraceData' with data type 2 failed with error code 0xF0000006";
constexpr char const * kTimedOutText = "Thread 'TraceHandler' did not end after 3000 ms";
constexpr char const * kJoinText = "Calling 'ZEP_eThreadJoin' for 'TraceHandler' failed with error code 0xF0010001";
constexpr char const * kExitText = "Thread 'TraceHandler' ended with exit code 0xF0000009";
constexpr char const * kDeleteText =
    "Calling 'ZEP_eThreadDelete' for thread 'TraceHandler' failed with error code 0xF0010002";
constexpr char const * kCleanupText =
    "Calling 'ZEP_eThreadCleanup' for thread 'TraceHandler' failed with error code 0xF0010003";

struct EndCase
{
    char const * name;
    bool isFull;
    std::uint32_t joinStatus;
    std::uint32_t exitCode;
    bool isDeleted;
    std::vector<std::string> errors;
};

std::ostream & operator<<(std::ostream & stream, EndCase const & endCase) { return stream << endCase.name; }

EndCase const kEndCases[] = {
    {"Success", false, 0, TRACE_OK, false, {}},
    {"SuccessWithANumber", false, 0x7001000B, 0x7FFFFFFF, false, {}},
    {"BadExit", false, 0, 0xF0000009, false, {kExitText}},
    {"TimeOut", false, kTimedOut, 0, false, {kTimedOutText}},
    {"JoinFailed", false, kFailed, 0, false, {kJoinText}},
    {"JoinFailedAndBadExit", false, kFailed, 0xF0000009, false, {kJoinText, kExitText}},
    {"Full", true, 0, TRACE_OK, false, {kFullText}},
    {"FullAndBadExit", true, 0, 0xF0000009, false, {kFullText, kExitText}},
    {"FullAndTimeOut", true, kTimedOut, 0, true, {kFullText, kTimedOutText}},
    {"FullAndTimeOutAndBadExit", true, kTimedOut, 0xF0000009, true, {kFullText, kTimedOutText, kExitText}},
    {"FullAndJoinFailed", true, kFailed, 0, true, {kFullText, kJoinText}},
};

class HandlerEnd : public HandlerTest, public testing::WithParamInterface<EndCase>
{
};

TEST_P(HandlerEnd, JoinsAndReleasesTheThread)
{
    EndCase const & endCase = GetParam();
    for (bool const isReleased : {true, false}) {
        SCOPED_TRACE(isReleased);
        start();
        fill(traceEntry(kMessage, ""), endCase.isFull ? kQueueSize : kQueueSize - 1);
        layer.answers.joinStatus = endCase.joinStatus;
        layer.answers.exitCode = endCase.exitCode;
        layer.answers.deleteStatus = isReleased ? 0 : 0xF0010002;
        layer.answers.cleanupStatus = isReleased ? 0 : 0xF0010003;
        stream.clear();
        std::size_t const join = layer.calls().size();
        handler.reset();

        EXPECT_THAT(
            std::vector<std::string>(layer.calls().begin() + static_cast<std::ptrdiff_t>(join), layer.calls().end()),
            ElementsAre("join(0x700000007, 3000, 0)",
                        endCase.isDeleted ? "delete(0x700000007)" : "cleanup(0x700000007)"));
        std::vector<std::string> expected;
        for (std::string const & text : endCase.errors) {
            expected.push_back(ownRecord(kError, kDestructor, text));
        }
        EXPECT_THAT(comparable(layer.streamAtCall(join + 1)), ElementsAreArray(expected));
        EXPECT_EQ(comparable(layer.streamAtCall(join)).size(), endCase.isFull ? 1U : 0U);
        if (!isReleased) {
            expected.push_back(ownRecord(kError, kDestructor, endCase.isDeleted ? kDeleteText : kCleanupText));
        }
        EXPECT_THAT(written(), ElementsAreArray(expected));
    }
}

INSTANTIATE_TEST_SUITE_P(Layer, HandlerEnd, testing::ValuesIn(kEndCases),
                         [](auto const & each) { return each.param.name; });

using HandlerShutdown = HandlerTest;

TEST_F(HandlerShutdown, WithoutAWorkerGoesTheSameWayWithHandleZero)
{
    layer.answers.coresStatus = kFailed;
    layer.answers.joinStatus = kFailed;
    layer.answers.exitCode = 0;
    start();
    stream.clear();
    handler.reset();
    EXPECT_THAT(layer.calls(), ElementsAre("cores(0)", "join(0x0, 3000, 0)", "cleanup(0x0)"));
    EXPECT_THAT(written(), ElementsAre(ownRecord(kError, kDestructor, kJoinText)));
}

TEST_F(HandlerShutdown, WritesWhatWasQueuedAheadOfTheEnd)
{
    start();
    fill(traceEntry(kWarning, "queued"), 100);
    layer.whileJoining = [&] { layer.runWorker(); };
    stream.clear();
    handler.reset();
    std::vector<std::string> const records = written();
    ASSERT_EQ(records.size(), 102U);
    EXPECT_THAT(std::vector<std::string>(records.begin() + 1, records.end() - 1),
                testing::Each(unitRecord(kWarning, "queued")));
    EXPECT_EQ(records.back(), ownRecord(kMessage, kWorker, "Thread 'TraceHandler' is terminated by destruction"));
}

TEST_F(HandlerShutdown, AnnouncesItselfWhileEntriesAreStillTaken)
{
    std::vector<std::string> records;
    Handler * object = nullptr;
    {
        RecordStream const receiver([&](std::string_view record) {
            records.push_back(comparable("\n" + std::string(record)).front());
            if (record.find("Bundle") != std::string_view::npos) {
                EXPECT_EQ(object->addTraceData(traceEntry(kMessage, "in time")), TRACE_OK);
            }
        });
        InternalTrace internalTrace;
        emitAll(internalTrace);
        start();
        object = handler.get();
        layer.whileJoining = [&] { layer.runWorker(); };
        records.clear();
        handler.reset();
    }
    EXPECT_THAT(records,
                ElementsAre(ownRecord(kMessage, kDestructor,
                                      "Bundle will be destructed. Traces sent up to now to queue will still be set, "
                                      "new ones will be ignored."),
                            testing::HasSubstr("is started"), unitRecord(kMessage, "in time"),
                            testing::HasSubstr("is terminated")));
}

TEST_F(HandlerShutdown, AnnouncesNothingByDefault)
{
    InternalTrace internalTrace;
    start();
    stream.clear();
    handler.reset();
    EXPECT_EQ(stream.text(), "");
}

} // namespace

} // namespace common::log::test
