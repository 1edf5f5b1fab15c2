#include "helper/self_trace.h"

#include "recording_unit.h"
#include "support/internal_trace_access.h"
#include "unit_calls.h"

#include <thread>
#include <utility>

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

class SelfTrace : public UnitTest
{
protected:
    SelfTrace() { setActiveUnit(internalTrace, &unit); }

    ScopedEnvironment machine{"SNAP_NAME", "machine"};
    RecordingUnit unit;
    InternalTrace internalTrace;
    int evaluated = 0;
};

TEST_F(SelfTrace, CallsTheActiveUnitWithTheReportersOrigin)
{
    setFlags(internalTrace, {true, true, true});
    machine.set("changed later");
    reportAtEachSeverity(evaluated);

    EXPECT_THAT(unit.codes, ElementsAre(135201042U, 135135506U, 134873362U));
    EXPECT_THAT(unit.texts, ElementsAre("error 1", "warning 2", "message 3"));
    EXPECT_EQ(unit.last.classType, 1U);
    EXPECT_STREQ(unit.last.componentName, "trace");
    EXPECT_STREQ(unit.last.snapName, "machine");
    EXPECT_STREQ(unit.last.fileName, "self_trace_test.cpp");
    EXPECT_STREQ(unit.last.functionName, "common::log::test::reportAtEachSeverity");
    EXPECT_STREQ(unit.last.format, "%s %d");
    SELF_TRACE_ERROR("from here");
    EXPECT_EQ(unit.last.line, __LINE__ - 1U);
    EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(SelfTrace, EachSeverityGoesByItsOwnFlagAndArgumentsOfTheOthersAreNotEvaluated)
{
    reportAtEachSeverity(evaluated);
    EXPECT_THAT(unit.texts, ElementsAre("error 1")) << "the default";
    for (int flags = 0; flags < 8; ++flags) {
        EnablingState const state{(flags & 1) != 0, (flags & 2) != 0, (flags & 4) != 0};
        setFlags(internalTrace, state);
        evaluated = 0;
        unit.texts.clear();
        reportAtEachSeverity(evaluated);
        std::vector<std::string> expected;
        for (auto const & [isOn, name] : {std::pair(state.errors, "error "), std::pair(state.warnings, "warning "),
                                          std::pair(state.messages, "message ")}) {
            if (isOn) {
                expected.push_back(name + std::to_string(expected.size() + 1));
            }
        }
        EXPECT_EQ(unit.texts, expected) << flags;
    }
}

TEST_F(SelfTrace, IsSilentWithoutAnObjectOrWithoutItsUnit)
{
    setFlags(internalTrace, {true, true, true});
    setActiveUnit(internalTrace, nullptr);
    reportAtEachSeverity(evaluated);
    setActiveUnit(internalTrace, &unit);
    removeInternalTracePointer();
    EXPECT_EQ(g_internalTrace, nullptr);
    reportAtEachSeverity(evaluated);
    EXPECT_EQ(evaluated, 0);
    EXPECT_THAT(unit.codes, IsEmpty());

    setInternalTracePointer(&internalTrace);
    reportAtEachSeverity(evaluated);
    EXPECT_THAT(unit.codes, SizeIs(3));
}

TEST_F(SelfTrace, EndsAfterOneLevelInsideAnother)
{
    unit.whileCalled = [] { SELF_TRACE_ERROR("inside"); };
    for (std::size_t round = 1; round <= 3; ++round) {
        SELF_TRACE_ERROR("outside");
        EXPECT_THAT(unit.texts, SizeIs(2 * round)) << "the next report starts anew";
    }
}

TEST_F(SelfTrace, CountsItsLevelsForEachThread)
{
    unit.whileCalled = [this] {
        if (unit.texts.size() == 2) { // inside of two reports
            std::thread([] { SELF_TRACE_ERROR("from another thread"); }).join();
        } else {
            SELF_TRACE_ERROR("inside");
        }
    };
    SELF_TRACE_ERROR("outside");
    EXPECT_THAT(unit.texts, ElementsAre("outside", "inside", "from another thread", "inside"));
}

using OwnRecords = UnitTest;

TEST_F(OwnRecords, WithALongSnapNameReportTheCutOnceAndAhead)
{
    environment.set(std::string(100, 's'));
    InternalTrace const internalTrace;
    (void)mapCommonResultToTraceResult(static_cast<CommonResult>(2));
    std::string const kept(63, 's');
    EXPECT_THAT(takeLines(),
                ElementsAre(cutReport(100, 63, kept), ownError("map_results.cpp", "trace::mapCommonResultToTraceResult",
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
    EXPECT_EQ(g_internalTrace, nullptr);
}

} // namespace

} // namespace common::log::test
