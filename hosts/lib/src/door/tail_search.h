#pragma once

#include "record_filter.h"

#include <common/log/host/record_ring_reader.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace common::log::host {

/// How many records are looked at before others have their turn.
constexpr std::size_t kRecordsOfStep = 500;

/// The number behind which the newest records begin that a ring has, if no filter is in between.
std::uint64_t behindWhichLast(RingState const & ring, std::uint64_t count);

/// Looks for the newest records that pass a filter, in small steps.
class TailSearch
{
public:
    /// @param end  the last record that is looked at
    TailSearch(std::uint64_t count, std::uint64_t end) : m_count(count), m_end(end) {}

    /// @param ring  the same each time, at the oldest record the first time
    /// @return the number behind which they begin, once that is known
    std::optional<std::uint64_t> step(RecordFilter const & filter, RecordRingReader & ring);

private:
    std::uint64_t m_count;
    std::uint64_t m_end;
    std::deque<std::uint64_t> m_found; ///< at most the count
};

} // namespace common::log::host
