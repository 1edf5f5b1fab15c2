#pragma once

#include <common/log/call_site/place.h>
#include <common/log/trace/i_log_real_time.h>

namespace common::log::trace {

/// The two roads of a record behind one signature. Neither lets the compiler check the format, which whoever calls does
/// by `checkPrintfFormat`.
struct OrdinaryRoad
{
    static constexpr std::size_t kFunctionNameLength = kAnyLength;

    template <typename... Arguments>
    static TraceResult send(ILog & unit, unsigned int mainDiagnosisCode, char const * componentName,
                            char const * snapName, CallPlace const & place, char const * format, Arguments... arguments)
    {
        // By a pointer, on which the compiler expects no format that it can read.
        using Operation = TraceResult (ILog::*)(unsigned int, char const *, char const *, char const *, char const *,
                                                unsigned int, char const *, ...);
        Operation const operation = &ILog::log;
        return (unit.*operation)(mainDiagnosisCode, componentName, snapName, place.fileName, place.functionName,
                                 place.line, format, arguments...);
    }
};

/// Real time  Safe.
struct RealTimeRoad
{
    static constexpr std::size_t kFunctionNameLength = 63; // more would be cut, and the cut reported, at each call

    template <typename... Arguments>
    static TraceResult send(ILogRealTime & unit, unsigned int mainDiagnosisCode, char const * componentName,
                            char const * snapName, CallPlace const & place, char const * format, Arguments... arguments)
    {
        LogParametersExtended parameters;
        parameters.componentName = componentName;
        parameters.snapName = snapName;
        parameters.fileName = place.fileName;
        parameters.functionName = place.functionName;
        parameters.line = place.line;
        parameters.format = format;
        return unit.logRealTime(mainDiagnosisCode, parameters, arguments...);
    }
};

} // namespace common::log::trace
