#pragma once

#include <common/log/export.h>
#include <common/log/trace/trace_result.h>

namespace common::log::trace {

/// Copies a text into a fixed buffer, always terminated, and reports a cut as an error of the library.
///
/// @param source           null leaves everything as it was
/// @param destinationSize  in bytes, terminator included; with 0 nothing is written, and a cut is reported
/// @param result           becomes TRACE_TRUNCATED on a cut and is otherwise not touched, so that several copies can
///                         share one result
///
/// Real time  Safe but for the report of a cut.
COMMON_LOG_EXPORT void checkAndSetString(char * destination, char const * source, unsigned short destinationSize,
                                         TraceResult & result);

} // namespace common::log::trace
