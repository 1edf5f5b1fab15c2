#pragma once

#include "command_line.h"
#include "output.h"

namespace tracectl {

/// Does what the options ask for. The output is not flushed yet.
///
/// @throws Failure, ReaderIsGone
void run(Options const & options, Output & output);

} // namespace tracectl
