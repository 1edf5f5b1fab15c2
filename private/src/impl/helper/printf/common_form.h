#pragma once

#include <cstddef>
#include <cstdint>

namespace common::log::trace {

// The conversions of which most formats are made, without flags and width: written straight into the text, where there
// is room for the longest of them.

/// Characters that either of the two below may take.
constexpr std::size_t kCommonFormRoom = 32;

/// The most places behind the point that `writeCommonFixed` is for.
constexpr unsigned int kMaximalCommonPlaces = 9;

/// @return behind the last digit
char * writeCommonSigned(char * position, std::int64_t number) noexcept;

/// A number with so many places behind its point, rounded as `ShortDecimal` does.
///
/// @return behind the last digit, or null, with nothing written, for a number that is large or not finite
char * writeCommonFixed(char * position, double number, unsigned int places) noexcept;

} // namespace common::log::trace
