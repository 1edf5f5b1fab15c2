#include "tail_search.h"

#include <algorithm>

namespace common::log::host {

std::uint64_t behindWhichLast(RingState const & ring, std::uint64_t count)
{
    std::uint64_t const wanted = ring.lastNumber - std::min(count, ring.lastNumber);
    return ring.firstNumber > 0 ? std::max(wanted, ring.firstNumber - 1) : ring.lastNumber;
}

std::optional<std::uint64_t> TailSearch::step(RecordFilter const & filter, RecordRingReader & ring)
{
    if (m_count == 0) {
        return m_end;
    }
    for (std::size_t i = 0; i < kRecordsOfStep; ++i) {
        std::optional<RingRecord> const record = ring.next();
        if (!record || record->number > m_end) {
            return m_found.empty() ? m_end : m_found.front() - 1;
        }
        if (filter.passes(parseRecord(record->text), record->text)) {
            m_found.push_back(record->number);
            if (m_found.size() > m_count) {
                m_found.pop_front();
            }
        }
    }
    return std::nullopt;
}

} // namespace common::log::host
