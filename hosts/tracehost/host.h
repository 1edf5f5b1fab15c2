#pragma once

#include "command_line.h"

namespace tracehost {

/// Runs the host until its time is over or a signal ends it, and writes the summary.
///
/// Starts all threads of the program and ends them. To be called once, while there is only one.
///
/// @return the exit status: 1 where the summary could not be written
/// @throws std::system_error where a thread cannot be started
int runHost(Options const & options);

} // namespace tracehost
