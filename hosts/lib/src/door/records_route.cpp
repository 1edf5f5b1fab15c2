#include "record_filter.h"
#include "routes.h"
#include "tail_search.h"

#include <utility>

namespace common::log::host {

namespace {

constexpr std::uint64_t kUsualLimit = 1000;
constexpr std::uint64_t kHighestLimit = 100'000;

/// Records of the ring as they are now, one a line.
class RecordLines final : public Stream
{
public:
    // What comes while the answer is sent does not belong to it, so that it has an end.
    RecordLines(std::unique_ptr<RingLease> lease, RecordFilter filter, std::uint64_t limit)
        : m_lease(std::move(lease)), m_ring(m_lease->ring), m_filter(std::move(filter)), m_left(limit),
          m_end(m_ring.state().lastNumber)
    {}

    void begin(RecordStart const & start)
    {
        if (start.after) {
            m_ring.continueBehind(*start.after);
        }
        if (start.last) {
            m_search.emplace(*start.last, m_end);
        }
    }

    State fill(Output & output) override
    {
        if (m_search) {
            std::optional<std::uint64_t> const start = m_search->step(m_filter, m_ring);
            if (!start) {
                return State::hasMore;
            }
            m_ring.continueBehind(*start);
            m_search.reset();
        }
        for (std::size_t i = 0; i < kRecordsOfStep && !output.isFull(); ++i) {
            std::optional<RingRecord> const record = m_left != 0 ? m_ring.next() : std::nullopt;
            if (!record || record->number > m_end) {
                return State::ended;
            }
            if (m_filter.passes(parseRecord(record->text), record->text)) {
                output.add(recordJson(record->number, record->text) + "\n");
                --m_left;
            }
        }
        return State::hasMore;
    }

    bool isReady() override { return true; }
    char const * type() const override { return "application/x-ndjson"; }

private:
    std::unique_ptr<RingLease> m_lease;
    RecordRingReader & m_ring;
    RecordFilter m_filter;
    std::uint64_t m_left;
    std::uint64_t m_end;
    std::optional<TailSearch> m_search;
};

} // namespace

Reply showRecords(RouteContext & context, Request & request)
{
    RecordFilter filter(request.parameters);
    RecordStart const start(request.parameters);
    std::uint64_t const limit = request.parameters.number("limit", 1, kHighestLimit).value_or(kUsualLimit);
    request.parameters.expectNoMore();
    std::unique_ptr<RingLease> lease = context.feed.lend();
    if (lease == nullptr) {
        throw Refusal(503, "busy", "Too many clients read old records.");
    }
    auto lines = std::make_unique<RecordLines>(std::move(lease), std::move(filter), limit);
    lines->begin(start);
    return lines;
}

} // namespace common::log::host
