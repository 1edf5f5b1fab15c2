#include "private/persistence/persistence_fixture.h"

#include <comm/nodebus.h>

#include <algorithm>

namespace common::log::test {

using namespace common::log::trace;
using namespace comm::nodebus;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ValuesIn;

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

struct PhaseCase
{
    char const * phase;
    char const * atSave;
    char const * atLoad;
};

char const * const kIgnored = "NB_OK_NO_CONTENT";

PhaseCase const kPhases[] = {
    {"save", "NB_OK", kIgnored},    {"load", kIgnored, "NB_OK"},     {"query", kIgnored, "NB_OK"},
    {"prepare", kIgnored, "NB_OK"}, {"validate", kIgnored, "NB_OK"}, {"activate", kIgnored, "NB_OK"},
    {"abort", kIgnored, "NB_OK"},   {"LOAD", kIgnored, kIgnored},    {"save ", kIgnored, kIgnored},
};

class ConfigNodePhase : public ConfigNode, public testing::WithParamInterface<PhaseCase>
{
};

TEST_P(ConfigNodePhase, IsAnsweredByEachLeafInItsWay)
{
    Log const & axis = registered("axis");
    saveFor("Win32_Emulation");
    std::string const phase = GetParam().phase;
    Variant const data = request(GetParam().phase);
    for (auto const & [leaf, expected] : {std::pair("save", GetParam().atSave), {"load", GetParam().atLoad}}) {
        SCOPED_TRACE(leaf);
        persistence.calls.clear();
        (void)takeReports();
        EXPECT_EQ(create(std::string("trace/s/admin/cfg/") + leaf, &data), expected);
        if (expected == kIgnored) {
            EXPECT_THAT(takeReports(),
                        ElementsAre("warning ConfigProviderNode::onCreate: Unsupported persistence phase '" + phase +
                                    "'.  [r7]"));
        } else {
            EXPECT_THAT(takeReports(), IsEmpty());
        }
        EXPECT_EQ(persistence.calls, phase == leaf ? phase == "save" ? "save enablingstates " : "exists load " : "");
    }
    EXPECT_EQ(axis.getEnablingState().messages, phase == "load") << "the saved state is in force";
}

INSTANTIATE_TEST_SUITE_P(Table, ConfigNodePhase, ValuesIn(kPhases), [](auto const & row) {
    std::string const phase = row.param.phase;
    return phase == "LOAD" ? "InCapitals" : phase == "save " ? "WithABlank" : phase;
});

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
    char const * name;
    char const * machine; ///< null: nothing is saved
    bool isLoadFailing;
    std::int32_t result; ///< of the helper's functions
    char const * answer;
    bool isDefault; ///< the units are back at their defaults
    char const * calls;
    std::vector<std::string> reports; ///< of the node itself
};

LoadCase const kLoads[] = {
    {"NothingSaved", nullptr, false, 0, "NB_OK", true, "exists ", {}},
    {"Fails",
     "Win32_Emulation",
     true,
     -1,
     "NB_SUBMODULE_FAILURE",
     false,
     "exists load diag ",
     {"error ConfigProviderNode::onCreate: Calling 'loadEnablingStatesAllTraceUnits' failed with error code "
      "0xF0000001.  [r7]"}},
    {"OtherMachine",
     "other",
     false,
     0,
     "NB_OK",
     true,
     "exists load exists remove ",
     {"message ConfigProviderNode::onCreate: Detected invalid machine identification, so delete saved configuration "
      "and "
      "load default configuration.  [r7]"}},
    {"OtherMachineThatCannotBeDeleted",
     "other",
     false,
     -1,
     "NB_SUBMODULE_FAILURE",
     true,
     "exists load exists remove diag ",
     {"message ConfigProviderNode::onCreate: Detected invalid machine identification, so delete saved configuration "
      "and "
      "load default configuration.  [r7]",
      "error ConfigProviderNode::onCreate: Calling 'deleteEnablingStatesAllTraceUnits' failed with error code "
      "0xF0000001.  [r7]"}},
};

class ConfigNodeLoad : public ConfigNode, public testing::WithParamInterface<LoadCase>
{
};

TEST_P(ConfigNodeLoad, EndsInAStateForEachOutcome)
{
    LoadCase const & row = GetParam();
    Log & axis = registered("axis", kWarningsOnly);
    axis.setEnablingState(EnablingState{true, false, false});
    if (row.machine != nullptr) {
        saveFor(row.machine);
    }
    setFlags(internalTrace, kEverything);
    persistence.calls.clear();
    persistence.result = row.isLoadFailing ? row.result : 0;
    persistence.during = [&] {
        if (!row.isLoadFailing && persistence.calls.find("load ") != std::string::npos) {
            persistence.result = row.result; // only behind the load
        }
    };
    Variant const data = request("load");
    EXPECT_EQ(create("a/b/c/d/load", &data), row.answer);
    EXPECT_EQ(axis.getEnablingState(), row.isDefault ? kWarningsOnly : EnablingState({true, false, false}));
    EXPECT_EQ(persistence.calls, row.calls);
    std::vector<std::string> own = takeReports();
    own.erase(std::remove_if(
                  own.begin(), own.end(),
                  [](std::string const & report) { return report.find("ConfigProviderNode") == std::string::npos; }),
              own.end());
    EXPECT_EQ(own, row.reports);
}

INSTANTIATE_TEST_SUITE_P(Table, ConfigNodeLoad, ValuesIn(kLoads), [](auto const & row) { return row.param.name; });

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
