#pragma once

#include "inputs.h"
#include "lateness_histogram.h"
#include "traced_unit.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tracehost {

/// What the program says of its run when it ends: one subject a line, its name first.
std::string summaryText(LatenessHistogram const & lateness, std::uint64_t missedCycles, RecordCounts const & records,
                        std::vector<Inputs::LineCount> const & lines);

/// Writes it to standard output, behind a line end where that is also the error stream: no line end stands behind the
/// last record.
///
/// @return whether all of it was taken within two seconds
bool writeSummary(std::string const & text);

} // namespace tracehost
