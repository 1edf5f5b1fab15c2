#include "nodebus/metadata.h"

#include <comm/nodebus/nb_result.h>
#include <comm/nodebus/variant.h>

namespace common::log::trace {

using namespace comm::nodebus;

flatbuffers::Offset<Metadata> createMetadata(flatbuffers::FlatBufferBuilder & builder, NodeDescription const & node)
{
    auto const secondaryText = builder.CreateString("");
    // A node without a text shares the one that is there.
    auto const text = node.text.empty() ? secondaryText : builder.CreateString(node.text);
    constexpr bool kIsRemovable = false; // no node is
    auto const operations = CreateAllowedOperations(builder, node.isReadable, node.isWritable, node.isCreatable,
                                                    kIsRemovable, node.isBrowsable);
    std::vector<flatbuffers::Offset<Reference>> references;
    for (NodeDescription::Type const & type : node.types) {
        references.push_back(CreateReferenceDirect(builder, type.purpose, type.path));
    }
    flatbuffers::Offset<flatbuffers::Vector<flatbuffers::Offset<Reference>>> sorted;
    if (!references.empty()) {
        sorted = builder.CreateVectorOfSortedTables(&references);
    }
    MetadataBuilder metadata(builder);
    metadata.add_nodeClass(node.nodeClass);
    metadata.add_description(text);
    metadata.add_secondaryText(secondaryText);
    metadata.add_operations(operations);
    metadata.add_references(sorted);
    return metadata.Finish();
}

void answerMetadata(flatbuffers::FlatBufferBuilder & builder, flatbuffers::Offset<Metadata> metadata,
                    NodeCallback const & callback)
{
    builder.Finish(metadata);
    Variant value;
    (void)value.setFlatbuffersView(builder.GetBufferPointer(), builder.GetSize());
    callback(NB_OK, &value);
}

} // namespace common::log::trace
