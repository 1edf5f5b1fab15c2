#include "manager_fixture.h"

#include <stdexcept>

namespace common::log::test {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Registry = ManagerTest;

TEST_F(Registry, ReportsItsMachineAndWhatItIsNotGiven)
{
    (void)takeReports();
    Manager another;
    EXPECT_EQ(another.addTraceUnit(nullptr, {}), TRACE_INVALID_ARGUMENT);
    EXPECT_EQ(another.removeTraceUnit(nullptr), TRACE_INVALID_ARGUMENT);
    EXPECT_THAT(takeReports(), ElementsAre("message Manager::Manager: Use 'Win32_Emulation' as machine "
                                           "identification",
                                           "error Manager::addTraceUnit: Invalid argument: unit",
                                           "error Manager::removeTraceUnit: Invalid argument: unit"));
}

TEST_F(Registry, GivesANewUnitItsDefaultAndItsCurrentState)
{
    (void)takeReports();
    Log & axis = unit("axis.control");
    EXPECT_EQ(manager->addTraceUnit(&axis, {true, false, true}), TRACE_OK);
    EXPECT_EQ(axis.getDefaultEnablingState(), (EnablingState{true, false, true}));
    EXPECT_EQ(axis.getEnablingState(), (EnablingState{true, false, true}));
    EXPECT_THAT(takeReports(), ElementsAre("message Manager::addTraceUnit: Add trace unit 'axis.control'.",
                                           "message Manager::addTraceUnit: Set default enabling state for trace "
                                           "unit 'axis.control' "
                                           "(messages: true, warnings: false, errors: true)",
                                           "warning Manager::loadEnablingStateTraceUnit: No data to load is "
                                           "available. Maybe no data "
                                           "was saved before.",
                                           "message Manager::addTraceUnit: Set given enabling state at "
                                           "registration for trace unit "
                                           "'axis.control' (messages: true, warnings: false, errors: true)."));
}

TEST_F(Registry, StartsAUnitOutsideOfTheLockWithTheStateAsItWasGiven)
{
    Log & axis = unit("axis");
    EnablingState field{};
    std::string listed;
    axis.setCallbackEnablingState([&](EnablingState const &) {
        field = {};
        (void)manager->getAllTraceUnits(listed); // the lock is not recursive
    });
    axis.setEnablingState(true);
    field = kEverything;
    listed.clear();
    EXPECT_EQ(manager->addTraceUnit(&axis, field), TRACE_OK);
    EXPECT_EQ(axis.getEnablingState(), kEverything);
    EXPECT_EQ(axis.getDefaultEnablingState(), kEverything);
    EXPECT_EQ(listed, "axis;");
}

TEST_F(Registry, TakesAUnitOutAgainWhoseStartThrows)
{
    Log & axis = unit("axis");
    axis.setCallbackEnablingState([](EnablingState const &) { throw std::runtime_error("callback"); });
    EXPECT_THROW((void)manager->addTraceUnit(&axis, {}), std::runtime_error);
    EXPECT_EQ(manager->removeTraceUnit(&axis), TRACE_NOT_FOUND);
}

TEST_F(Registry, RemovesByNameAndLeavesTheUnitAsItIs)
{
    Log & axis = registered("axis", kWarningsOnly);
    Log const namesake("axis", nullptr);
    EXPECT_EQ(manager->removeTraceUnit(&namesake), TRACE_OK);
    EXPECT_EQ(axis.getEnablingState(), kWarningsOnly);
    EXPECT_EQ(manager->removeTraceUnit(&axis), TRACE_NOT_FOUND);
    EXPECT_THAT(takeReports(), ElementsAre("message Manager::removeTraceUnit: Remove trace unit 'axis'.",
                                           "message Manager::removeTraceUnit: Remove trace unit 'axis'.",
                                           "error Manager::removeTraceUnit: End of list was reached. "
                                           "Trace unit 'axis' was not "
                                           "found."));
    EXPECT_EQ(manager->addTraceUnit(&axis, kEverything), TRACE_OK);
}

TEST_F(Registry, ReportsANameThatIsInTheWayAndLeavesTheUnitAsItIs)
{
    for (auto const & [name, inTheWay] : {std::pair<std::string, std::string>{"a.b.c", "a.b"},
                                          {"a.b.c.d", "a.b"},
                                          {"a", "a.b"},
                                          {"a.b", ""},
                                          {".a", ""}}) {
        Manager another;
        another.setPersistenceHelper(&persistence.itf);
        Log const & other = unit(name == ".a" ? "" : "a.b");
        EXPECT_EQ(another.addTraceUnit(units.back().get(), {}), TRACE_OK);
        bool const isSame = name == other.getUnitName();
        Log & candidate = unit(name);
        candidate.setEnablingState(kWarningsOnly);
        (void)takeReports();
        EXPECT_EQ(another.addTraceUnit(&candidate, kEverything),
                  isSame ? TRACE_ALREADY_REGISTERED : TRACE_INVALID_UNIT_NAME);
        EXPECT_EQ(takeReports().back(), isSame ? "error Manager::addTraceUnit: Trace unit a.b was "
                                                 "already registered."
                                               : "error Manager::checkNameTraceUnit: Trace unit name " + name +
                                                     " is invalid because trace unit " + inTheWay +
                                                     " was already registered.");
        EXPECT_EQ(candidate.getEnablingState(), kWarningsOnly);
        EXPECT_EQ(candidate.getDefaultEnablingState(), kNothing);
    }
}

constexpr EnablingState kOuter{true, false, true};

/// An operation on all units, or on the one whose name stands for '%'.
struct Switch
{
    std::string report;
    TraceResult (*call)(Manager & manager, std::string const & unitName);
};

Switch const kSwitches[] = {
    {"enableAllTraceUnits: Enable all trace units.",
     [](auto & manager, auto &) { return manager.enableAllTraceUnits(); }},
    {"disableAllTraceUnits: Disable all trace units.",
     [](auto & manager, auto &) { return manager.disableAllTraceUnits(); }},
    {"setEnablingStateAllTraceUnits: Set enabling state for all traces "
     "(messages: true, warnings: false, errors: "
     "true).",
     [](auto & manager, auto &) { return manager.setEnablingStateAllTraceUnits(kOuter); }},
    {"setDefaultEnablingStateAllTraceUni: Set default enabling state for all "
     "trace units.",
     [](auto & manager, auto &) { return manager.setDefaultEnablingStateAllTraceUnits(), TRACE_OK; }},
    {"enableTraceUnit: Enable trace unit '%'.",
     [](auto & manager, auto & name) { return manager.enableTraceUnit(name); }},
    {"disableTraceUnit: Disable trace unit '%'.",
     [](auto & manager, auto & name) { return manager.disableTraceUnit(name); }},
    {"setEnablingStateTraceUnit: Set enabling state for trace unit '%' "
     "(messages: true, warnings: false, errors: "
     "true).",
     [](auto & manager, auto & name) { return manager.setEnablingStateTraceUnit(name, kOuter); }},
};

TEST_F(Registry, ReportsEachSwitchAndTellsEachUnitOnce)
{
    int called = 0;
    for (Log * const log : {&registered("a.b"), &registered("a.c")}) {
        log->setCallbackEnablingState([&called](EnablingState const &) { ++called; });
    }
    for (auto const & [report, call] : kSwitches) {
        SCOPED_TRACE(report);
        bool const isOfAll = report.find('%') == std::string::npos;
        std::string const operation = "Manager::" + report.substr(0, report.find(':'));
        auto const reportOn = [&report = report](std::string const & name) {
            auto const at = report.find('%');
            return "message Manager::" + (at == std::string::npos ? report : std::string(report).replace(at, 1, name));
        };
        called = 0;
        EXPECT_EQ(call(*manager, "a.b"), TRACE_OK);
        EXPECT_EQ(called, isOfAll ? 2 : 1);
        std::vector<std::string> const reported = takeReports();
        EXPECT_EQ(reported.back(), reportOn("a.b"));
        bool const isCut = report.rfind("setDefault", 0) == 0; // 63 characters of a function are kept
        EXPECT_EQ(reported.size(), isCut ? 2U : 1U);
        if (isOfAll) {
            continue;
        }
        EXPECT_EQ(call(*manager, "A.B"), TRACE_NOT_FOUND);
        EXPECT_EQ(call(*manager, ""), TRACE_INVALID_ARGUMENT);
        EXPECT_THAT(takeReports(),
                    ElementsAre(reportOn("A.B"),
                                "error " + operation + ": End of list was reached. Trace unit 'A.B' was not found.",
                                "error " + operation + ": Invalid argument: unitName"));
    }
}

TEST_F(Registry, ReportsAStateThatCannotBeRead)
{
    EnablingState state = kOuter;
    EXPECT_EQ(manager->getEnablingStateTraceUnit("a", state), TRACE_NOT_FOUND);
    EXPECT_EQ(manager->getEnablingStateTraceUnit("", state), TRACE_INVALID_ARGUMENT);
    EXPECT_EQ(state, kOuter);
    std::vector<std::string> const reported = takeReports();
    std::string const operation = "error Manager::getEnablingStateTraceUnit: ";
    EXPECT_THAT(std::vector<std::string>(reported.end() - 2, reported.end()),
                ElementsAre(operation + "End of list was reached. Trace unit 'a' was not found.",
                            operation + "Invalid argument: unitName"));
}

TEST_F(Registry, AppendsNamesAndReplacesTables)
{
    Log & first = registered("a.b");
    std::string names = "before;";
    std::unordered_map<std::string, Log *> table{{"old", &first}};
    EXPECT_EQ(manager->getAllTraceUnits(names), TRACE_OK);
    EXPECT_EQ(manager->getAllTraceUnits(names), TRACE_OK);
    EXPECT_EQ(manager->getAllTraceUnits(table), TRACE_OK);
    EXPECT_EQ(names, "before;a.b;a.b;");
    EXPECT_THAT(table, ElementsAre(std::pair<std::string const, Log *>("a.b", &first)));
    EXPECT_THAT(takeReports(), ElementsAre("message Manager::getAllTraceUnits: Get list of all "
                                           "registered trace units as string.",
                                           "message Manager::getAllTraceUnits: Get list of all "
                                           "registered trace units as string.",
                                           "message Manager::getAllTraceUnits: Get list of all "
                                           "registered trace units as unordered "
                                           "map with unit name and pointer."));
    // The manager's own table is its first field, behind the pointer to the
    // virtual functions.
    auto & own = *reinterpret_cast<std::unordered_map<std::string, Log *> *>(reinterpret_cast<char *>(manager.get()) +
                                                                             sizeof(void *));
    EXPECT_EQ(manager->getAllTraceUnits(own), TRACE_OK);
    EXPECT_EQ(own.size(), 1U);
}

} // namespace

} // namespace common::log::test
