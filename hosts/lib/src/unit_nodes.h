#pragma once

#include <common/log/host/node_service.h>
#include <common/log/trace/enabling_state.h>

#include <optional>
#include <string>
#include <vector>

namespace common::log::host {

// Units and groups as a client of their nodes sees them.

bool isSame(trace::EnablingState const & left, trace::EnablingState const & right);

/// What a value means to the node of a unit or a group; nothing where it is none of these.
std::optional<trace::EnablingState> stateOf(comm::nodebus::Variant const & value);

struct UnitState
{
    std::string address;
    trace::EnablingState state{};
};

/// Reads the state of a unit.
///
/// @return NB_INVALID_ADDRESS where no unit stands any more, also where a group does
comm::nodebus::NbResult readUnit(NodeService & nodes, std::string const & address, trace::EnablingState & state);

/// Adds the states of all units of a group, or that of a unit. One whose name makes no address cannot be reached, and is
/// passed over like one that goes meanwhile.
///
/// @return NB_INVALID_ADDRESS for no unit and no group; otherwise what the first node answered that failed
comm::nodebus::NbResult readUnits(NodeService & nodes, std::string const & address, std::vector<UnitState> & units);

comm::nodebus::NbResult writeUnit(NodeService & nodes, std::string const & address, trace::EnablingState const & state);

} // namespace common::log::host
