#pragma once

#include <common/log/host/door.h>
#include <common/log/host/record_tap.h>
#include <common/log/trace.h>

#include <vector>

namespace tracehost {

/// What became of the calls of the units and of the records on the stream, as numbers for those who watch from outside.
std::vector<common::log::host::DoorFigure> figuresOf(common::log::trace::CallCounts const & calls,
                                                     common::log::host::RecordTapAccount const & output);

} // namespace tracehost
