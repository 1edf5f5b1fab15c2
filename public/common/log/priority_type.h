#pragma once

#include <cstdint>

namespace common::log {

/// Severity of a record as the sink takes it, by the numbers of syslog.
enum PriorityType : std::uint32_t
{
    PRIORITY_ERROR = 3,
    PRIORITY_WARNING = 4,
    PRIORITY_MESSAGE = 6,
};

} // namespace common::log
