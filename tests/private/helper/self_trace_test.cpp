#include "helper/self_trace.h"

#include "recording_unit.h"
#include "support/internal_trace_access.h"
#include "support/trace_test.h"

#include <thread>

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

namespace {

class SelfTrace : public TraceTest
{
protected:
    SelfTrace() { setActiveUnit(internalTrace, &unit); }

    RecordingUnit unit;
    InternalTrace internalTrace;
    int evaluated = 0;
};

TEST_F(SelfTrace, CallsTheActiveUnitWithTheReportersOrigin)
{
    setFlags(internalTrace, {true, true, true});
    environment.set("changed later");
    reportAtEachSeverity(evaluated);

    EXPECT_THAT(unit.codes, ElementsAre(kError, kWarning, kMessage));
    EXPECT_THAT(unit.texts, ElementsAre("error 1", "warning 2", "message 3"));
    EXPECT_EQ(unit.last.classType, 1U);
    EXPECT_STREQ(unit.last.componentName, "trace");
    EXPECT_STREQ(unit.last.snapName, "machine");
    EXPECT_STREQ(unit.last.fileName, "self_trace_test.cpp");
    EXPECT_STREQ(unit.last.functionName, "common::log::test::reportAtEachSeverity");
    SELF_TRACE_ERROR("from here");
    EXPECT_EQ(unit.last.line, __LINE__ - 1U);
}

TEST_F(SelfTrace, EachSeverityGoesByItsOwnFlagAndArgumentsOfTheOthersAreNotEvaluated)
{
    reportAtEachSeverity(evaluated);
    EXPECT_THAT(unit.codes, ElementsAre(kError)) << "the default";
    for (unsigned int number = 0; number < 8; ++number) {
        EnablingState const state = stateOf(number);
        setFlags(internalTrace, state);
        evaluated = 0;
        unit.codes.clear();
        reportAtEachSeverity(evaluated);
        std::vector<unsigned int> expected;
        for (auto const & [isOn, code] :
             {std::pair(state.errors, kError), {state.warnings, kWarning}, {state.messages, kMessage}}) {
            expected.insert(expected.end(), isOn ? 1 : 0, code);
        }
        EXPECT_EQ(unit.codes, expected) << number;
        EXPECT_EQ(evaluated, static_cast<int>(expected.size()));
    }
}

TEST_F(SelfTrace, IsSilentWithoutAnObjectOrWithoutItsUnit)
{
    setActiveUnit(internalTrace, nullptr);
    reportAtEachSeverity(evaluated);
    setActiveUnit(internalTrace, &unit);
    removeInternalTracePointer();
    reportAtEachSeverity(evaluated);
    EXPECT_EQ(evaluated, 0);
    EXPECT_THAT(unit.codes, IsEmpty());
    setInternalTracePointer(&internalTrace);
    reportAtEachSeverity(evaluated);
    EXPECT_THAT(unit.codes, SizeIs(1));
}

TEST_F(SelfTrace, EndsAfterOneLevelInsideAnotherOnEachThread)
{
    unit.whileCalled = [this] {
        if (unit.texts.size() == 2) { // inside of two reports
            std::thread([] { SELF_TRACE_ERROR("from another thread"); }).join();
        }
        SELF_TRACE_ERROR("inside");
    };
    SELF_TRACE_ERROR("outside");
    EXPECT_THAT(unit.texts, ElementsAre("outside", "inside", "from another thread", "inside"));
    SELF_TRACE_ERROR("outside");
    EXPECT_THAT(unit.texts, SizeIs(6)) << "the next report starts anew";
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
