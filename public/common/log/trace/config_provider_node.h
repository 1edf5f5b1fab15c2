#pragma once

#include <comm/nodebus/i_provider_node.h>
#include <common/log/export.h>
#include <common/log/trace/metadata_forward.h>

#include <memory>
#include <string>

namespace common::log::trace {

class Manager;

/// The door by which the controller's configuration saves and loads the enabling states: a node of four levels, such as
/// "trace/machine/admin/cfg", with the two leaves "save" and "load" below.
///
/// A request is a create on a leaf, with a flatbuffer of `comm::nodebus::PersistenceParam` that names its phase. The
/// load leaf takes part in each phase of a load and does its work in "load"; the save leaf knows "save" alone. A phase
/// that means nothing to a leaf is reported and answered with NB_OK_NO_CONTENT, which is a success.
///
/// A load without anything saved puts all units back to their defaults. One that finds states of another machine
/// deletes these as well, and answers what the deletion gave.
///
/// Ownership  Shares the Manager.
/// Threads    Any number of requests at once. Each runs to its end on the calling thread, the persistence helper's work
///            included.
/// Real time  None of it.
/// Errors     To the client by the answer, and as reports of the library about itself.
class COMMON_LOG_EXPORT ConfigProviderNode : public comm::nodebus::IProviderNode
{
public:
    /// @param manager  not empty
    explicit ConfigProviderNode(std::shared_ptr<Manager> const & manager);
    ~ConfigProviderNode() override;

    /// NB_INVALID_HANDLE without data, NB_TYPE_MISMATCH for data that is no request, NB_INVALID_ADDRESS for another
    /// leaf; otherwise see above.
    void onCreate(std::string const & address, comm::nodebus::Variant const * data,
                  comm::nodebus::NodeCallback const & callback) override;

    /// Not supported, and neither are the two below.
    void onRemove(std::string const & address, comm::nodebus::NodeCallback const & callback) override;

    /// Answers the names of the leaves. A leaf itself cannot be browsed, whatever its metadata says.
    void onBrowse(std::string const & address, comm::nodebus::NodeCallback const & callback) override;

    void onRead(std::string const & address, comm::nodebus::Variant const * data,
                comm::nodebus::NodeCallback const & callback) override;
    void onWrite(std::string const & address, comm::nodebus::Variant const * data,
                 comm::nodebus::NodeCallback const & callback) override;

    /// Answers a flatbuffer of `comm::nodebus::Metadata`, which is gone when the callback returns.
    void onMetadata(std::string const & address, comm::nodebus::NodeCallback const & callback) override;

private:
    struct SaveRequest
    {
    };
    struct LoadRequest
    {
    };

    /// The work of each leaf; under the same name, since their reports bear it.
    comm::nodebus::NbResult onCreate(comm::nodebus::Variant const & data, std::string const & detailText,
                                     SaveRequest kind);
    comm::nodebus::NbResult onCreate(comm::nodebus::Variant const & data, std::string const & detailText,
                                     LoadRequest kind);

    flatbuffers::Offset<comm::nodebus::Metadata> metadataRoot(flatbuffers::FlatBufferBuilder & builder) const;
    flatbuffers::Offset<comm::nodebus::Metadata> metadataLeaf(flatbuffers::FlatBufferBuilder & builder,
                                                              std::string const & name) const;

    std::shared_ptr<Manager> m_manager;
};

} // namespace common::log::trace
