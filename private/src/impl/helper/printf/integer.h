#pragma once

#include "helper/printf/bounded_text.h"
#include "helper/printf/conversion.h"

#include <cstdint>

namespace common::log::trace {

/// The digits of a number end where `end` does.
///
/// @return where they begin, which is `end` for 0
char * writeDigitsInFrontOf(char * end, std::uint64_t number) noexcept;

/// The digits of a number, and '0' for 0, where there is room for all that a number may have.
///
/// @return behind the last one
char * writeDigitsAt(char * position, std::uint64_t number) noexcept;

/// For 'd'.
void writeSigned(BoundedText & out, Conversion const & conversion, std::int64_t number) noexcept;

/// For 'u', 'o', 'x' and 'X'.
void writeUnsigned(BoundedText & out, Conversion const & conversion, std::uint64_t number) noexcept;

/// For 'p': "(nil)", or the address as by "%#x", which the flags for signs count for.
void writePointer(BoundedText & out, Conversion const & conversion, void const * pointer) noexcept;

} // namespace common::log::trace
