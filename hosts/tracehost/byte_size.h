#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tracehost {

/// A whole number of bytes, or of those units that stand directly behind it: KiB, MiB, GiB.
///
/// @return nothing for any other text, and where 64 bits do not hold the value
std::optional<std::uint64_t> parseByteSize(std::string_view text);

} // namespace tracehost
