#include "event_parser.h"

#include "failure.h"

#include <utility>

namespace tracectl {

void EventParser::feed(std::string_view text, std::function<void(Event && event)> const & take)
{
    for (auto end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        if (m_rest.empty()) {
            takeLine(text.substr(0, end), take);
        } else {
            m_rest.append(text.substr(0, end));
            takeLine(m_rest, take);
            m_rest.clear();
        }
        text.remove_prefix(end + 1);
    }
    m_rest.append(text);
    if (m_rest.size() + m_event.data.size() > kMostBytes) {
        throw Failure(Status::refused, "the host's answer cannot be used: an event of it has no end");
    }
}

void EventParser::takeLine(std::string_view line, std::function<void(Event && event)> const & take)
{
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    if (line.empty()) {
        if (m_hasData) {
            take(std::exchange(m_event, {}));
        }
        m_event = {};
        m_hasData = false;
        return;
    }
    auto const colon = line.find(':');
    std::string_view const name = line.substr(0, colon);
    std::string_view value = colon == std::string_view::npos ? std::string_view() : line.substr(colon + 1);
    if (!value.empty() && value.front() == ' ') {
        value.remove_prefix(1);
    }
    if (name == "data") {
        m_event.data.append(m_hasData ? "\n" : "").append(value);
        m_hasData = true;
    } else if (name == "event") {
        m_event.type = value;
    } else if (name == "id") {
        m_event.id = value;
    }
}

} // namespace tracectl
