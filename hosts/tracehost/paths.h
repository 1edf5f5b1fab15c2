#pragma once

#include <string>

namespace tracehost {

/// Where the library looks for the type of its saved states, below the root.
inline constexpr char const * kTypeFile = "bfbs/common/log/trace/enablingstates.bfbs";

/// "tracehost" in the folder that the user's state belongs to: $XDG_STATE_HOME, otherwise .local/state of the home, and
/// /var/lib for a user without one.
std::string defaultStateDirectory();

bool hasTypeFile(std::string const & root);

/// The root that lies beside the program, as built or as installed; empty where there is none.
std::string defaultRoot();

} // namespace tracehost
