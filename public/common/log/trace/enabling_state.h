#pragma once

namespace common::log::trace {

/// One switch for each severity; true lets it through.
struct EnablingState
{
    bool messages = false;
    bool warnings = false;
    bool errors = false;
};

} // namespace common::log::trace
