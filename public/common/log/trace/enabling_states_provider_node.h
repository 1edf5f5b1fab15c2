#pragma once

#include <comm/nodebus/i_provider_node.h>
#include <common/log/export.h>
#include <common/log/trace/metadata_forward.h>

#include <memory>
#include <string>

namespace common::log::trace {

class Manager;

/// Shows all trace units of a Manager as one tree of nodes, in which enabling states are read and written.
///
/// No tree is stored: each request derives it from the names of the units that are registered then, whose dots are the
/// steps from one level to the next. "axis.control" stands at "axis/control" below the root, in the group "axis".
/// The value of a unit is an array of three bool8: messages, warnings, errors. Groups and the root have the same, each
/// flag on where it is on in all their units; written, they pass it on to each of these. One bool8 may be written as
/// well and stands for all three.
///
/// Ownership  Shares the Manager. The units stay where they are.
/// Threads    Any number of requests at once. Each goes by the units that were there as it began and switches or reads
///            them one after the other: others can come in between, and a unit that is removed meanwhile fails it.
/// Real time  None of it.
/// Errors     To the client by the answer, and as reports of the library about itself: a warning for what the client did
///            wrong, an error for what the Manager refused. An address that is shorter than the root's, which
///            registration keeps from coming, throws std::out_of_range.
class COMMON_LOG_EXPORT EnablingStatesProviderNode : public comm::nodebus::IProviderNode
{
public:
    /// @param manager  not empty
    /// @param address  of the root of the tree, without a separator at its end
    EnablingStatesProviderNode(std::shared_ptr<Manager> const & manager, std::string const & address);
    ~EnablingStatesProviderNode() override;

    /// Neither is supported: units come and go by the Manager alone.
    void onCreate(std::string const & address, comm::nodebus::Variant const * data,
                  comm::nodebus::NodeCallback const & callback) override;
    void onRemove(std::string const & address, comm::nodebus::NodeCallback const & callback) override;

    /// Answers the names of the next level, sorted, groups and units alike; no value for a unit.
    void onBrowse(std::string const & address, comm::nodebus::NodeCallback const & callback) override;

    /// Answers the three flags; `data` is ignored.
    void onRead(std::string const & address, comm::nodebus::Variant const * data,
                comm::nodebus::NodeCallback const & callback) override;

    /// Switches, and ends at the first unit that cannot be: those before it keep the new state.
    void onWrite(std::string const & address, comm::nodebus::Variant const * data,
                 comm::nodebus::NodeCallback const & callback) override;

    /// Answers a flatbuffer of `comm::nodebus::Metadata`, which is gone when the callback returns. The root has one also
    /// without any unit.
    void onMetadata(std::string const & address, comm::nodebus::NodeCallback const & callback) override;

private:
    /// The text with which the names below an address begin: "axis." for "axis" below the root, empty for the root.
    std::string address2prefix(std::string const & address) const;

    flatbuffers::Offset<comm::nodebus::Metadata> metadataRoot(flatbuffers::FlatBufferBuilder & builder) const;
    flatbuffers::Offset<comm::nodebus::Metadata> metadataGroup(flatbuffers::FlatBufferBuilder & builder) const;
    flatbuffers::Offset<comm::nodebus::Metadata> metadataLeaf(flatbuffers::FlatBufferBuilder & builder) const;

    std::shared_ptr<Manager> m_manager;
    std::string m_address;
};

} // namespace common::log::trace
