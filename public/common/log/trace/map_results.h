#pragma once

#include <common/log/common_result.h>
#include <common/log/export.h>
#include <common/log/trace/trace_result.h>

namespace common::log::trace {

/// The result of a trace operation whose sink answered `commonResult`: the same number for each value that CommonResult
/// has. Anything else is reported as an error of the library and answered by TRACE_UNKNOWN_COMMON_RESULT.
///
/// Real time  Safe but for that report.
COMMON_LOG_EXPORT TraceResult mapCommonResultToTraceResult(CommonResult commonResult);

} // namespace common::log::trace
