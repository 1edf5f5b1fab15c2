#include "node_fixture.h"
#include "support/wire_table.h"

namespace common::log::test {

using namespace common::log::trace;
using namespace comm::nodebus;
using testing::ElementsAre;
using testing::ValuesIn;

namespace {

using References = std::vector<std::pair<std::string, std::string>>;

References const kState{{"readType", "types/nodebus/array-of-bool8"}, {"writeType", "types/nodebus/array-of-bool8"}};
References const kRequest{{"createType", "types/nodebus/persistence_param"}};
std::string const kFormat =
    "Format of value: {messages,warnings,errors} or single boolean value to set for all severities.";

/// What an operation has stored: a byte, or nothing where it equals its default.
constexpr int kAbsent = -1;

struct MetadataCase
{
    char const * name;
    std::string address;
    int nodeClass;
    std::vector<int> operations; ///< read, write, create, remove, browse
    References references;
    std::size_t length;
    std::string description;
};

MetadataCase const kNodes[] = {
    {"Cfg",
     "trace/s/admin/cfg",
     7,
     {kAbsent, kAbsent, kAbsent, kAbsent, kAbsent},
     {},
     112,
     "The config node provides functions to save and load the configuration of the enabling states of all trace "
     "units."},
    {"Save",
     "trace/s/admin/cfg/save",
     6,
     {kAbsent, kAbsent, 1, kAbsent, kAbsent},
     kRequest,
     55,
     "This node saves the enabling states of all trace units."},
    {"Load",
     "trace/s/admin/cfg/load",
     6,
     {kAbsent, kAbsent, 1, kAbsent, kAbsent},
     kRequest,
     61,
     "This node loads the saved enabling states of all trace units."},
    {"Root",
     "r/u",
     3,
     {1, 1, kAbsent, kAbsent, kAbsent},
     kState,
     137,
     "Use to enable and disable all trace units. " + kFormat},
    {"Group",
     "r/u/axis",
     3,
     {1, 1, kAbsent, kAbsent, kAbsent},
     kState,
     161,
     "Use to enable and disable all trace units contained in this group. " + kFormat},
    {"Unit",
     "r/u/axis/control",
     3,
     {1, 1, kAbsent, kAbsent, 0},
     kState,
     144,
     "Use to enable and disable this single trace unit. " + kFormat},
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

class MetadataOf : public Metadata, public testing::WithParamInterface<MetadataCase>
{
};

TEST_P(MetadataOf, DescribesTheNode)
{
    (void)registered("axis.control");
    MetadataCase const & row = GetParam();
    std::string const bytes = metadata(row.address);
    WireTable const table(bytes);
    EXPECT_EQ(table.byte(0), row.nodeClass);
    EXPECT_EQ(table.text(2), row.description);
    EXPECT_EQ(row.description.size(), row.length);
    EXPECT_EQ(table.text(3), "");
    std::vector<int> operations;
    for (std::size_t id = 0; id < 5; ++id) {
        operations.push_back(table.table(1).has(id) ? table.table(1).byte(id) : kAbsent);
    }
    EXPECT_EQ(operations, row.operations);
    EXPECT_EQ(table.ids(), row.references.empty() ? 4U : 9U);
    References references;
    if (table.has(8)) {
        for (WireTable const & reference : table.tables(8)) {
            references.emplace_back(reference.text(0), reference.text(1));
        }
    }
    EXPECT_EQ(references, row.references);
    std::string const path = row.references.empty() ? "" : row.references.front().second;
    std::size_t found = 0;
    for (auto at = bytes.find(path); !path.empty() && at != std::string::npos; at = bytes.find(path, at + 1)) {
        ++found;
    }
    EXPECT_EQ(found, row.references.size()) << "equal texts are not shared";
}

INSTANTIATE_TEST_SUITE_P(Table, MetadataOf, ValuesIn(kNodes), [](auto const & row) { return row.param.name; });

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
