#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tracectl {

/// In its two largest units, such as 9m54s or 2h5m.
std::string secondsText(std::int64_t seconds);

/// "10:15:30" of a time such as 2024-03-07T10:15:30Z; any other text as it is.
std::string clockText(std::string_view time);

} // namespace tracectl
