#pragma once

#include <string>
#include <vector>

namespace common::log::host {

/// Where the sockets of doors lie by default, the first place first: "common_log_trace" below $XDG_RUNTIME_DIR, if that
/// is set, and below /run. A client looks into both.
std::vector<std::string> doorFolders();

/// "PROGRAM.sock" in the first of these.
std::string defaultDoorSocket(std::string const & program);

} // namespace common::log::host
