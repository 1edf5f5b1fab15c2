#pragma once

#include "command_line.h"
#include "output.h"
#include "record_filter.h"

namespace tracectl {

/// `dump` and `export`: the records that a host still has, or a ring that a host has written.
void writeRecords(Options const & options, RecordFilter const & filter, Output & output);

} // namespace tracectl
