#pragma once

#include "helper/printf/binary_number.h"

#include <cstdint>

namespace common::log::trace {

/// Computes number * 10^power, rounded to a whole number: half to even, on the exact product.
///
/// @return false where 128 bits cannot hold the product or 63 bits the result, which is unchanged then
bool scaleToInteger(BinaryNumber number, std::int64_t power, std::uint64_t & result) noexcept;

} // namespace common::log::trace
