#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>

namespace common::log::trace {

/// Which calls of a call site go out. A call site holds one of these as a static object; being a constant at its start,
/// it needs no initialisation that a thread could have to wait for.
///
/// `passes` decides over a call. Before one that passes is sent, `takeHeldBack` gives the number of those that did not
/// since the last one; `notSent` says afterwards that nobody will read of them, since the call was refused.
///
/// Threads    Any number at once. Each call held back is told of once; under concurrency perhaps one record later.
/// Real time  Safe: no allocation, no lock, no loop; AtMostEvery reads the clock once.
class NoLimit
{
public:
    static constexpr bool passes() noexcept { return true; }
    static constexpr std::uint64_t takeHeldBack() noexcept { return 0; }
    static constexpr void notSent(std::uint64_t /*heldBack*/) noexcept {}
};

/// The count that the limits below have in common.
class HeldBackCount
{
public:
    std::uint64_t takeHeldBack() noexcept { return m_heldBack.exchange(0, std::memory_order_relaxed); }
    void notSent(std::uint64_t heldBack) noexcept { m_heldBack.fetch_add(heldBack, std::memory_order_relaxed); }

protected:
    constexpr HeldBackCount() noexcept = default;

    bool holdBack() noexcept
    {
        m_heldBack.fetch_add(1, std::memory_order_relaxed);
        return false;
    }

private:
    static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

    std::atomic<std::uint64_t> m_heldBack{0};
};

/// The first call and from there on every n-th, whichever threads they come from.
class EveryNth : public HeldBackCount
{
public:
    /// @param n  with 0 and 1 every call passes
    bool passes(std::uint64_t n) noexcept
    {
        return n < 2 || m_calls.fetch_add(1, std::memory_order_relaxed) % n == 0 || holdBack();
    }

private:
    std::atomic<std::uint64_t> m_calls{0};
};

/// The first call, and then the first one after each period that began with a call that passed. A period counts also
/// where the record was refused.
class AtMostEvery : public HeldBackCount
{
public:
    using Clock = std::chrono::steady_clock;

    bool passes(std::uint32_t milliseconds) noexcept { return passesAt(Clock::now(), milliseconds); }

    bool passesAt(Clock::time_point time, std::uint32_t milliseconds) noexcept
    {
        std::int64_t const now = std::chrono::nanoseconds(time.time_since_epoch()).count();
        std::int64_t next = m_next.load(std::memory_order_relaxed);
        // Of several that come at once, the exchange lets one through: to the others the time is no longer `next`.
        return (now >= next && m_next.compare_exchange_strong(next, now + std::int64_t{milliseconds} * 1'000'000,
                                                              std::memory_order_relaxed)) ||
               holdBack();
    }

private:
    std::atomic<std::int64_t> m_next{std::numeric_limits<std::int64_t>::min()}; // nanoseconds
};

/// One call, and another one only where the record of that was refused. Afterwards it costs one more load, and nobody
/// counts what is held back, since no record follows that could tell.
class OnlyOnce
{
public:
    bool passes() noexcept
    {
        return !m_hasPassed.load(std::memory_order_relaxed) && !m_hasPassed.exchange(true, std::memory_order_relaxed);
    }
    static constexpr std::uint64_t takeHeldBack() noexcept { return 0; }
    void notSent(std::uint64_t /*heldBack*/) noexcept { m_hasPassed.store(false, std::memory_order_relaxed); }

private:
    std::atomic<bool> m_hasPassed{false};
};

} // namespace common::log::trace
