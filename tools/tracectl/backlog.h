#pragma once

#include "event_parser.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>

namespace tracectl {

/// Events that have come and are not written yet: records, and gaps that the host counted.
class Backlog
{
public:
    using Clock = std::chrono::steady_clock;

    void add(Event && event, Clock::time_point now);

    /// Drops and counts all of it where it has grown above 64 MiB, or has waited for more than a second. All, and not
    /// only what is too much, so that the gaps are few.
    void limit(Clock::time_point now);

    bool isEmpty() const { return m_waiting.empty() && m_passedOver == 0; }

    /// How many records are missing ahead of the next one; tells it once.
    std::uint64_t takeGap();

    bool hasRecord() const { return !m_waiting.empty(); }
    Event takeRecord() { return takeFirst(); } ///< behind takeGap

private:
    struct Waiting
    {
        Event event;
        Clock::time_point since;
    };

    Event takeFirst();

    std::deque<Waiting> m_waiting;
    std::size_t m_bytes = 0;
    std::uint64_t m_passedOver = 0;
};

} // namespace tracectl
