#pragma once

#include <common/log/trace/log_parameters.h>

namespace common::log::benchmarks {

/// The text of the real-time call that all figures are of.
constexpr char const * kMeasuredFormat = "axis %d position %.3f deviation %.3f state %s";

/// A changing value, so that the text differs from call to call.
inline double positionOf(unsigned int call) { return 12.125 + call % 1000; }

/// What the caller of that call says of itself.
inline trace::LogParametersExtended measuredParameters()
{
    trace::LogParametersExtended parameters;
    parameters.componentName = "axis";
    parameters.snapName = "machine";
    parameters.fileName = "axis_control.cpp";
    parameters.functionName = "AxisControl::cycle";
    parameters.line = 118;
    parameters.format = kMeasuredFormat;
    return parameters;
}

} // namespace common::log::benchmarks
