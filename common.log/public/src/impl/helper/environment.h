#pragma once

#include <optional>
#include <string>

namespace common::log {

/// The value of an environment variable; empty where it is set and empty, nothing where it is not set.
///
/// No other thread may change the environment meanwhile.
std::optional<std::string> readEnvironment(char const * name);

} // namespace common::log
