#pragma once

#include <comm/nodebus/nb_result.h>
#include <common/log/trace/trace_result.h>

namespace common::log::trace {

/// What a client of the nodes learns of a trace operation: done, not supported, or failed. The details stand in the
/// reports of the operation.
constexpr comm::nodebus::NbResult mapToNbResult(TraceResult result) noexcept
{
    switch (result) {
    case TRACE_OK:
    case TRACE_DISABLED:
        return comm::nodebus::NB_OK;
    case TRACE_UNSUPPORTED:
        return comm::nodebus::NB_UNSUPPORTED;
    default:
        return comm::nodebus::NB_SUBMODULE_FAILURE;
    }
}

} // namespace common::log::trace
