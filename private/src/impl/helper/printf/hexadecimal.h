#pragma once

#include "helper/printf/bounded_text.h"
#include "helper/printf/conversion.h"

namespace common::log::trace {

/// For 'a' and 'A'. The first digit is 1, 0 for subnormal numbers, and 2 where rounding made it so.
///
void writeHexadecimal(BoundedText & out, Conversion const & conversion, double number) noexcept;

} // namespace common::log::trace
