#pragma once

#include <common/log/trace/internal_trace.h>

#include <cstring>

namespace common::log::test {

/// Lets out what a host could let out only by a registered unit.
inline void setFlags(trace::InternalTrace & internalTrace, trace::EnablingState const & flags)
{
    const_cast<trace::EnablingState &>(internalTrace.enablingState()) = flags;
}

/// Sends what the library reports about itself to `unit`, which stays the caller's. The active unit is the first field.
inline void setActiveUnit(trace::InternalTrace & internalTrace, trace::ILogRealTime * unit)
{
    std::memcpy(reinterpret_cast<char *>(&internalTrace) + sizeof(void *), &unit, sizeof unit);
}

} // namespace common::log::test
