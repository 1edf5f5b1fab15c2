// A host in small: a cycle of 5 ms that traces in real time, for as many seconds as its argument says.

#include "line_ends.h"

#include <common/log/trace.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <thread>

using namespace common::log::trace;
constexpr char const * kTraceComponent = "axis";

int main(int count, char ** arguments)
{
    keepLineEndsOfErrorStream();
    // Of its records the handler's worker writes each: with a second writer, two could be mixed.
    Log unit("axis.control", std::make_shared<Handler>());
    unit.setEnablingState(true);
    auto const cycles = 200 * (count > 1 ? std::strtol(arguments[1], nullptr, 10) : 5);
    auto next = std::chrono::steady_clock::now();
    for (long cycle = 0; cycle < cycles; ++cycle) {
        std::this_thread::sleep_until(next += std::chrono::milliseconds(5));
        COMMON_LOG_MESSAGE_REAL_TIME(unit, "Cycle %d of %s: %.3f mm", static_cast<int>(cycle), "axis", 0.125);
    }
}
