#include "state_rules.h"

namespace tracehost {

using common::log::trace::EnablingState;

std::optional<EnablingState> parseFlags(std::string_view flags)
{
    EnablingState state;
    if (flags == "-") {
        return state;
    }
    if (flags.empty()) {
        return std::nullopt;
    }
    for (char const flag : flags) {
        bool * const field = flag == 'm'   ? &state.messages
                             : flag == 'w' ? &state.warnings
                             : flag == 'e' ? &state.errors
                                           : nullptr;
        if (field == nullptr || *field) {
            return std::nullopt;
        }
        *field = true;
    }
    return state;
}

std::string flagsText(EnablingState const & state)
{
    std::string const flags =
        std::string(state.messages ? "m" : "") + (state.warnings ? "w" : "") + (state.errors ? "e" : "");
    return flags.empty() ? "-" : flags;
}

std::optional<StateRule> parseStateRule(std::string_view text)
{
    auto const separator = text.rfind('=');
    if (separator == std::string_view::npos || separator == 0) {
        return std::nullopt;
    }
    std::optional<EnablingState> const state = parseFlags(text.substr(separator + 1));
    if (!state) {
        return std::nullopt;
    }
    return StateRule{std::string(text.substr(0, separator)), *state};
}

bool matchesPattern(std::string_view pattern, std::string_view name)
{
    // Only the last star is ever tried again: what an earlier one could take more, the last one can take as well. So
    // the work is at most the product of the two lengths.
    std::size_t position = 0;
    std::size_t inName = 0;
    std::size_t behindStar = std::string_view::npos;
    std::size_t takenByStar = 0;
    while (inName < name.size()) {
        if (position < pattern.size() && pattern[position] == '*') {
            behindStar = ++position;
            takenByStar = inName;
        } else if (position < pattern.size() && (pattern[position] == '?' || pattern[position] == name[inName])) {
            ++position;
            ++inName;
        } else if (behindStar != std::string_view::npos) {
            position = behindStar;
            inName = ++takenByStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', position) == std::string_view::npos;
}

EnablingState stateOfUnit(std::vector<StateRule> const & rules, std::string_view unitName)
{
    for (StateRule const & rule : rules) {
        if (matchesPattern(rule.pattern, unitName)) {
            return rule.state;
        }
    }
    return EnablingState{true, true, true};
}

} // namespace tracehost
