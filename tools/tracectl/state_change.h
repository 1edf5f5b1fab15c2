#pragma once

#include <common/log/trace/enabling_state.h>

#include <optional>
#include <string_view>

namespace tracectl {

/// What becomes of a unit's state: a whole new one, or some of its severities on or off.
struct StateChange
{
    using EnablingState = common::log::trace::EnablingState;

    EnablingState on;  ///< severities that are switched on
    EnablingState off; ///< the same for off; what is in neither stays

    EnablingState appliedTo(EnablingState const & state) const;
    /// Whether the new state depends on the old one.
    bool isPartial() const;
};

/// Letters m, w, e, each at most once, or "-" for none, make a whole state; with "+" or "-" ahead only these change.
///
/// @return nothing for any other text
std::optional<StateChange> parseStateChange(std::string_view text);

} // namespace tracectl
