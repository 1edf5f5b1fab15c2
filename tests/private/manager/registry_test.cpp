#include "manager_fixture.h"

#include <stdexcept>

namespace common::log::test {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::ValuesIn;

namespace {

using Registry = ManagerTest;

TEST_F(Registry, ReportsTheMachineAtItsConstruction)
{
    Manager const another;
    EXPECT_THAT(takeReports(),
                ElementsAre("message Manager::Manager: Use 'Win32_Emulation' as machine identification"));
}

TEST_F(Registry, GivesANewUnitItsDefaultAndItsCurrentState)
{
    (void)takeReports();
    Log & axis = unit("axis.control");
    EXPECT_EQ(manager->addTraceUnit(&axis, {true, false, true}), TRACE_OK);
    EXPECT_EQ(axis.getDefaultEnablingState(), (EnablingState{true, false, true}));
    EXPECT_EQ(axis.getEnablingState(), (EnablingState{true, false, true}));
    EXPECT_THAT(takeReports(),
                ElementsAre("message Manager::addTraceUnit: Add trace unit 'axis.control'.",
                            "message Manager::addTraceUnit: Set default enabling state for trace unit 'axis.control' "
                            "(messages: true, warnings: false, errors: true)",
                            "warning Manager::loadEnablingStateTraceUnit: No data to load is available. Maybe no data "
                            "was saved before.",
                            "message Manager::addTraceUnit: Set given enabling state at registration for trace unit "
                            "'axis.control' (messages: true, warnings: false, errors: true)."));
}

TEST_F(Registry, TakesTheStateBeforeItsFieldChanges)
{
    Log & axis = unit("axis");
    EnablingState field{true, true, true};
    axis.setCallbackEnablingState([&](EnablingState const &) { field = {}; });
    axis.setEnablingState(true); // the field is cleared here already
    field = {true, true, true};
    EXPECT_EQ(manager->addTraceUnit(&axis, field), TRACE_OK);
    EXPECT_EQ(axis.getEnablingState(), kEverything);
    EXPECT_EQ(axis.getDefaultEnablingState(), kEverything);
}

TEST_F(Registry, StartsAUnitOutsideOfTheLock)
{
    Log & axis = unit("axis");
    std::string listed;
    axis.setCallbackEnablingState([&](EnablingState const &) { (void)manager->getAllTraceUnits(listed); });
    EXPECT_EQ(manager->addTraceUnit(&axis, {}), TRACE_OK) << "the lock is not recursive";
    EXPECT_EQ(listed, "axis;");
}

TEST_F(Registry, TakesAUnitOutAgainWhoseStartThrows)
{
    Log & axis = unit("axis");
    axis.setCallbackEnablingState([](EnablingState const &) { throw std::runtime_error("callback"); });
    EXPECT_THROW((void)manager->addTraceUnit(&axis, {}), std::runtime_error);
    EXPECT_EQ(manager->removeTraceUnit(&axis), TRACE_NOT_FOUND);
}

TEST_F(Registry, RefusesNull)
{
    (void)takeReports();
    EXPECT_EQ(manager->addTraceUnit(nullptr, {}), TRACE_INVALID_ARGUMENT);
    EXPECT_EQ(manager->removeTraceUnit(nullptr), TRACE_INVALID_ARGUMENT);
    EXPECT_THAT(takeReports(), ElementsAre("error Manager::addTraceUnit: Invalid argument: unit",
                                           "error Manager::removeTraceUnit: Invalid argument: unit"));
}

TEST_F(Registry, RemovesByNameAndLeavesTheUnitAsItIs)
{
    Log & axis = registered("axis", kWarningsOnly);
    Log const namesake("axis", nullptr);
    EXPECT_EQ(manager->removeTraceUnit(&namesake), TRACE_OK);
    EXPECT_THAT(takeReports(), ElementsAre("message Manager::removeTraceUnit: Remove trace unit 'axis'."));
    EXPECT_EQ(axis.getEnablingState(), kWarningsOnly);
    EXPECT_EQ(manager->removeTraceUnit(&axis), TRACE_NOT_FOUND);
    EXPECT_THAT(takeReports(),
                ElementsAre("message Manager::removeTraceUnit: Remove trace unit 'axis'.",
                            "error Manager::removeTraceUnit: End of list was reached. Trace unit 'axis' was not "
                            "found."));
    EXPECT_EQ(manager->addTraceUnit(&axis, kEverything), TRACE_OK);
}

struct NameCase
{
    char const * name;
    std::vector<std::string> table;
    std::string candidate;
    TraceResult result;
    std::string inTheWay;
};

NameCase const kNames[] = {
    {"Parent", {"a"}, "a.b", TRACE_INVALID_UNIT_NAME, "a"},
    {"Grandparent", {"a"}, "a.b.c", TRACE_INVALID_UNIT_NAME, "a"},
    {"MiddleAncestor", {"x", "a.b"}, "a.b.c", TRACE_INVALID_UNIT_NAME, "a.b"},
    {"Child", {"a.b"}, "a", TRACE_INVALID_UNIT_NAME, "a.b"},
    {"Grandchild", {"x.y", "a.b.c"}, "a", TRACE_INVALID_UNIT_NAME, "a.b.c"},
    {"EmptyAncestor", {""}, ".a", TRACE_INVALID_UNIT_NAME, ""},
    {"EmptyCandidate", {".a"}, "", TRACE_INVALID_UNIT_NAME, ".a"},
    {"TrailingDot", {"a"}, "a.", TRACE_INVALID_UNIT_NAME, "a"},
    {"DoubledDot", {"a."}, "a..b", TRACE_INVALID_UNIT_NAME, "a."},
    {"SameName", {"a.b"}, "a.b", TRACE_ALREADY_REGISTERED, ""},
    {"Siblings", {"a.b"}, "a.c", TRACE_OK, ""},
    {"LongerSibling", {"a.b"}, "a.bc", TRACE_OK, ""},
    {"ShorterSibling", {"a.bc"}, "a.b", TRACE_OK, ""},
    {"PlainPrefix", {"a.b"}, "ab", TRACE_OK, ""},
    {"OtherCase", {"a.b"}, "A", TRACE_OK, ""},
    {"EmptyBesideOthers", {"a"}, "", TRACE_OK, ""},
};

class NameRule : public ManagerTest, public testing::WithParamInterface<NameCase>
{
};

TEST_P(NameRule, Decides)
{
    NameCase const & row = GetParam();
    for (std::string const & name : row.table) {
        (void)registered(name);
    }
    Log & candidate = unit(row.candidate);
    candidate.setEnablingState(kWarningsOnly);
    (void)takeReports();
    EXPECT_EQ(manager->addTraceUnit(&candidate, kEverything), row.result);

    std::vector<std::string> const reported = takeReports();
    if (row.result == TRACE_OK) {
        EXPECT_EQ(candidate.getEnablingState(), kEverything);
        return;
    }
    EXPECT_THAT(
        reported,
        ElementsAre("message Manager::addTraceUnit: Add trace unit '" + row.candidate + "'.",
                    row.result == TRACE_ALREADY_REGISTERED
                        ? "error Manager::addTraceUnit: Trace unit " + row.candidate + " was already registered."
                        : "error Manager::checkNameTraceUnit: Trace unit name " + row.candidate +
                              " is invalid because trace unit " + row.inTheWay + " was already registered."));
    EXPECT_EQ(candidate.getEnablingState(), kWarningsOnly);
    EXPECT_EQ(candidate.getDefaultEnablingState(), kNothing);
    std::unordered_map<std::string, Log *> table;
    (void)manager->getAllTraceUnits(table);
    EXPECT_EQ(table.size(), row.table.size());
    EXPECT_EQ(table.count(row.candidate), row.result == TRACE_ALREADY_REGISTERED ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(Table, NameRule, ValuesIn(kNames), [](auto const & row) { return row.param.name; });

} // namespace

} // namespace common::log::test
