#include "failing_new.h"
#include "handler_fixture.h"

#include <cstring>
#include <new>
#include <ostream>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr char const * kCores = "cores(0)";
constexpr char const * kCreate = "create(0, TraceHandler, priority 10, stack 65536, cores 0x5, false)";
constexpr char const * kSizeText = "Trace queue is lockfree and has a fixed size of 3200 elements.";

struct StartCase
{
    char const * name;
    FakeThreadLayer::Answers answers;
    std::vector<std::string> calls;
    std::vector<std::string> errors;
    TraceResult initResult;
};

std::ostream & operator<<(std::ostream & stream, StartCase const & startCase) { return stream << startCase.name; }

FakeThreadLayer::Answers answers(std::uint32_t cores, std::uint32_t create, std::uint32_t remove)
{
    FakeThreadLayer::Answers result;
    result.coresStatus = cores;
    result.createStatus = create;
    result.deleteStatus = remove;
    return result;
}

std::vector<StartCase> startCases()
{
    constexpr char const * kDelete = "delete(0x700000007)";
    return {
        {"Success", answers(0, 0, 0), {kCores, kCreate}, {}, TRACE_OK},
        {"SuccessWithANumber", answers(0x7FFFFFFF, 0x7001000F, 0), {kCores, kCreate}, {}, TRACE_OK},
        {"NoCores",
         answers(0x80000000, 0, 0),
         {kCores},
         {"Calling 'ZEP_eThreadGetUsableCores' failed with error code 0x80000000"},
         TRACE_THREAD_START_FAILED},
        {"NoCoresWithTheStatusOfALeftThread",
         answers(0xF001000F, 0, 0),
         {kCores},
         {"Calling 'ZEP_eThreadGetUsableCores' failed with error code 0xF001000F"},
         TRACE_THREAD_START_FAILED},
        {"NoThread",
         answers(0, 0xF001000E, 0),
         {kCores, kCreate},
         {"Calling 'ZEP_eThreadCreate' for thread 'TraceHandler' failed with error code 0xF001000E"},
         TRACE_THREAD_START_FAILED},
        {"ThreadLeftBehind",
         answers(0, 0xF001000F, 0),
         {kCores, kCreate, kDelete},
         {"Calling 'ZEP_eThreadCreate' for thread 'TraceHandler' failed with error code 0xF001000F"},
         TRACE_THREAD_START_FAILED},
        {"ThreadLeftBehindForGood",
         answers(0, 0xF001000F, 0xF00100AB),
         {kCores, kCreate, kDelete},
         {"Calling 'ZEP_eThreadCreate' for thread 'TraceHandler' failed with error code 0xF001000F",
          "Calling 'ZEP_eThreadDelete' for thread 'TraceHandler' failed with error code 0xF00100AB"},
         TRACE_THREAD_START_FAILED},
    };
}

class HandlerStartUp : public HandlerTest, public testing::WithParamInterface<StartCase>
{
};

TEST_P(HandlerStartUp, CallsTheLayerAndTellsWhatFailed)
{
    layer.answers = GetParam().answers;
    start();

    EXPECT_THAT(layer.calls(), ElementsAreArray(GetParam().calls));
    std::vector<std::string> records{ownRecord(kMessage, kConstructor, kSizeText)};
    for (std::string const & text : GetParam().errors) {
        records.push_back(ownRecord(kError, kConstructor, text));
    }
    EXPECT_THAT(written(), ElementsAreArray(records));

    // The first field stands behind the pointer to the virtual operations, which is where tools look for it.
    TraceResult initResult{};
    std::memcpy(&initResult, reinterpret_cast<char const *>(handler.get()) + sizeof(void *), sizeof initResult);
    EXPECT_EQ(initResult, GetParam().initResult);
}

INSTANTIATE_TEST_SUITE_P(Layer, HandlerStartUp, testing::ValuesIn(startCases()),
                         [](auto const & each) { return each.param.name; });

using HandlerStart = HandlerTest;

TEST_F(HandlerStart, TellsTheQueueSizeAheadOfEverythingAndStartsTheThreadLast)
{
    start();
    EXPECT_THAT(comparable(layer.streamAtCall(0)), ElementsAre(ownRecord(kMessage, kConstructor, kSizeText)));
    EXPECT_EQ(layer.streamAtCall(1), stream.text());
    EXPECT_EQ(layer.argument(), handler.get());
}

TEST_F(HandlerStart, WritesItsRecordsWhateverIsSwitchedOff)
{
    InternalTrace internalTrace;
    const_cast<EnablingState &>(internalTrace.enablingState()) = {false, false, false};
    layer.answers.createStatus = 0xF0010001;
    start();
    EXPECT_EQ(written().size(), 2U);
}

TEST_F(HandlerStart, StaysUsableWithoutAWorker)
{
    layer.answers.coresStatus = 0xF0010001;
    start();
    stream.clear();
    fill(traceEntry(kError, ""));
    EXPECT_EQ(handler->addTraceData(traceEntry(kError, "")), TRACE_QUEUE_FULL);
    EXPECT_THAT(written(), IsEmpty());
    EXPECT_THAT(layer.calls(), ElementsAre(kCores)) << "nothing is started again";
}

TEST_F(HandlerStart, WithoutMemoryForTheQueueThrowsAheadOfAnyCall)
{
    failNewFrom(kQueueSize * sizeof(DataOfQueue));
    EXPECT_THROW(start(), std::bad_alloc);
    failNewFrom(0);
    EXPECT_THAT(layer.calls(), IsEmpty());
    EXPECT_THAT(written(), IsEmpty());
}

} // namespace

} // namespace common::log::test
