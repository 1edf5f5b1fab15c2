#pragma once

#include <string_view>

namespace common::log::host {

/// '*' stands for any number of characters, dots included, '?' for exactly one, all else for itself.
bool matchesPattern(std::string_view pattern, std::string_view name);

} // namespace common::log::host
