#pragma once

#include <cstddef>

namespace common::log::test {

/// Lets each allocation of this many bytes or more throw std::bad_alloc from now on; with 0 none.
void failNewFrom(std::size_t size);

} // namespace common::log::test
