#pragma once

#include <cstddef>

namespace common::log::trace {

/// The one reader of lists made by `argumentPointer`: formats as `vsnprintf` does, from a copy of the list.
///
/// @return the length that the whole text would have had, or a negative number where it cannot be formatted
int formatArguments(char * buffer, std::size_t bufferSize, char const * format, char * arguments);

} // namespace common::log::trace
