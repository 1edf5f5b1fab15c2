#pragma once

#include <string>

namespace common::log::host {

/// The absolute path in a variable of the environment; empty where the variable is missing or holds anything else.
///
/// Threads  None may change the environment meanwhile.
std::string pathFromEnvironment(char const * name);

} // namespace common::log::host
