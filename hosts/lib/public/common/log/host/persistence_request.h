#pragma once

#include <common/log/host/node_service.h>

#include <string>

namespace common::log::host {

enum class PersistenceTask
{
    save, ///< the states in force, in place of what was saved
    load  ///< puts the saved states in force
};

/// Has the enabling states saved or loaded, by a create on a leaf of the configuration node, as any client does it.
///
/// @param configuration  address of the configuration node, such as "trace/machine/admin/cfg"
/// @param requester      for the reader of the library's reports on this request
/// @return what the node answered
comm::nodebus::NbResult requestPersistence(NodeService & nodes, std::string const & configuration, PersistenceTask task,
                                           std::string const & requester);

} // namespace common::log::host
