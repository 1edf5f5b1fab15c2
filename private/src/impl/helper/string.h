#pragma once

#include <cstddef>

namespace common::log::trace {

/// Copies as much of `source` as fits, always terminated; with a size of 0 nothing is written. Neither is null.
///
/// @return the length of `source`
std::size_t copyTruncated(char * destination, std::size_t destinationSize, char const * source) noexcept;

/// `text`, or the empty text for null.
inline char const * emptyForNull(char const * text) noexcept { return text != nullptr ? text : ""; }

/// How reports print a flag.
inline char const * trueOrFalse(bool flag) noexcept { return flag ? "true" : "false"; }

} // namespace common::log::trace
