#pragma once

#include "cycle.h"
#include "inputs.h"

#include <common/log/host/record_tap.h>
#include <common/log/trace.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tracehost {

/// What the program says of its run when it ends: one subject a line, its name first.
///
/// What became of the calls of the units, from the call to the stream.
struct Account
{
    common::log::trace::CallCounts calls;
    common::log::host::RecordTapAccount output; ///< of all records, the library's own included
    std::uint64_t recordsOfUnits = 0;           ///< that reached the stream's buffer
    std::uint64_t recordsOfLibrary = 0;

    /// Whether each call that was not refused has led to a record, and each record was written or counted as lost.
    bool addsUp() const;
};

std::string summaryText(Cycle const & cycle, Account const & account, std::vector<Inputs::LineCount> const & lines);

/// Writes it to standard output, behind a line end where that is also the error stream: no line end stands behind the
/// last record.
///
/// @return whether all of it was taken within two seconds
bool writeSummary(std::string const & text);

} // namespace tracehost
