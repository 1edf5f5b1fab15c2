#pragma once

/// What the declarations of the provider nodes name of FlatBuffers and of the metadata table, so that a user of theirs
/// needs neither.

namespace flatbuffers {

class FlatBufferBuilder;
template <typename Type>
struct Offset;

} // namespace flatbuffers

namespace comm::nodebus {

struct Metadata;

} // namespace comm::nodebus
