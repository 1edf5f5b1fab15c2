#include "record_filter.h"
#include "routes.h"
#include "tail_search.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

namespace common::log::host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestSilence(15);

/// Records as they come. Goes along with the feed, and reads the ring on its own where it is behind that.
class RecordEvents final : public Stream
{
public:
    RecordEvents(EventFeed & feed, RecordFilter filter) : m_feed(feed), m_filter(std::move(filter)) { m_feed.join(); }
    RecordEvents(RecordEvents const &) = delete;
    RecordEvents & operator=(RecordEvents const &) = delete;
    ~RecordEvents() override { m_feed.leave(); }

    void begin(RingState const & ring, RecordStart const & start)
    {
        m_done = ring.lastNumber;
        // A number that this ring has not reached is of another one: all that is here is new then.
        if (start.after) {
            bool const isOfThisRing = *start.after <= ring.lastNumber;
            m_done = isOfThisRing ? *start.after : ring.firstNumber - std::min<std::uint64_t>(ring.firstNumber, 1);
        }
        if (start.last && m_filter.passesAll()) {
            m_done = behindWhichLast(ring, *start.last);
        } else if (start.last) {
            m_search.emplace(*start.last, ring.lastNumber);
        }
        leftOver() = "event: run\ndata: " +
                     textOf(Json{{"run", ring.run}, {"process", ring.processId}, {"next", ring.lastNumber + 1}}) +
                     "\n\n";
    }

    State fill(Output & output) override
    {
        if (output.used() != 0) {
            m_lastSaid = Clock::now();
        }
        if (m_search || m_done < m_feed.floor()) {
            if (m_lease == nullptr) {
                m_lease = m_feed.lend();
                if (m_lease == nullptr) {
                    return State::waits;
                }
                if (!m_search) {
                    m_lease->ring.continueBehind(m_done);
                }
            }
            return m_search ? search() : catchUp(output);
        }
        m_lease.reset();
        State const state = follow(output);
        if (output.used() != 0) {
            m_lastSaid = Clock::now();
        } else if (Clock::now() - m_lastSaid > kLongestSilence) {
            output.add(": still here\n\n");
            m_lastSaid = Clock::now();
        }
        return state;
    }

    bool isReady() override
    {
        return m_search || m_feed.newest() > m_done || Clock::now() - m_lastSaid > kLongestSilence;
    }

    void rest() override
    {
        if (!m_search) {
            m_lease.reset();
        }
    }
    char const * type() const override { return "text/event-stream"; }
    bool isEndless() const override { return true; }

private:
    State follow(Output & output)
    {
        for (FeedEvent const * event = m_feed.eventBehind(m_done); event != nullptr;
             event = m_feed.eventBehind(m_done)) {
            if (output.isFull()) {
                return State::hasMore;
            }
            sayGap(output, event->number);
            if (m_filter.passes(event->fields, event->record)) {
                output.add(event->text);
            }
            m_done = event->number;
        }
        return State::waits;
    }

    State search()
    {
        if (std::optional<std::uint64_t> const start = m_search->step(m_filter, m_lease->ring)) {
            m_done = *start;
            m_lease->ring.continueBehind(m_done);
            m_search.reset();
        }
        return State::hasMore;
    }

    State catchUp(Output & output)
    {
        for (std::size_t i = 0; i < kRecordsOfStep && !output.isFull() && m_done < m_feed.floor(); ++i) {
            std::optional<RingRecord> record = m_lease->ring.next();
            if (!record) {
                sayGap(output, m_feed.floor() + 1); // gone while they were looked for
                m_done = m_feed.floor();
                break;
            }
            sayGap(output, record->number);
            FeedEvent const event(std::move(*record));
            if (m_filter.passes(event.fields, event.record)) {
                output.add(event.text);
            }
            m_done = event.number;
        }
        return State::hasMore;
    }

    void sayGap(Output & output, std::uint64_t number) const
    {
        if (number > m_done + 1) {
            output.add("event: gap\ndata: {\"missed\": " + std::to_string(number - m_done - 1) + "}\n\n");
        }
    }

    EventFeed & m_feed;
    RecordFilter m_filter;
    std::uint64_t m_done = 0; ///< the last record that was told, or passed over
    std::optional<TailSearch> m_search;
    std::unique_ptr<RingLease> m_lease; ///< while it is behind the feed
    Clock::time_point m_lastSaid = Clock::now();
};

} // namespace

Reply showEvents(RouteContext & context, Request & request)
{
    RecordFilter filter(request.parameters);
    RecordStart start(request.parameters);
    request.parameters.expectNoMore();
    if (request.lastEventId && !start.last) {
        start.after = readNumber("Last-Event-ID", *request.lastEventId, 0, UINT64_MAX);
    }
    auto events = std::make_unique<RecordEvents>(context.feed, std::move(filter));
    events->begin(context.feed.state(), start);
    return events;
}

} // namespace common::log::host
