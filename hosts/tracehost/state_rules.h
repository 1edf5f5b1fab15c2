#pragma once

#include <common/log/trace/enabling_state.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tracehost {

/// The state given to all units that a pattern matches.
struct StateRule
{
    std::string pattern;
    common::log::trace::EnablingState state;
};

/// Reads PATTERN=FLAGS. The last '=' parts the two, since the name of a followed file may hold one.
std::optional<StateRule> parseStateRule(std::string_view text);

/// That of the first rule that matches; everything on where none does.
common::log::trace::EnablingState stateOfUnit(std::vector<StateRule> const & rules, std::string_view unitName);

} // namespace tracehost
