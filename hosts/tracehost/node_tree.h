#pragma once

#include <common/log/host/node_service.h>

#include <string>

namespace tracehost {

/// All nodes as a client of the service finds them, a line each: name, kind, state and description.
std::string nodeTree(common::log::host::NodeService & service);

} // namespace tracehost
