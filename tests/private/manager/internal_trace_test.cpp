#include "manager_fixture.h"

#include <cinttypes>
#include <cstdio>

namespace common::log::test {

using namespace common::log::trace;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char const * kOwnUnit = "common.log.trace";

class OwnUnit : public ManagerTest
{
protected:
    OwnUnit() { (void)takeReports(); }
    ~OwnUnit() override { internalTrace.removeTraceUnit(manager); }

    std::string names() const
    {
        setFlags(const_cast<InternalTrace &>(internalTrace), kNothing);
        std::string list;
        (void)manager->getAllTraceUnits(list);
        return list;
    }
    /// Ends the worker, and gives the reports of both roads.
    std::vector<std::string> drained()
    {
        internalTrace.removeTraceUnit(manager);
        handler.reset();
        return takeReports();
    }

    std::shared_ptr<Handler> handler = std::make_shared<Handler>();
};

TEST_F(OwnUnit, TakesOverTheReportsAndTheirSwitches)
{
    setFlags(internalTrace, {true, false, true});
    internalTrace.addTraceUnit(manager, handler);
    ILogRealTime const * const active = internalTrace.activeUnit();
    char pointer[16];
    (void)std::snprintf(pointer, sizeof pointer, "0x%08" PRIX32,
                        static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(active)));
    EnablingState const flags = internalTrace.enablingState();
    EXPECT_EQ(flags, (EnablingState{true, false, true})) << "the given state is its own field";

    // The calling thread wrote what came before the switch-over, the worker what comes behind it.
    EXPECT_THAT(drained(), Contains(std::string("message InternalTrace::addTraceUnit: Added trace unit with name ") +
                                    kOwnUnit + " and pointer " + pointer + "."));
}

TEST_F(OwnUnit, IsListedAndSwitchedLikeAnyOther)
{
    internalTrace.addTraceUnit(manager, handler);
    EXPECT_EQ(manager->setEnablingStateTraceUnit(kOwnUnit, kWarningsOnly), TRACE_OK);
    EXPECT_EQ(internalTrace.enablingState(), kWarningsOnly);
    EXPECT_EQ(manager->disableAllTraceUnits(), TRACE_OK);
    EXPECT_EQ(manager->addTraceUnit(nullptr, {}), TRACE_INVALID_ARGUMENT);
    internalTrace.removeTraceUnit(manager);
    EXPECT_EQ(internalTrace.enablingState(), kNothing) << "not reset";
    EXPECT_EQ(names(), "");
    for (std::string const & report : drained()) {
        EXPECT_THAT(report, Not(HasSubstr("Invalid argument"))) << "errors are switched off with all the others";
    }
}

TEST_F(OwnUnit, ThatCannotBeAddedLeavesTheReportsWhereTheyWere)
{
    (void)registered("common.log");
    ILogRealTime const * const before = internalTrace.activeUnit();
    internalTrace.addTraceUnit(manager, handler);
    EXPECT_EQ(internalTrace.activeUnit(), before);
    EXPECT_THAT(takeReports(),
                ElementsAre("message Manager::addTraceUnit: Add trace unit 'common.log.trace'.",
                            "error Manager::checkNameTraceUnit: Trace unit name common.log.trace is invalid because "
                            "trace unit common.log was already registered.",
                            "error InternalTrace::addTraceUnit: Calling 'addUnit' failed with error code 0xF000000A.",
                            "message Manager::removeTraceUnit: Remove trace unit 'common.log.trace'.",
                            "error Manager::removeTraceUnit: End of list was reached. Trace unit 'common.log.trace' "
                            "was not found."));
    EXPECT_EQ(names(), "common.log;");
}

TEST_F(OwnUnit, AddedTwiceGoesOnUnlisted)
{
    internalTrace.addTraceUnit(manager, handler);
    ILogRealTime const * const first = internalTrace.activeUnit();
    internalTrace.addTraceUnit(manager, handler);
    EXPECT_EQ(internalTrace.activeUnit(), first);
    setFlags(internalTrace, {false, false, true});
    internalTrace.removeTraceUnit(manager);
    EXPECT_NE(internalTrace.activeUnit(), first);
    handler.reset();
    EXPECT_THAT(takeReports(),
                Contains("error InternalTrace::removeTraceUnit: Calling 'removeUnit' failed with error code "
                         "0xF0000008."));
}

TEST_F(OwnUnit, IsRemovedOnceAndOnlyByAManager)
{
    internalTrace.removeTraceUnit(manager);
    EXPECT_THAT(takeReports(), IsEmpty()) << "nothing was added";
    internalTrace.removeTraceUnit(nullptr);
    EXPECT_THAT(takeReports(), ElementsAre("error InternalTrace::removeTraceUnit: Invalid argument: traceManager; "
                                           "could not remove trace unit."));
    internalTrace.addTraceUnit(manager, handler);
    ILogRealTime const * const added = internalTrace.activeUnit();
    internalTrace.removeTraceUnit(nullptr);
    EXPECT_EQ(internalTrace.activeUnit(), added);
}

} // namespace

} // namespace common::log::test
