#pragma once

#include "answer.h"

#include <common/log/host/switch_board.h>

#include <comm/nodebus.h>
#include <common/log/trace/enabling_state.h>

#include <chrono>
#include <string>

namespace common::log::host {

/// [messages, warnings, errors]
Json jsonOf(trace::EnablingState const & state);

/// The value of a node; of what JSON has no form for, type and size. Null for a null pointer.
Json jsonOf(comm::nodebus::Variant const * value);

/// The table by the names of its fields.
///
/// @throws Refusal  where the node gave something else
Json metadataJson(NodeAnswer const & answer, std::string const & address);

/// As it stands in the list of units.
Json jsonOf(RunningSwitch const & running);

/// Reads what is to be written to a node: a boolean, number or text, or an array of one kind of these.
///
/// @throws Refusal  where the text is no JSON, or no value that a node could have
comm::nodebus::Variant readValue(std::string const & body);

} // namespace common::log::host
