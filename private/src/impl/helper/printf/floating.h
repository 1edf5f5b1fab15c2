#pragma once

#include "helper/printf/bounded_text.h"
#include "helper/printf/conversion.h"

namespace common::log::trace {

/// For 'a', 'e', 'f', 'g' and their capitals. Rounds half to even on the exact value, whatever the rounding mode of the
/// thread is.
void writeFloating(BoundedText & out, Conversion const & conversion, double number) noexcept;

} // namespace common::log::trace
