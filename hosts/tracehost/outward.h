#pragma once

#include "command_line.h"
#include "trace_system.h"

#include <common/log/host/door.h>
#include <common/log/host/record_census.h>
#include <common/log/host/record_ring.h>
#include <common/log/host/record_tap.h>
#include <common/log/trace.h>

#include <memory>
#include <string>
#include <vector>

namespace tracehost {

/// What could not be had at the start, for the record of it, without which nobody would miss it.
using Refusals = std::vector<std::string>;

/// What gives the process its last line; null where the system has no such thing.
std::shared_ptr<void> watchFatalSignals();

/// Null where none is wanted, and where none can be had.
std::shared_ptr<common::log::host::RecordRing> openRing(Options const & options, Refusals & refusals);

/// @param ring  may be null; with it, records are in the ring as soon as they are complete, and so the stream can take
///              its time
common::log::host::RecordTapOptions tapOptions(common::log::host::RecordCensus & census,
                                               common::log::host::RecordRing * ring);

/// What the door shows of this program; all of it outlives the door.
struct Sights
{
    common::log::host::RecordRing const * ring; ///< may be null
    common::log::host::RecordCensus const & census;
    common::log::host::RecordTap const & tap;
    common::log::trace::CallAccount const & calls;
};

/// Null where none is wanted, and where none can be had.
///
/// @throws common::log::host::DoorIsTaken where another process has this socket
std::shared_ptr<common::log::host::Door> openDoor(Options const & options, TraceSystem & system, Sights const & sights,
                                                  Refusals & refusals);

} // namespace tracehost
