#pragma once

#include "helper/printf/bounded_text.h"
#include "helper/printf/conversion.h"

#include <cstdint>

namespace common::log::trace {

/// For 'd'.
void writeSigned(BoundedText & out, Conversion const & conversion, std::int64_t number) noexcept;

/// For 'u', 'o', 'x' and 'X'.
void writeUnsigned(BoundedText & out, Conversion const & conversion, std::uint64_t number) noexcept;

/// For 'p': "(nil)", or the address as by "%#x", which the flags for signs count for.
void writePointer(BoundedText & out, Conversion const & conversion, void const * pointer) noexcept;

} // namespace common::log::trace
