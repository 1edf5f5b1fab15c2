#include "private/persistence/persistence_fixture.h"

#include <comm/nodebus.h>

namespace common::log::test {

using namespace common::log::trace;
using namespace comm::nodebus;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ConfigNode : public Persistence
{
protected:
    ConfigNode() { setFlags(internalTrace, {false, true, true}); }

    /// What is saved for "axis": everything switched on.
    void saveFor(char const * machine) { saved(machine, {{"axis", kEverything}}); }

    NodeCallback keep()
    {
        return [this](NbResult result, Variant const * value) {
            answers += result.toString();
            for (std::string const & name : value != nullptr ? value->getStrings() : std::vector<std::string>{}) {
                answers += " " + name;
            }
        };
    }
    std::string create(std::string const & address, Variant const * data)
    {
        answers.clear();
        node.onCreate(address, data, keep());
        return answers;
    }

    ConfigProviderNode node{manager};
    std::string answers;
};

TEST_F(ConfigNode, ServesAtEachLeafItsOwnPhases)
{
    Log const & axis = registered("axis");
    for (std::string const phase :
         {"save", "load", "query", "prepare", "validate", "activate", "abort", "LOAD", "save "}) {
        saveFor("Win32_Emulation");
        (void)manager->disableAllTraceUnits();
        Variant const data = request(phase.c_str());
        for (std::string const leaf : {"save", "load"}) {
            SCOPED_TRACE(phase + " at " + leaf);
            bool const isKnown = phase != "LOAD" && phase != "save ";
            bool const isServed = isKnown && (leaf == "save") == (phase == "save");
            persistence.calls.clear();
            (void)takeReports();
            EXPECT_EQ(create("trace/s/admin/cfg/" + leaf, &data), isServed ? "NB_OK" : "NB_OK_NO_CONTENT");
            EXPECT_EQ(takeReports(),
                      std::vector<std::string>(isServed ? 0 : 1,
                                               "warning ConfigProviderNode::onCreate: Unsupported persistence phase '" +
                                                   phase + "'.  [r7]"));
            EXPECT_EQ(persistence.calls, phase != leaf ? "" : leaf == "save" ? "save enablingstates " : "exists load ");
        }
        EXPECT_EQ(axis.getEnablingState().messages, phase == "load") << "the saved state is in force";
    }
}

TEST_F(ConfigNode, RefusesInThisOrder)
{
    Variant const valid = request("load");
    Variant broken;
    (void)broken.setFlatbuffersCopy("abcd", 4);
    Variant text;
    (void)text.setValue(std::string_view("load"));
    EXPECT_EQ(create("a/b/c/d", nullptr), "NB_UNSUPPORTED");
    EXPECT_EQ(create("a/b/c", nullptr), "NB_INVALID_ADDRESS");
    EXPECT_EQ(create("a/b/c/d/load/x", &valid), "NB_INVALID_ADDRESS");
    EXPECT_EQ(create("a/b/c/d/other", nullptr), "NB_INVALID_HANDLE");
    EXPECT_THAT(takeReports(),
                ElementsAre("warning ConfigProviderNode::onCreate: Request for address 'a/b/c/d' is unsupported.",
                            "warning ConfigProviderNode::onCreate: Invalid address 'a/b/c' was requested.",
                            "warning ConfigProviderNode::onCreate: Invalid address 'a/b/c/d/load/x' was requested.",
                            "warning ConfigProviderNode::onCreate: Argument data is nullpointer."));
    EXPECT_EQ(create("a/b/c/d/other", &valid), "NB_INVALID_ADDRESS");
    EXPECT_THAT(takeReports(), IsEmpty()) << "an unknown leaf has no report of its own";
    for (char const * const leaf : {"a/b/c/d/save", "/a/b//c/d/load/"}) {
        EXPECT_EQ(create(leaf, &broken), "NB_TYPE_MISMATCH");
        EXPECT_EQ(create(leaf, &text), "NB_TYPE_MISMATCH");
        EXPECT_THAT(takeReports(),
                    ElementsAre("warning Manager::getPersistencePhase: Invalid argument type for data.",
                                "warning ConfigProviderNode::onCreate: Invalid argument type for data.",
                                "warning ConfigProviderNode::onCreate: Invalid argument type for data."));
    }
    EXPECT_EQ(persistence.calls, "");
}

struct LoadCase
{
    char const * machine;      ///< null: nothing is saved
    char const * failing = ""; ///< the helper's functions from this one on
    char const * calls;
    std::vector<std::string> reports = {}; ///< of the node itself
};

TEST_F(ConfigNode, EndsALoadInAStateForEachOutcome)
{
    auto const failed = [](std::string const & operation) {
        return "error ConfigProviderNode::onCreate: Calling '" + operation +
               "EnablingStatesAllTraceUnits' failed with error code 0xF0000001.  [r7]";
    };
    std::string const otherMachine =
        "message ConfigProviderNode::onCreate: Detected invalid machine identification, so delete saved configuration "
        "and load default configuration.  [r7]";
    Log & axis = registered("axis", kWarningsOnly);
    setFlags(internalTrace, kEverything);
    for (LoadCase const & row :
         {LoadCase{nullptr, "none", "exists "},
          LoadCase{"Win32_Emulation", "load ", "exists load diag ", {failed("load")}},
          LoadCase{"other", "none", "exists load exists remove ", {otherMachine}},
          LoadCase{"other", "remove ", "exists load exists remove diag ", {otherMachine, failed("delete")}}}) {
        SCOPED_TRACE(row.calls);
        bool const isLoadFailing = std::string(row.failing) == "load ";
        axis.setEnablingState(EnablingState{true, false, false});
        persistence.exists = false;
        if (row.machine != nullptr) {
            saveFor(row.machine);
        }
        persistence.calls.clear();
        persistence.result = isLoadFailing ? -1 : 0;
        persistence.during = [&] {
            bool const isLoaded = persistence.calls.find("load ") != std::string::npos;
            persistence.result = isLoaded && *row.failing == 'r' ? -1 : persistence.result;
        };
        (void)takeReports();
        Variant const data = request("load");
        EXPECT_EQ(create("a/b/c/d/load", &data), *row.failing == 'n' ? "NB_OK" : "NB_SUBMODULE_FAILURE");
        EXPECT_EQ(axis.getEnablingState(), isLoadFailing ? EnablingState({true, false, false}) : kWarningsOnly);
        EXPECT_EQ(persistence.calls, row.calls);
        std::vector<std::string> own;
        for (std::string const & report : takeReports()) {
            own.resize(own.size() + (report.find("ConfigProviderNode") != std::string::npos ? 1 : 0), report);
        }
        EXPECT_EQ(own, row.reports);
    }
}

TEST_F(ConfigNode, ReportsAFailedSave)
{
    persistence.result = -1;
    Variant const data = request("save", "");
    EXPECT_EQ(create("a/b/c/d/save", &data), "NB_SUBMODULE_FAILURE");
    EXPECT_EQ(takeReports().back(),
              "error ConfigProviderNode::onCreate: Calling 'saveEnablingStatesAllTraceUnits' failed "
              "with error code 0xF0000001. ");
}

TEST_F(ConfigNode, OffersNothingBesideCreateAndBrowse)
{
    node.onBrowse("a/b/c/d", keep());
    EXPECT_EQ(answers, "NB_OK save load");
    EXPECT_THAT(takeReports(), IsEmpty());
    for (char const * const address : {"a/b/c", "a/b/c/d/save"}) {
        answers.clear();
        node.onBrowse(address, keep());
        EXPECT_EQ(answers, "NB_INVALID_ADDRESS");
        EXPECT_THAT(takeReports(), ElementsAre(std::string("warning ConfigProviderNode::onBrowse: Invalid address '") +
                                               address + "' was requested."));
    }
    answers.clear();
    node.onRead("x", nullptr, keep());
    node.onWrite("x", nullptr, keep());
    node.onRemove("x", keep());
    EXPECT_EQ(answers, "NB_UNSUPPORTEDNB_UNSUPPORTEDNB_UNSUPPORTED");
    EXPECT_THAT(takeReports(),
                ElementsAre("warning ConfigProviderNode::onRead: Request for address 'x' is unsupported.",
                            "warning ConfigProviderNode::onWrite: Request for address 'x' is unsupported.",
                            "warning ConfigProviderNode::onRemove: Request for address 'x' is unsupported."));
}

} // namespace

} // namespace common::log::test
