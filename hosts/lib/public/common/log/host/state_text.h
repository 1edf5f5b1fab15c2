#pragma once

#include <common/log/trace/enabling_state.h>

#include <optional>
#include <string>
#include <string_view>

namespace common::log::host {

/// Reads any of the letters m, w and e, each at most once, or a single '-' for none.
std::optional<common::log::trace::EnablingState> parseFlags(std::string_view flags);

/// The same letters, in that order.
std::string flagsText(common::log::trace::EnablingState const & state);

} // namespace common::log::host
