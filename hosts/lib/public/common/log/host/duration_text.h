#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace common::log::host {

/// A whole number with one of the units ns, us, ms, s, m, h directly behind it, such as 250us.
///
/// @return nothing for any other text, a number alone among them, and where 64 bits of nanoseconds do not hold the
/// value
std::optional<std::chrono::nanoseconds> parseDuration(std::string_view text);

/// In the largest unit that gives a whole number: what `parseDuration` reads back.
std::string durationText(std::chrono::nanoseconds duration);

} // namespace common::log::host
