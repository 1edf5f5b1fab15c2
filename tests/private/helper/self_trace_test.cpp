#include "helper/self_trace.h"

#include "support/internal_trace_access.h"
#include "support/trace_test.h"

#include <thread>
#include <tuple>

namespace common::log::test {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Reports once at each severity; the arguments are counted as they are evaluated.
void reportAtEachSeverity(int & evaluated)
{
    SELF_TRACE_ERROR("%s %d", "error", ++evaluated);
    SELF_TRACE_WARNING("%s %d", "warning", ++evaluated);
    SELF_TRACE_MESSAGE("%s %d", "message", ++evaluated);
}

constexpr unsigned int kReportLine = __LINE__ + 1;
void report(char const * text) { SELF_TRACE_ERROR("%s", text); }

namespace {

/// What reportAtEachSeverity writes, as far as the flags let it.
std::vector<std::string> reports(EnablingState const & state)
{
    std::vector<std::string> lines;
    for (auto const & [isOn, code, text] : {std::tuple(state.errors, kError, "error "),
                                            {state.warnings, kWarning, "warning "},
                                            {state.messages, kMessage, "message "}}) {
        if (isOn) { // only then the argument is evaluated, and counts up
            lines.push_back(ownRecord(code, "self_trace_test.cpp", "test::reportAtEachSeverity",
                                      text + std::to_string(lines.size() + 1)));
        }
    }
    return lines;
}

class SelfTrace : public TraceTest
{
protected:
    std::vector<std::string> reported()
    {
        int evaluated = 0;
        reportAtEachSeverity(evaluated);
        EXPECT_EQ(static_cast<std::size_t>(evaluated), stream.lines().size());
        return takeLines();
    }

    InternalTrace internalTrace;
};

TEST_F(SelfTrace, EachSeverityGoesByItsOwnFlagAndArgumentsOfTheOthersAreNotEvaluated)
{
    environment.set("changed later");
    EXPECT_EQ(reported(), reports({false, false, true})) << "the default";
    for (unsigned int number = 0; number < 8; ++number) {
        setFlags(internalTrace, stateOf(number));
        EXPECT_EQ(reported(), reports(stateOf(number)));
    }
    report("from there");
    EXPECT_EQ(stream.records().at(0).line, std::to_string(kReportLine));
}

TEST_F(SelfTrace, IsSilentWithoutAnObjectOrWithoutItsUnit)
{
    ILogRealTime * const unit = internalTrace.activeUnit();
    setActiveUnit(internalTrace, nullptr);
    EXPECT_THAT(reported(), IsEmpty());
    setActiveUnit(internalTrace, unit);
    removeInternalTracePointer();
    EXPECT_THAT(reported(), IsEmpty());
    setInternalTracePointer(&internalTrace);
    EXPECT_THAT(reported(), SizeIs(1));
}

TEST_F(SelfTrace, EndsAfterOneLevelInsideAnotherOnEachThread)
{
    std::vector<std::string> texts;
    RecordStream const inside([&](std::string_view record) {
        texts.push_back(parseRecord(std::string(record)).message);
        if (texts.size() == 2) { // inside of two reports
            std::thread(report, "from another thread").join();
        }
        report("inside");
    });
    report("outside");
    EXPECT_THAT(texts, ElementsAre("outside", "inside", "from another thread", "inside"));
    report("outside");
    EXPECT_THAT(texts, SizeIs(6)) << "the next report starts anew";
}

using OwnRecords = TraceTest;

TEST_F(OwnRecords, WithALongSnapNameReportTheCutOnceAndAhead)
{
    environment.set(std::string(100, 's'));
    InternalTrace const internalTrace;
    (void)mapCommonResultToTraceResult(static_cast<CommonResult>(2));
    std::string const kept(63, 's');
    EXPECT_THAT(takeLines(), ElementsAre(cutReport(100, 63, kept),
                                         ownRecord(kError, "map_results.cpp", "trace::mapCommonResultToTraceResult",
                                                   "Invalid Argument: commonResult", kept)));
}

TEST(InternalTraceObject, StandsBehindTheGlobalPointerWhileItLives)
{
    EXPECT_EQ(g_internalTrace, nullptr);
    {
        InternalTrace const first;
        EXPECT_EQ(g_internalTrace, &first);
        {
            InternalTrace const second;
            EXPECT_EQ(g_internalTrace, &second) << "takes over";
        }
        EXPECT_EQ(g_internalTrace, nullptr) << "the end of either one";
    }
}

} // namespace

} // namespace common::log::test
