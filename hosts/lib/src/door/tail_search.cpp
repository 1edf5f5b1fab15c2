#include "tail_search.h"

#include <utility>

namespace common::log::host {

TailSearch::TailSearch(RecordRingReader ring, std::uint64_t count, std::uint64_t end)
    : m_ring(std::move(ring)), m_count(count), m_end(end)
{}

std::optional<std::uint64_t> TailSearch::step(RecordFilter const & filter)
{
    if (m_count == 0) {
        return m_end;
    }
    if (filter.passesAll()) {
        return m_end > m_count ? m_end - m_count : 0;
    }
    for (std::size_t i = 0; i < kRecordsOfStep; ++i) {
        std::optional<RingRecord> const record = m_ring.next();
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
