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

/// Reads any of the letters m, w and e, each at most once, or a single '-' for none.
std::optional<common::log::trace::EnablingState> parseFlags(std::string_view flags);

/// The same letters, in that order.
std::string flagsText(common::log::trace::EnablingState const & state);

/// Reads PATTERN=FLAGS. The last '=' parts the two, since the name of a followed file may hold one.
std::optional<StateRule> parseStateRule(std::string_view text);

/// '*' stands for any number of characters, dots included, '?' for exactly one, all else for itself.
bool matchesPattern(std::string_view pattern, std::string_view name);

/// That of the first rule that matches; everything on where none does.
common::log::trace::EnablingState stateOfUnit(std::vector<StateRule> const & rules, std::string_view unitName);

} // namespace tracehost
