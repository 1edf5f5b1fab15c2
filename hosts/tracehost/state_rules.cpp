#include "state_rules.h"

#include <common/log/host/name_pattern.h>
#include <common/log/host/state_text.h>

namespace tracehost {

using common::log::trace::EnablingState;

std::optional<StateRule> parseStateRule(std::string_view text)
{
    auto const separator = text.rfind('=');
    if (separator == std::string_view::npos || separator == 0) {
        return std::nullopt;
    }
    std::optional<EnablingState> const state = common::log::host::parseFlags(text.substr(separator + 1));
    if (!state) {
        return std::nullopt;
    }
    return StateRule{std::string(text.substr(0, separator)), *state};
}

EnablingState stateOfUnit(std::vector<StateRule> const & rules, std::string_view unitName)
{
    for (StateRule const & rule : rules) {
        if (common::log::host::matchesPattern(rule.pattern, unitName)) {
            return rule.state;
        }
    }
    return EnablingState{true, true, true};
}

} // namespace tracehost
