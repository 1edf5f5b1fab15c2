#include "handler_fixture.h"

#include "support/internal_trace_access.h"

#include <cstring>
#include <ostream>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr char const * kCalls[] = {"cores(0)", "create(0, TraceHandler, priority 10, stack 65536, cores 0x5, false)",
                                   "delete(0x700000007)"};

std::string failure(std::string const & call, char const * status)
{
    return "Calling 'ZEP_eThread" + call + " failed with error code " + status;
}

struct StartCase
{
    char const * name;
    std::uint32_t coresStatus;
    std::uint32_t createStatus;
    std::uint32_t deleteStatus;
    std::size_t calls;
    std::vector<std::string> errors;
};

std::ostream & operator<<(std::ostream & stream, StartCase const & startCase) { return stream << startCase.name; }

std::vector<StartCase> startCases()
{
    std::string const createText = "Create' for thread 'TraceHandler'";
    return {{"Success", 0, 0, 0, 2, {}},
            {"SuccessWithANumber", 0x7FFFFFFF, 0x7001000F, 0, 2, {}},
            {"NoCores", 0xF001000F, 0, 0, 1, {failure("GetUsableCores'", "0xF001000F")}},
            {"NoThread", 0, 0x80000000, 0, 2, {failure(createText, "0x80000000")}},
            {"ThreadLeftBehind", 0, 0xF001000F, 0, 3, {failure(createText, "0xF001000F")}},
            {"ThreadLeftBehindForGood",
             0,
             0xF001000F,
             0xF00100AB,
             3,
             {failure(createText, "0xF001000F"), failure("Delete' for thread 'TraceHandler'", "0xF00100AB")}}};
}

class HandlerStartUp : public HandlerTest, public testing::WithParamInterface<StartCase>
{
};

TEST_P(HandlerStartUp, CallsTheLayerAndTellsWhatFailedWhateverIsSwitchedOff)
{
    InternalTrace internalTrace;
    setFlags(internalTrace, {false, false, false});
    layer.answers.coresStatus = GetParam().coresStatus;
    layer.answers.createStatus = GetParam().createStatus;
    layer.answers.deleteStatus = GetParam().deleteStatus;
    start();

    EXPECT_THAT(layer.calls(), ElementsAreArray(kCalls, GetParam().calls));
    std::vector<std::string> records{ownRecord(kMessage, "handler.cpp", "trace::Handler::Handler",
                                               "Trace queue is lockfree and has a fixed size of 3200 elements.")};
    EXPECT_EQ(comparable(layer.streamAtCall(0)), records) << "the size ahead of everything";
    for (std::string const & text : GetParam().errors) {
        records.push_back(ownRecord(kError, "handler.cpp", "trace::Handler::Handler", text));
    }
    EXPECT_EQ(written(), records);
    if (GetParam().calls > 1) {
        EXPECT_EQ(layer.argument(), handler.get());
    }
    // The first field stands behind the pointer to the virtual operations, which is where tools look for it.
    TraceResult initResult{};
    std::memcpy(&initResult, reinterpret_cast<char const *>(handler.get()) + sizeof(void *), sizeof initResult);
    EXPECT_EQ(initResult, GetParam().errors.empty() ? TRACE_OK : TRACE_THREAD_START_FAILED);
}

INSTANTIATE_TEST_SUITE_P(Layer, HandlerStartUp, testing::ValuesIn(startCases()),
                         [](auto const & each) { return each.param.name; });

using HandlerStart = HandlerTest;

TEST_F(HandlerStart, StaysUsableWithoutAWorker)
{
    layer.answers.coresStatus = 0xF0010001;
    start();
    stream.clear();
    fill(traceEntry(kError, ""));
    EXPECT_EQ(handler->addTraceData(traceEntry(kError, "")), TRACE_QUEUE_FULL);
    EXPECT_THAT(written(), IsEmpty());
    EXPECT_THAT(layer.calls(), ElementsAre(kCalls[0])) << "nothing is started again";
}

} // namespace

} // namespace common::log::test
