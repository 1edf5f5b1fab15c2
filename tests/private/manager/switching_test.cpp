#include "manager_fixture.h"

#include <functional>

namespace common::log::test {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ValuesIn;

namespace {

constexpr EnablingState kOuter{true, false, true};

/// An operation on all units or on the one named.
struct Switch
{
    char const * name;
    std::string report;
    std::function<TraceResult(Manager &, std::string const & unitName)> call;
    EnablingState expected;
};

Switch const kOnAll[] = {
    {"Enable", "enableAllTraceUnits: Enable all trace units.",
     [](Manager & manager, auto &) { return manager.enableAllTraceUnits(); }, kEverything},
    {"Disable", "disableAllTraceUnits: Disable all trace units.",
     [](Manager & manager, auto &) { return manager.disableAllTraceUnits(); }, kNothing},
    {"Set",
     "setEnablingStateAllTraceUnits: Set enabling state for all traces (messages: true, warnings: false, errors: "
     "true).",
     [](Manager & manager, auto &) { return manager.setEnablingStateAllTraceUnits(kOuter); }, kOuter},
    {"Default", "setDefaultEnablingStateAllTraceUni: Set default enabling state for all trace units.",
     [](Manager & manager, auto &) {
         manager.setDefaultEnablingStateAllTraceUnits();
         return TRACE_OK;
     },
     kWarningsOnly},
};

Switch const kOnOne[] = {
    {"Enable", "enableTraceUnit: Enable trace unit '%'.",
     [](Manager & manager, std::string const & unitName) { return manager.enableTraceUnit(unitName); }, kEverything},
    {"Disable", "disableTraceUnit: Disable trace unit '%'.",
     [](Manager & manager, std::string const & unitName) { return manager.disableTraceUnit(unitName); }, kNothing},
    {"Set",
     "setEnablingStateTraceUnit: Set enabling state for trace unit '%' (messages: true, warnings: false, errors: "
     "true).",
     [](Manager & manager, std::string const & unitName) {
         return manager.setEnablingStateTraceUnit(unitName, kOuter);
     },
     kOuter},
    {"Get",
     "getEnablingStateTraceUnit: ",
     [](Manager & manager, std::string const & unitName) {
         EnablingState state = kOuter;
         TraceResult const result = manager.getEnablingStateTraceUnit(unitName, state);
         EXPECT_EQ(state, result == TRACE_OK ? EnablingState({true, true, false}) : kOuter);
         return result;
     },
     {true, true, false}},
};

class Switching : public ManagerTest, public testing::WithParamInterface<Switch>
{
protected:
    /// Registered with warnings only, and then switched to messages and warnings.
    Log & switched(std::string const & name)
    {
        Log & axis = registered(name, kWarningsOnly);
        axis.setEnablingState(EnablingState{true, true, false});
        axis.setCallbackEnablingState([this](EnablingState const & state) {
            ++called;
            EXPECT_EQ(state, GetParam().expected);
        });
        return axis;
    }

