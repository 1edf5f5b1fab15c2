#pragma once

#include <common/log/host/record_tap.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>

namespace common::log::host {

struct WriteOutcome
{
    std::size_t written = 0;
    std::optional<Loss> loss; ///< why the rest was not written
};

/// Writes all of a text, by one system call where the descriptor takes it at once. Interrupted and partial writes are
/// continued.
///
/// @param patience          how long a full non-blocking descriptor is waited for, anew after each part that it took
/// @param holdsOffPipeSignal  whether a SIGPIPE out of this write is taken away again
WriteOutcome writeWhole(int descriptor, std::string_view text, std::chrono::milliseconds patience,
                        bool holdsOffPipeSignal);

/// Whether SIGPIPE has its default action now, by which the process would end.
bool isPipeSignalDeadly();

} // namespace common::log::host
