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

/// What a mode other than a run has to say on standard output.
struct Answer
{
    std::string text;
    bool isDone; ///< what failed was traced
};

/// Sets up what a run would have, and starts none of it: no task and no input.
Answer answerOf(Options const & options);

} // namespace tracehost
