#pragma once

#include <common_zep/thread.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

namespace common_zep {

/// One thread of the layer, as a system has it. What each of them promises stands at the layer's functions.
///
/// Threads  `start` and `release` once each; all others any number at once.
struct SystemThread
{
    SystemThread() = default;
    SystemThread(SystemThread const &) = delete;
    SystemThread & operator=(SystemThread const &) = delete;
    virtual ~SystemThread() = default;

    /// @param cores  usable ones; 0 for those of the process
    virtual bool start(std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores) = 0;

    /// Whether the caller runs on it.
    virtual bool isCurrent() const = 0;

    /// @param limit  by the monotonic clock; no value waits without bound
    /// @return whether the thread runs no more
    virtual bool waitForEnd(std::optional<std::chrono::milliseconds> limit) = 0;

    /// Ends the thread or stops it for ever, for the one who has set `isBeingDeleted`.
    ///
    /// @return whether it runs no more
    virtual bool stop() = 0;

    /// Of a thread that runs no more: whether it is stopped for ever.
    virtual bool isStoppedInPlace() const = 0;

    /// Gives back what the system holds for a thread that runs no more.
    virtual void release() = 0;

    ZEP_ThreadEntry entry = nullptr;
    void * argument = nullptr;
    std::uint32_t exitCode = 0; // published by the thread's end
    std::atomic<bool> isBeingDeleted{false};
};

/// @param name  may be null
std::shared_ptr<SystemThread> makeSystemThread(char const * name);

/// @return false where the system does not tell
bool getUsableCores(std::uint64_t & cores);

} // namespace common_zep
