#include "state_change.h"

#include <common/log/host/state_text.h>

namespace tracectl {

using common::log::host::parseFlags;
using common::log::trace::EnablingState;

EnablingState StateChange::appliedTo(EnablingState const & state) const
{
    return {on.messages || (state.messages && !off.messages), on.warnings || (state.warnings && !off.warnings),
            on.errors || (state.errors && !off.errors)};
}

bool StateChange::isPartial() const
{
    return !((on.messages || off.messages) && (on.warnings || off.warnings) && (on.errors || off.errors));
}

std::optional<StateChange> parseStateChange(std::string_view text)
{
    bool const isPartial = text.size() > 1 && (text.front() == '+' || text.front() == '-');
    std::optional<EnablingState> const flags = parseFlags(isPartial ? text.substr(1) : text);
    if (!flags || (isPartial && text.substr(1) == "-")) {
        return std::nullopt;
    }
    if (!isPartial) {
        return StateChange{*flags, {!flags->messages, !flags->warnings, !flags->errors}};
    }
    return text.front() == '+' ? StateChange{*flags, {}} : StateChange{{}, *flags};
}

} // namespace tracectl
