#pragma once

#include "system_thread.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csetjmp>
#include <cstdint>
#include <ctime>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace common_zep {

enum class State : std::uint32_t
{
    running,
    ended,   ///< none of the program's code runs on it any more, and pthread_join will not wait for long
    stopped, ///< held for ever inside the layer's signal handler
};

/// How far a thread is. Only its own signal handler asks, and the thread itself sets it.
enum class Stage
{
    starting,
    inEntry,
    leaving, ///< destructors of thread-local objects
    gone,
};

/// What a delete is content with. Each value includes those ahead of it.
enum class Demand
{
    none, ///< nobody deletes the thread
    entryOrSleep,
    outermostSeen,
    anySleep,
    stopAnywhere,
};

/// One thread of the layer. Alive until the thread has been joined or is stopped for ever.
struct Thread : SystemThread
{
    bool start(std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores) override;
    bool isCurrent() const override;
    bool waitForEnd(std::optional<std::chrono::milliseconds> limit) override;
    bool stop() override;
    bool isStoppedInPlace() const override { return state.load(std::memory_order_acquire) == State::stopped; }
    void release() override;

    char name[16] = {}; // what the system takes, its terminator included
    pthread_t id = {};
    std::atomic<pid_t> systemId{0}; // 0 until the thread has begun

    std::atomic<State> state{State::running}; // publishes the exit code

    // Set by the one who deletes, read by the signal handler on the thread.
    std::atomic<Demand> demand{Demand::none};
    std::atomic<std::uintptr_t> sleepsAt{0}; // program counter of the sleep that it was last seen in, else 0
    std::uintptr_t ownCodeBegin = 0;         // the loaded object of the entry; published by `demand`
    std::uintptr_t ownCodeEnd = 0;
    std::atomic<bool> mayStep{false};
    std::atomic<std::uint32_t> answeredSignals{0};

    // Of the thread alone.
    std::atomic<Stage> stage{Stage::starting};
    bool hasOwnDescriptors = false;
    unsigned fewestFrames = UINT_MAX;
    unsigned stepsLeft = 0; // instructions until it runs freely again
    std::uintptr_t lastStep = 0;
    sigjmp_buf wayOut = {};
};

constexpr std::int64_t kSecond = 1000000000; // in nanoseconds
constexpr std::int64_t kMillisecond = 1000000;

inline std::int64_t nanoseconds(timespec const & time) { return std::int64_t{time.tv_sec} * kSecond + time.tv_nsec; }

/// The time of the monotonic clock after so many nanoseconds.
inline timespec monotonicTimeIn(std::int64_t duration)
{
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    std::int64_t const sum = nanoseconds(time) + duration;
    time.tv_sec = static_cast<std::time_t>(sum / kSecond);
    time.tv_nsec = static_cast<long>(sum % kSecond);
    return time;
}

/// @param deadline  on the monotonic clock; null waits without bound
/// @return false when the deadline is over; true when the value may have changed
template <class Value>
bool waitForChange(std::atomic<Value> & value, Value present, timespec const * deadline)
{
    static_assert(sizeof(value) == sizeof(std::uint32_t) && std::atomic<Value>::is_always_lock_free,
                  "the system waits on a 32-bit number, and a signal handler sets it");
    return syscall(SYS_futex, &value, FUTEX_WAIT_BITSET_PRIVATE, present, deadline, nullptr, FUTEX_BITSET_MATCH_ANY) ==
               0 ||
           errno != ETIMEDOUT;
}

template <class Value>
void wakeWaiters(std::atomic<Value> & value)
{
    syscall(SYS_futex, &value, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

/// Waits until the thread runs no more. A wait on the state itself instead of a condition variable, since a signal
/// handler has to be able to end it.
/// @param deadline  on the monotonic clock; null waits without bound
/// @return whether it runs no more
inline bool waitUntilEnd(Thread & thread, timespec const * deadline)
{
    // Acquires what the thread wrote ahead of `setState`, the exit code above all.
    while (thread.state.load(std::memory_order_acquire) == State::running) {
        if (!waitForChange(thread.state, State::running, deadline)) {
            return thread.state.load(std::memory_order_acquire) != State::running;
        }
    }
    return true;
}

/// The counterpart of `waitUntilEnd`, on the thread itself, also inside its signal handler.
inline void setState(Thread & thread, State state)
{
    thread.state.store(state, std::memory_order_release);
    wakeWaiters(thread.state);
}

} // namespace common_zep
