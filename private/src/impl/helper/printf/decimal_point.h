#pragma once

namespace common::log::trace {

/// Whether the locale of the calling thread writes a dot between the digits of a number. Where the system does not tell
/// that without a lock, the answer is that it does.
bool hasDecimalDot() noexcept;

} // namespace common::log::trace
