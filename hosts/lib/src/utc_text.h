#pragma once

#include <chrono>
#include <string>

namespace common::log::host {

/// A time to the second, such as 2024-03-07T10:15:30Z; empty outside of the years 1970 to 3000.
std::string utcText(std::chrono::system_clock::time_point time);

} // namespace common::log::host
