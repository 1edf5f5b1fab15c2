#include "backlog.h"

#include "door_answers.h"

#include <utility>

namespace tracectl {

namespace {

constexpr std::size_t kMostBytes = std::size_t{64} * 1024 * 1024;
constexpr std::chrono::seconds kLongestWait(1);

bool isGap(Event const & event) { return event.type == "gap"; }

std::uint64_t recordsOf(Event const & event)
{
    return isGap(event) ? countField(Json::parse(event.data, nullptr, false), "missed") : 1;
}

} // namespace

void Backlog::add(Event && event, Clock::time_point now)
{
    m_bytes += event.data.size();
    m_waiting.push_back({std::move(event), now});
}

void Backlog::limit(Clock::time_point now)
{
    if (m_waiting.empty() || (m_bytes <= kMostBytes && now - m_waiting.front().since <= kLongestWait)) {
        return;
    }
    for (Waiting const & waiting : m_waiting) {
        m_passedOver += recordsOf(waiting.event);
    }
    m_waiting.clear();
    m_bytes = 0;
}

std::uint64_t Backlog::takeGap()
{
    while (!m_waiting.empty() && isGap(m_waiting.front().event)) {
        m_passedOver += recordsOf(takeFirst());
    }
    return std::exchange(m_passedOver, 0);
}

Event Backlog::takeFirst()
{
    Event event = std::move(m_waiting.front().event);
    m_waiting.pop_front();
    m_bytes -= event.data.size();
    return event;
}

} // namespace tracectl
