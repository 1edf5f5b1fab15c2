#include "node_fixture.h"
#include "support/wire_table.h"

namespace common::log::test {

using namespace common::log::trace;
using namespace comm::nodebus;
using testing::ElementsAre;

namespace {

using References = std::vector<std::pair<std::string, std::string>>;

References const kState{{"readType", "types/nodebus/array-of-bool8"}, {"writeType", "types/nodebus/array-of-bool8"}};
References const kRequest{{"createType", "types/nodebus/persistence_param"}};
std::string const kFormat =
    "Format of value: {messages,warnings,errors} or single boolean value to set for all severities.";

struct MetadataCase
{
    std::string address;
    int nodeClass;
    std::string operations; ///< read, write, create, remove, browse; '-' where the default is not stored
    References references;
    std::string description;
};

MetadataCase const kNodes[] = {
    {"trace/s/admin/cfg",
     7,
     "-----",
     {},
     "The config node provides functions to save and load the configuration of the enabling states of all trace "
     "units."},
    {"trace/s/admin/cfg/save", 6, "--1--", kRequest, "This node saves the enabling states of all trace units."},
    {"trace/s/admin/cfg/load", 6, "--1--", kRequest, "This node loads the saved enabling states of all trace units."},
    {"r/u", 3, "11---", kState, "Use to enable and disable all trace units. " + kFormat},
    {"r/u/axis", 3, "11---", kState, "Use to enable and disable all trace units contained in this group. " + kFormat},
    {"r/u/axis/control", 3, "11--0", kState, "Use to enable and disable this single trace unit. " + kFormat},
};

class Metadata : public NodeTest
{
protected:
    /// The bytes of the answer, or the name of its result.
    std::string metadata(std::string const & address)
    {
        IProviderNode & asked = address.rfind("r/u", 0) == 0 ? static_cast<IProviderNode &>(node) : configNode;
        std::string bytes;
        asked.onMetadata(address, [&bytes](NbResult result, Variant const * value) {
            EXPECT_TRUE(bytes.empty()) << "answers once";
            bytes = result.toString();
            if (value != nullptr) {
                EXPECT_EQ(result, NB_OK);
                EXPECT_EQ(value->type, VariantType::flatbuffers);
                EXPECT_TRUE(value->shared);
                bytes.assign(static_cast<char const *>(value->dataPointer()), value->getSize());
            }
        });
        return bytes;
    }

    ConfigProviderNode configNode{manager};
};

TEST_F(Metadata, DescribesEachNode)
{
    (void)registered("axis.control");
    for (MetadataCase const & row : kNodes) {
        SCOPED_TRACE(row.address);
        std::string const bytes = metadata(row.address);
        WireTable const table(bytes);
        EXPECT_EQ(table.byte(0), row.nodeClass);
        EXPECT_EQ(table.text(2), row.description);
        EXPECT_EQ(table.text(3), "");
        std::string operations;
        for (std::size_t id = 0; id < 5; ++id) {
            operations += table.table(1).has(id) ? std::to_string(table.table(1).byte(id)) : "-";
        }
        EXPECT_EQ(operations, row.operations);
        References references;
        for (WireTable const & reference : table.has(8) ? table.tables(8) : std::vector<WireTable>()) {
            references.emplace_back(reference.text(0), reference.text(1));
        }
        EXPECT_EQ(references, row.references);
    }
}

TEST_F(Metadata, IsThereForTheRootWithoutAnyUnitAndForNoOtherAddress)
{
    EXPECT_EQ(WireTable(metadata("r/u")).byte(0), 3);
    (void)registered("axis.control");
    (void)takeReports();
    for (std::string const address : {"r/u/ax", "r/u/axis/control/x", "r/u/axis/", "a/b/c", "a/b/c/d/other"}) {
        EXPECT_EQ(metadata(address), "NB_INVALID_ADDRESS");
        std::string const name = address.rfind("r/u", 0) == 0 ? "EnablingStatesProviderNode" : "ConfigProviderNode";
        EXPECT_THAT(takeReports(), ElementsAre("warning " + name + "::onMetadata: Request for address '" + address +
                                               "' failed with error code 'NB_INVALID_ADDRESS'."));
    }
}

} // namespace

} // namespace common::log::test
