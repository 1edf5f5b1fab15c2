#pragma once

#include "command_line.h"

#include <string>

namespace tracehost {

/// Runs the host until its time is over or a signal ends it, and writes the summary.
///
/// Starts all threads of the program and ends them. To be called once, while there is only one.
///
/// @return the exit status: 1 where the summary could not be written or its account does not add up
/// @throws std::system_error where a thread cannot be started
int runHost(Options const & options);

/// The units that such a run would have, with their states, as a table. Starts none of them.
std::string listUnits(Options const & options);

} // namespace tracehost
