#pragma once

#include <cstdint>

namespace common::log::trace {

/// Result of all trace operations. A set top bit is a failure; 1 and 2 are the successes.
enum TraceResult : std::uint32_t
{
    TRACE_OK = 1,
    TRACE_DISABLED = 2,         ///< the severity is switched off: nothing was sent or queued
    TRACE_FAILED = 0xF0000001U, ///< a text could not be formatted, or the persistence helper failed
    TRACE_UNSUPPORTED = 0xF0000002U,
    TRACE_INVALID_ARGUMENT = 0xF0000003U, ///< an invalid code, class type or name, or a null unit
    TRACE_NOT_AVAILABLE = 0xF0000004U,    ///< no persistence helper, or no type file for it
    TRACE_TRUNCATED = 0xF0000005U,        ///< the record went out with a shortened text
    TRACE_QUEUE_FULL = 0xF0000006U,       ///< the record is lost and counted
    TRACE_ALREADY_REGISTERED = 0xF0000007U,
    TRACE_NOT_FOUND = 0xF0000008U,             ///< no unit of that name, or no saved state for it
    TRACE_UNKNOWN_COMMON_RESULT = 0xF0000009U, ///< a sink result that stands in no table
    TRACE_INVALID_UNIT_NAME = 0xF000000AU,     ///< the name collides with a registered unit
    TRACE_SHUTTING_DOWN = 0xF000000BU,         ///< the handler is being destroyed and takes no further records
    TRACE_THREAD_START_FAILED = 0xF000000CU,
    TRACE_MACHINE_MISMATCH = 0xF000000DU, ///< the saved states belong to another machine
    TRACE_NO_SAVED_DATA = 0xF000000EU,    ///< there is nothing saved to load or delete
};

constexpr bool isFailure(TraceResult result) noexcept { return (result & 0x80000000U) != 0; }

} // namespace common::log::trace
