#include <common/log/host/state_text.h>

namespace common::log::host {

using trace::EnablingState;

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

} // namespace common::log::host
