#pragma once

#include <chrono>
#include <cstddef>
#include <thread>

namespace common::log::test {

/// What this process holds of the system at the time of its making. A thread that was joined may still be counted for a
/// moment, so that a later count is to be waited for, and may be lower.
struct ProcessState
{
    std::ptrdiff_t threads = countThreads();
    std::ptrdiff_t descriptors = countDescriptors(); ///< on Windows handles of any kind
    std::ptrdiff_t mappings = countMappings();       ///< of memory; the stack of a thread that nobody joins stays

    static std::ptrdiff_t countThreads();
    static std::ptrdiff_t countDescriptors();
    static std::ptrdiff_t countMappings();
};

/// Waits for a condition that is bound to come true. @return false after a minute
template <typename Condition>
bool waitUntil(Condition const & condition)
{
    auto const limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    for (unsigned int round = 0; !condition(); ++round) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        if (round < 1000) {
            std::this_thread::yield();
        } else {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    return true;
}

/// Whether no more threads run than in an earlier state, at the latest after a minute.
inline bool waitUntilNoMoreThreadsThan(ProcessState const & before)
{
    return waitUntil([&] { return ProcessState::countThreads() <= before.threads; });
}

} // namespace common::log::test
