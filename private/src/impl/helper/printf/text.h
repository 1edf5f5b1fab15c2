#pragma once

#include "helper/printf/bounded_text.h"
#include "helper/printf/conversion.h"

namespace common::log::trace {

/// For 'c'. A precision means nothing.
void writeCharacter(BoundedText & out, Conversion const & conversion, char character) noexcept;

/// For 's'. Null gives "(null)", and nothing where the precision does not let all of that out.
void writeText(BoundedText & out, Conversion const & conversion, char const * text) noexcept;

} // namespace common::log::trace
