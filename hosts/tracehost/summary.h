#pragma once

#include "cycle.h"
#include "inputs.h"
#include "traced_unit.h"

#include <common/log/host/record_tap.h>

#include <string>
#include <vector>

namespace tracehost {

/// What the program says of its run when it ends: one subject a line, its name first.
///
/// @param records  what the units were called for
/// @param output   what became of the records on the stream, those that the library writes of itself included
std::string summaryText(Cycle const & cycle, RecordCounts const & records,
                        common::log::host::RecordTapAccount const & output,
                        std::vector<Inputs::LineCount> const & lines);

/// Writes it to standard output, behind a line end where that is also the error stream: no line end stands behind the
/// last record.
///
/// @return whether all of it was taken within two seconds
bool writeSummary(std::string const & text);

} // namespace tracehost