    int called = 0;
};

using SwitchingAll = Switching;

TEST_P(SwitchingAll, ReachesEachUnitOnce)
{
    (void)takeReports();
    EXPECT_EQ(GetParam().call(*manager, ""), TRACE_OK) << "of an empty table";
    EXPECT_EQ(takeReports().back(), "message Manager::" + GetParam().report) << "63 characters of a function are kept";
    Log const & first = switched("a.b");
    Log const & second = switched("a.c");
    EXPECT_EQ(GetParam().call(*manager, ""), TRACE_OK);
    EXPECT_EQ(first.getEnablingState(), GetParam().expected);
    EXPECT_EQ(second.getEnablingState(), GetParam().expected);
    EXPECT_EQ(first.getDefaultEnablingState(), kWarningsOnly);
    EXPECT_EQ(called, 2);
}

INSTANTIATE_TEST_SUITE_P(Operation, SwitchingAll, ValuesIn(kOnAll), [](auto const & row) { return row.param.name; });

using SwitchingOne = Switching;

TEST_P(SwitchingOne, ReachesTheUnitOfThatVeryName)
{
    Log const & axis = switched("a.b");
    Log const & other = switched("a.bc");
    std::string const & report = GetParam().report;
    bool const isReported = report.find('%') != std::string::npos;
    std::string const operation = report.substr(0, report.find(':'));
    auto const reportOn = [&](std::string const & unitName) {
        return "message Manager::" + std::string(report).replace(report.find('%'), 1, unitName);
    };
    (void)takeReports();
    EXPECT_EQ(GetParam().call(*manager, "a.b"), TRACE_OK);
    EXPECT_EQ(axis.getEnablingState(), GetParam().expected);
    EXPECT_EQ(called, isReported ? 1 : 0);
    EXPECT_EQ(takeReports(), isReported ? std::vector<std::string>{reportOn("a.b")} : std::vector<std::string>{});

    for (std::string const unitName : {"a", "a.b.c", "A.B"}) {
        EXPECT_EQ(GetParam().call(*manager, unitName), TRACE_NOT_FOUND) << unitName;
        std::vector<std::string> expected;
        if (isReported) {
            expected.push_back(reportOn(unitName));
        }
        expected.push_back("error Manager::" + operation + ": End of list was reached. Trace unit '" + unitName +
                           "' was not found.");
        EXPECT_EQ(takeReports(), expected);
    }
    EXPECT_EQ(GetParam().call(*manager, ""), TRACE_INVALID_ARGUMENT);
    EXPECT_THAT(takeReports(), ElementsAre("error Manager::" + operation + ": Invalid argument: unitName"));
    EXPECT_EQ(other.getEnablingState(), (EnablingState{true, true, false}));
}

INSTANTIATE_TEST_SUITE_P(Operation, SwitchingOne, ValuesIn(kOnOne), [](auto const & row) { return row.param.name; });

using Listing = ManagerTest;

TEST_F(Listing, CombinesTheStatesOfAllUnitsFlagByFlag)
{
    EXPECT_EQ(manager->getEnablingStateAllTraceUnits(), kEverything) << "of no unit";
    (void)registered("a", {true, false, true});
    EXPECT_EQ(manager->getEnablingStateAllTraceUnits(), (EnablingState{true, false, true}));
    (void)registered("b", {true, true, false});
    EXPECT_EQ(manager->getEnablingStateAllTraceUnits(), (EnablingState{true, false, false}));
    EXPECT_THAT(takeReports(), IsEmpty());
}

TEST_F(Listing, AppendsNamesAndReplacesTables)
{
    Log & first = registered("a.b");
    std::string names = "before;";
    std::unordered_map<std::string, Log *> table{{"old", &first}};
    EXPECT_EQ(manager->getAllTraceUnits(names), TRACE_OK);
    EXPECT_EQ(manager->getAllTraceUnits(names), TRACE_OK);
    EXPECT_EQ(manager->getAllTraceUnits(table), TRACE_OK);
    EXPECT_EQ(names, "before;a.b;a.b;");
    EXPECT_THAT(table, ElementsAre(std::pair<std::string const, Log *>("a.b", &first)));
    EXPECT_THAT(takeReports(),
                ElementsAre("message Manager::getAllTraceUnits: Get list of all registered trace units as string.",
                            "message Manager::getAllTraceUnits: Get list of all registered trace units as string.",
                            "message Manager::getAllTraceUnits: Get list of all registered trace units as unordered "
                            "map with unit name and pointer."));
}

TEST_F(Listing, LeavesItsOwnTableAsItIs)
{
    (void)registered("a");
    // The table is the first field, behind the pointer to the virtual functions.
    auto & own = *reinterpret_cast<std::unordered_map<std::string, Log *> *>(reinterpret_cast<char *>(manager.get()) +
                                                                             sizeof(void *));
    EXPECT_EQ(manager->getAllTraceUnits(own), TRACE_OK);
    EXPECT_EQ(own.size(), 1U);
}

} // namespace

} // namespace common::log::test
