#pragma once

#include "support/trace_test.h"

namespace common::log::test {

/// Calls `log` with what a real-time call would pass, and past the compiler's check of the format.
template <typename... Arguments>
trace::TraceResult callLog(trace::ILog & unit, unsigned int code, trace::LogParametersExtended const & origin,
                           Arguments... arguments)
{
    using Operation = trace::TraceResult (trace::ILog::*)(unsigned int, char const *, char const *, char const *,
                                                          char const *, unsigned int, char const *, ...);
    Operation const operation = &trace::ILog::log;
    return (unit.*operation)(code, origin.componentName, origin.snapName, origin.fileName, origin.functionName,
                             origin.line, origin.format, arguments...);
}

} // namespace common::log::test
