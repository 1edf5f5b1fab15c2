#pragma once

#include "command_line.h"
#include "output.h"
#include "record_filter.h"

namespace tracectl {

/// `tail`: the newest ten records and all that come, until it is interrupted.
///
/// What comes is received at once, however slow the output is: what waits for that longer than a second, or is more than
/// 64 MiB, is passed over and counted. When the host ends, its next run is waited for, and followed without gap.
void followRecords(Options const & options, RecordFilter const & filter, Output & output);

} // namespace tracectl
