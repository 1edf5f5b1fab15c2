#include "node_fixture.h"

#include "nodebus/map_to_nb_result.h"
#include "recording_unit.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <unordered_map>

namespace common::log::test {

using namespace common::log::trace;

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

// The other results come about below.
static_assert(mapToNbResult(TRACE_DISABLED) == comm::nodebus::NB_OK &&
              mapToNbResult(TRACE_UNSUPPORTED) == comm::nodebus::NB_UNSUPPORTED &&
              mapToNbResult(static_cast<TraceResult>(0)) == comm::nodebus::NB_SUBMODULE_FAILURE);

struct Request
{
    char const * operation;
    char const * address;
    std::optional<std::string> data;
    char const * answer;
    std::string report = {};
};

std::string invalid(std::string const & address)
{
    return "Request for address '" + address + "' failed with error code 'NB_INVALID_ADDRESS'.";
}
constexpr char const * kWrongSize = "Invalid argument size '2' for data, expected '3'.";

// What is served as usual is asked of random trees.
Request const kRequests[] = {
    {"Browse", "x/yzaxis", {}, "NB_OK [control,drive,]"}, // what stands ahead of the prefix is not compared
    {"Browse", "r/u/ax", {}, "NB_INVALID_ADDRESS", "Invalid address 'r/u/ax' was requested."},
    {"Read", "r/u", "ignored", "NB_OK 100"},
    {"Read", "r/u/axis.control", {}, "NB_OK 110"},
    {"Read", "r/u/ax", {}, "NB_INVALID_ADDRESS", invalid("r/u/ax")},
    {"Write", "r/u/ax", "1", "NB_INVALID_ADDRESS", invalid("r/u/ax")},
    {"Write", "r/u/axis", {}, "NB_INVALID_VALUE", "Invalid argument: data"},
    {"Write", "r/u/axis", "11", "NB_SIZE_MISMATCH", kWrongSize},
    {"Write", "r", "11", "NB_SIZE_MISMATCH", kWrongSize}, // ahead of an address that would throw
    {"Write", "r/u/ax", "text", "NB_TYPE_MISMATCH", "Invalid argument type for data."},
    {"Create", "r/u/axis", "1", "NB_UNSUPPORTED", "Request for address 'r/u/axis' is unsupported."},
    {"Remove", "r", {}, "NB_UNSUPPORTED", "Request for address 'r' is unsupported."},
};

class NodeRequest : public NodeTest, public testing::WithParamInterface<Request>
{
};

TEST_P(NodeRequest, IsAnsweredOnceAndReportedByItsHandler)
{
    Request const & request = GetParam();
    (void)registered("axis.control", {true, true, false});
    (void)registered("axis.drive", {true, false, false});
    (void)registered("plc", {true, true, true});
    EXPECT_EQ(ask(request.operation, request.address, request.data), request.answer);
    std::string const report = std::string("warning EnablingStatesProviderNode::on") + request.operation + ": ";
    EXPECT_THAT(takeReports(), testing::ElementsAreArray(
                                   std::vector<std::string>(request.report.empty() ? 0 : 1, report + request.report)));
    std::string states;
    for (auto const & unit : units) {
        states += (states.empty() ? "" : " ") + textOf(unit->getEnablingState());
    }
    EXPECT_EQ(states, "110 100 111") << "as before";
}
INSTANTIATE_TEST_SUITE_P(Of, NodeRequest, testing::ValuesIn(kRequests),
                         [](auto const & i) { return std::to_string(i.index) + i.param.operation; });

TEST_F(NodeTest, ThrowsForAnAddressShorterThanItsRoot)
{
    for (char const * const operation : {"Browse", "Read", "Write"}) {
        EXPECT_THROW((void)ask(operation, "r/", "1"), std::out_of_range) << operation;
    }
}

// The Manager registers a unit without a name, and does not find it again.
TEST_F(NodeTest, PassesOnThatAUnitCouldNotBeReadOrWritten)
{
    (void)registered("");
    EXPECT_EQ(ask("Browse", "r/u/"), "NB_OK");
    EXPECT_EQ(ask("Read", "r/u/"), "NB_SUBMODULE_FAILURE");
    EXPECT_EQ(takeReports().back(), "error EnablingStatesProviderNode::onRead: Calling 'getEnablingStateTraceUnit' "
                                    "failed with error code 0xF0000003");
    EXPECT_EQ(ask("Write", "r/u/", "1"), "NB_SUBMODULE_FAILURE");
}

TEST_F(NodeTest, EndsAWriteAtAUnitThatWentAwayAndTakesNothingBack)
{
    for (char const * const name : {"axis.with.a.long.name1", "axis.with.a.long.name2", "axis.with.a.long.name3"}) {
        (void)registered(name);
    }
    ILogRealTime * const usual = internalTrace.activeUnit();
    RecordingUnit reporter;
    setActiveUnit(internalTrace, &reporter);
    setFlags(internalTrace, kEverything);
    int announced = 0;
    reporter.whileCalled = [&] { // ahead of the lock that a switch takes
        if (reporter.texts.back().find("Set enabling state for trace unit") == 0 && ++announced == 2) {
            setFlags(internalTrace, {false, true, true});
            reporter.texts.clear();
            for (auto const & unit : units) {
                (void)manager->removeTraceUnit(unit.get());
            }
        }
    };
    EXPECT_EQ(ask("Write", "r/u/axis", "1"), "NB_SUBMODULE_FAILURE");
    setActiveUnit(internalTrace, usual);

    EXPECT_THAT(reporter.texts,
                ElementsAre(HasSubstr("was not found"),
                            // A long name goes in as an object and comes out as its first bytes.
                            AllOf(HasSubstr("'setEnablingStateTraceUnit' for unit '"), Not(HasSubstr("axis")),
                                  EndsWith("' failed with error code 0xF0000008")),
                            "Request for address 'r/u/axis' failed with error code 'NB_SUBMODULE_FAILURE'."));
    EXPECT_EQ(std::count_if(units.begin(), units.end(),
                            [](auto const & log) { return log->getEnablingState() == kEverything; }),
              1);
}

// The Manager does not let one name be both, so that its table is reached past it: the first of its fields.
TEST_F(NodeTest, EndsAReadAtAUnitThatIsAGroupAsWellAndWritesBoth)
{
    using Table = std::unordered_map<std::string, Log *>;
    auto & table = *reinterpret_cast<Table *>(reinterpret_cast<char *>(manager.get()) + sizeof(void *));
    Log & own = unit("a");
    Log & member = unit("a.b");
    std::set<bool> orders;
    for (Table const & both : {Table{{"a", &own}, {"a.b", &member}}, Table{{"a.b", &member}, {"a", &own}}}) {
        table = both;
        own.setEnablingState({true, true, false});
        member.setEnablingState({true, false, true});
        bool const isOwnFirst = table.begin()->second == &own; // and so it is in a copy
        orders.insert(isOwnFirst);
        EXPECT_EQ(ask("Read", "r/u/a"), isOwnFirst ? "NB_OK 110" : "NB_OK 101");
        EXPECT_EQ(ask("Write", "r/u/a", "0"), "NB_OK");
        EXPECT_EQ(textOf(own.getEnablingState()) + textOf(member.getEnablingState()), "000000");
    }
    EXPECT_EQ(orders.size(), 2U);
    table.clear();
}

} // namespace

} // namespace common::log::test
