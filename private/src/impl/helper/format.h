#pragma once

#include <cstddef>

namespace common::log::trace {

/// The one reader of lists made by `argumentPointer`: formats as `vsnprintf` does, from a copy of the list.
///
/// All texts of the library come from here, on either road. A format that `BoundedFormat` takes (its header says which
/// these are) is formatted by that, any other one by `vsnprintf` as a whole.
///
/// @return the length that the whole text would have had, or a negative number where it cannot be formatted
///
/// Threads    Any number at once.
/// Real time  Safe for the former. For the latter `vsnprintf` may allocate and lock.
int formatArguments(char * buffer, std::size_t bufferSize, char const * format, char * arguments);

} // namespace common::log::trace
