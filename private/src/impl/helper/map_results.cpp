#include <common/log/trace/map_results.h>

#include "helper/self_trace.h"

namespace common::log::trace {

TraceResult mapCommonResultToTraceResult(CommonResult commonResult)
{
    switch (commonResult) {
    case COMMON_OK:
    case COMMON_FAILED:
    case COMMON_RESULT_2:
    case COMMON_RESULT_3:
    case COMMON_RESULT_4:
    case COMMON_TRUNCATED:
    case COMMON_RESULT_6:
        return static_cast<TraceResult>(commonResult); // the numbers are the same
    }
    SELF_TRACE_ERROR("Invalid Argument: commonResult");
    return TRACE_UNKNOWN_COMMON_RESULT;
}

} // namespace common::log::trace
