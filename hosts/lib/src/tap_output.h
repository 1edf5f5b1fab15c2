#pragma once

#include "descriptor.h"

#include <common/log/host/record_tap.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace common::log::host {

/// The account of a tap while it is written. Any thread may count and read.
struct TapCounters
{
    using Counter = std::atomic<std::uint64_t>;

    // Relaxed: a count orders nothing. Who wants the final ones joins the writing threads first.
    static void count(Counter & counter, std::uint64_t by = 1) { counter.fetch_add(by, std::memory_order_relaxed); }
    void countLost(Loss reason, std::uint64_t by = 1) { count(lost[static_cast<std::size_t>(reason)], by); }

    RecordTapAccount account() const;

    Counter records{0};
    Counter written{0};
    std::array<Counter, kLossReasons> lost{};
    Counter bytes{0};
    Counter oversized{0};
    Counter sweeps{0};
    Counter lineEnds{0};
    Counter sinkFailures{0};
    Counter droppedTexts{0};
};

/// The descriptor of a tap. One thread at a time.
class TapOutput
{
public:
    TapOutput(int descriptor, std::chrono::milliseconds patience, bool holdsOffPipeSignal, TapCounters & counters)
        : m_descriptor(descriptor), m_patience(patience), m_holdsOffPipeSignal(holdsOffPipeSignal), m_counters(counters)
    {}

    /// Writes a text and counts its bytes.
    WriteOutcome write(std::string_view text);

private:
    int const m_descriptor;
    std::chrono::milliseconds const m_patience;
    bool const m_holdsOffPipeSignal;
    TapCounters & m_counters;
    bool m_isStalled = false;
};

} // namespace common::log::host
