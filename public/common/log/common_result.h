#pragma once

#include <cstdint>

namespace common::log {

/// Result of the sink. A set top bit is a failure. The numbers are those of `trace::TraceResult`.
enum CommonResult : std::uint32_t
{
    COMMON_OK = 1,
    COMMON_FAILED = 0xF0000001U,   ///< the text could not be formatted, nothing was written
    COMMON_RESULT_2 = 0xF0000002U, ///< not produced by this library, like the other two without a name
    COMMON_RESULT_3 = 0xF0000003U,
    COMMON_RESULT_4 = 0xF0000004U,
    COMMON_TRUNCATED = 0xF0000005U, ///< the record was written with a shortened text
    COMMON_RESULT_6 = 0xF0000006U,
};

constexpr bool isFailure(CommonResult result) noexcept { return (result & 0x80000000U) != 0; }

} // namespace common::log
