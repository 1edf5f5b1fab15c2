#pragma once

#include "record_filter.h"

#include <common/log/host/record_ring_reader.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace common::log::host {

/// A record as it goes to the readers of events.
struct FeedEvent
{
    /// Made where it stays: `fields` point into `record`.
    explicit FeedEvent(RingRecord read);

    std::uint64_t number;
    std::string record;
    std::optional<RecordText> fields;
    std::string text; ///< of the event, its empty line included
};

class EventFeed;

/// A reader of the ring for one client alone. Their number is bounded, since each maps the whole ring.
class RingLease
{
public:
    RingLease(EventFeed & feed, RecordRingReader opened) : ring(std::move(opened)), m_feed(feed) {}
    RingLease(RingLease const &) = delete;
    RingLease & operator=(RingLease const &) = delete;
    ~RingLease();

    RecordRingReader ring;

private:
    EventFeed & m_feed;
};

/// The newest records of the ring, rendered once for all readers of events.
///
/// Threads  That of the door.
class EventFeed
{
public:
    /// @param ringPath  may be empty
    explicit EventFeed(std::string ringPath);

    std::string const & path() const { return m_path; }
    /// @throws Refusal  without a ring
    RingState state();
    /// Null where as many are lent as may be.
    ///
    /// @throws Refusal  without a ring
    std::unique_ptr<RingLease> lend();

    /// Readers of events are counted, since nothing is read for none.
    void join();
    void leave();

    /// Takes in what the ring has more by now.
    void update();

    /// All records above this number that the ring had when it was last looked at are in `eventBehind`.
    std::uint64_t floor() const { return m_floor; }
    /// The last record that was taken in.
    std::uint64_t newest() const { return m_newest; }
    /// The first event above a number, or null.
    FeedEvent const * eventBehind(std::uint64_t number) const;

private:
    friend RingLease;

    RecordRingReader openRing() const;

    std::string m_path;
    std::optional<RecordRingReader> m_reader;
    std::deque<FeedEvent> m_events; ///< never moved, and by number
    std::size_t m_bytes = 0;
    std::size_t m_readers = 0;
    std::size_t m_lent = 0;
    std::uint64_t m_floor = 0;
    std::uint64_t m_newest = 0;
};

} // namespace common::log::host
