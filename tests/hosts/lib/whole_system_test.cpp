#include "hosts/tracehost/temporary_folder.h"
#include "private/manager/manager_fixture.h"

#include "support/scoped_environment.h"

#include <common/log/host/file_store.h>
#include <common/log/host/node_service.h>

#include <flatbuffers/flatbuffers.h>
#include <persistenceparam_generated.h>

#include <fstream>

namespace common::log::test {

using namespace common::log::host;
using namespace common::log::trace;
using namespace comm::nodebus;
using testing::ElementsAre;

namespace {

constexpr char const * kUnits = "trace/machine/units";
constexpr char const * kConfig = "trace/machine/admin/cfg";

/// Ahead of all that reads it.
struct Snap
{
    ScopedEnvironment name{"SNAP_NAME", "machine"};
};

/// A host with everything: units, a store, and the nodes behind a service.
class WholeSystem : private Snap, public ManagerTest
{
protected:
    WholeSystem()
    {
        manager->setPersistenceHelper(store.helper());
        setFlags(internalTrace, {false, false, true});
        provider.start(service.makeProvider().release());
    }
    ~WholeSystem() override { provider.stop(); }

    NbResult write(std::string const & address, std::vector<bool> const & flags)
    {
        Variant value;
        (void)value.setValue(flags);
        return service.write(kUnits + address, &value).result;
    }
    std::vector<bool> read(std::string const & address)
    {
        NodeAnswer const answer = service.read(kUnits + address);
        return answer.value ? answer.value->getArray<bool>() : std::vector<bool>();
    }
    NbResult create(std::string const & leaf)
    {
        flatbuffers::FlatBufferBuilder builder;
        builder.Finish(CreatePersistenceParamDirect(builder, "", "7", leaf.c_str()));
        Variant request;
        (void)request.setFlatbuffersView(builder.GetBufferPointer(), builder.GetSize());
        return service.create(kConfig + ("/" + leaf), &request).result;
    }

    tracehost::test::TemporaryFolder folder;
    FileStore store{folder.pathOf("")};
    NodeService service{[](std::string const & text) { ADD_FAILURE() << text; }};
    NodebusProvider provider{manager};
};

TEST_F(WholeSystem, FiltersTheNextCallByWhatAClientWrote)
{
    Log & control = registered("axis.control");
    Log & limits = registered("axis.limits");
    Log & other = registered("axist", kEverything);
    EXPECT_EQ(write("/axis", {true, false, true}), NB_OK);
    EXPECT_THAT(read("/axis"), ElementsAre(true, false, true));
    EXPECT_THAT(read(""), ElementsAre(true, false, true)) << "what all have in common";
    for (Log * const unit : {&control, &limits}) {
        EXPECT_EQ(unit->log(0x080A0112, "c", "s", "f", "f", 1, "message"), TRACE_OK);
        EXPECT_EQ(unit->log(0x080E0112, "c", "s", "f", "f", 1, "warning"), TRACE_DISABLED);
    }
    EXPECT_EQ(other.log(0x080E0112, "c", "s", "f", "f", 1, "warning"), TRACE_OK);
    EXPECT_THAT(takeReports(), ElementsAre("message f: message", "message f: message", "warning f: warning"));
}

TEST_F(WholeSystem, SavesAndLoadsThroughItsNodesOverARestart)
{
    Log & axis = registered("axis", kWarningsOnly);
    EXPECT_EQ(create("load"), NB_OK) << "nothing is saved: the defaults";
    EXPECT_EQ(write("/axis", {true, false, true}), NB_OK);
    EXPECT_EQ(create("save"), NB_OK);
    EXPECT_EQ(write("", {false, false, false}), NB_OK);
    EXPECT_EQ(create("load"), NB_OK);
    EXPECT_EQ(axis.getEnablingState(), (EnablingState{true, false, true}));

    Manager restarted;
    FileStore const sameFolder(folder.pathOf(""));
    restarted.setBundleRootPath(COMMON_LOG_TRACE_BUNDLE_ROOT);
    restarted.setPersistenceHelper(sameFolder.helper());
    Log again("axis", nullptr);
    EXPECT_EQ(restarted.addTraceUnit(&again, kWarningsOnly), TRACE_OK);
    EXPECT_EQ(again.getEnablingState(), (EnablingState{true, false, true}));
    EXPECT_EQ(again.getDefaultEnablingState(), kWarningsOnly);
    EXPECT_THAT(takeReports(), testing::IsEmpty());

    // A damaged file is told of once, by the library's load and by the registration that asked for it.
    std::string const file = "trace/enablingstates_machine.json";
    std::ofstream(folder.pathOf(file)) << "damaged";
    for (int registration = 0; registration < 2; ++registration) {
        EXPECT_EQ(restarted.removeTraceUnit(&again), TRACE_OK);
        EXPECT_EQ(restarted.addTraceUnit(&again, kWarningsOnly), TRACE_OK);
    }
    EXPECT_THAT(takeReports(), ElementsAre(testing::HasSubstr("{1, 0x00000011, 1, " + file + ":1: "), testing::_));
    EXPECT_EQ(create("save"), NB_OK);
    EXPECT_EQ(manager->deleteEnablingStatesAllTraceUnits({}), TRACE_OK);
    EXPECT_EQ(manager->deleteEnablingStatesAllTraceUnits({}), TRACE_NO_SAVED_DATA);
}

} // namespace

} // namespace common::log::test
