#pragma once

#include <comm/nodebus/node_callback.h>

#include <flatbuffers/flatbuffers.h>
#include <metadata_generated.h>

#include <string>
#include <vector>

namespace common::log::trace {

/// What a node tells of itself.
struct NodeDescription
{
    /// The type of a value or a request, by its path.
    struct Type
    {
        char const * purpose; ///< "readType", "writeType" or "createType"
        char const * path;
    };

    comm::nodebus::NodeClass nodeClass = comm::nodebus::NodeClass_None;
    bool isReadable = false;
    bool isWritable = false;
    bool isCreatable = false;
    bool isBrowsable = false;
    std::string text;
    std::vector<Type> types; ///< without any the node has no references
};

/// Writes a description into the builder, which stays unfinished. The order of the calls decides over the bytes of the
/// buffer, and stays as it is.
flatbuffers::Offset<comm::nodebus::Metadata> createMetadata(flatbuffers::FlatBufferBuilder & builder,
                                                            NodeDescription const & node);

/// Finishes the builder with that table and answers with it. The value is a view of the builder.
void answerMetadata(flatbuffers::FlatBufferBuilder & builder, flatbuffers::Offset<comm::nodebus::Metadata> metadata,
                    comm::nodebus::NodeCallback const & callback);

} // namespace common::log::trace
