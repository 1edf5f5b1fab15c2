#pragma once

#include "door_client.h"

#include <string>
#include <string_view>

namespace tracectl {

/// Valid JSON with every control character in it, DEL and C1 too, as an escape: one line for any terminal.
std::string withoutControls(std::string_view json);

/// The text of a value, likewise.
std::string safeJson(Json const & value);

} // namespace tracectl
