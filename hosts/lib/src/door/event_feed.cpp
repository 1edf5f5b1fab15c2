#include "event_feed.h"

#include "answer.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace common::log::host {

namespace {

constexpr std::size_t kBytes = std::size_t{8} * 1024 * 1024; ///< of records and events together
constexpr std::uint64_t kRecordsAhead = 500; ///< taken in with the first reader, for those that begin a little earlier
constexpr std::size_t kMostLent = 32;
constexpr std::size_t kMostAtOnce = 10'000; ///< so that a burst does not hold up all else

} // namespace

FeedEvent::FeedEvent(RingRecord read)
    : number(read.number), record(std::move(read.text)), fields(parseRecord(record)),
      text("id: " + std::to_string(number) + "\ndata: " + recordJson(number, record) + "\n\n")
{}

EventFeed::EventFeed(std::string ringPath) : m_path(std::move(ringPath)) {}

RecordRingReader EventFeed::openRing() const
{
    if (m_path.empty()) {
        throw Refusal(404, "no_ring", "This host keeps no records.");
    }
    try {
        return RecordRingReader(m_path);
    } catch (std::runtime_error const & error) {
        throw Refusal(404, "no_ring", "The records of this host cannot be read.", error.what());
    }
}

RingState EventFeed::state()
{
    if (!m_reader) {
        m_reader = openRing();
    }
    return m_reader->state();
}

std::unique_ptr<RingLease> EventFeed::lend()
{
    if (m_lent >= kMostLent) {
        return nullptr;
    }
    auto lease = std::make_unique<RingLease>(*this, openRing());
    ++m_lent;
    return lease;
}

RingLease::~RingLease() { --m_feed.m_lent; }

void EventFeed::join()
{
    if (m_readers != 0) {
        ++m_readers;
        return;
    }
    RingState const now = state();
    m_newest = now.lastNumber - std::min(now.lastNumber, kRecordsAhead);
    m_newest = std::max(m_newest, now.firstNumber - std::min<std::uint64_t>(now.firstNumber, 1));
    m_floor = m_newest;
    m_reader->continueBehind(m_newest);
    ++m_readers; // only now: all above may throw
    update();
}

void EventFeed::leave()
{
    if (--m_readers == 0) {
        m_events.clear();
        m_bytes = 0;
    }
}

void EventFeed::update()
{
    if (m_readers == 0) {
        return;
    }
    for (std::size_t i = 0; i < kMostAtOnce; ++i) {
        std::optional<RingRecord> record = m_reader->next();
        if (!record) {
            break;
        }
        FeedEvent const & added = m_events.emplace_back(std::move(*record));
        m_newest = added.number;
        m_bytes += added.record.size() + added.text.size();
    }
    while (m_bytes > kBytes && m_events.size() > 1) {
        FeedEvent const & oldest = m_events.front();
        m_floor = oldest.number;
        m_bytes -= oldest.record.size() + oldest.text.size();
        m_events.pop_front();
    }
}

FeedEvent const * EventFeed::eventBehind(std::uint64_t number) const
{
    // The numbers follow each other unless the ring had a gap, so that the place is known in nearly all cases.
    if (!m_events.empty() && number >= m_events.front().number) {
        std::uint64_t const place = number - m_events.front().number + 1;
        if (place < m_events.size() && m_events[static_cast<std::size_t>(place)].number == number + 1) {
            return &m_events[static_cast<std::size_t>(place)];
        }
    }
    auto const found =
        std::upper_bound(m_events.begin(), m_events.end(), number,
                         [](std::uint64_t wanted, FeedEvent const & event) { return wanted < event.number; });
    return found != m_events.end() ? &*found : nullptr;
}

} // namespace common::log::host
