#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace tracectl {

/// One event of an event stream.
struct Event
{
    std::string type; ///< empty where none is told
    std::string id;   ///< the same
    std::string data;
};

/// Takes an event stream apart, in whatever pieces it comes. Comments and fields that it does not know are passed over.
class EventParser
{
public:
    static constexpr std::size_t kMostBytes = std::size_t{16} * 1024 * 1024; ///< of one event

    /// @throws Failure  where an event is longer than any can be
    void feed(std::string_view text, std::function<void(Event && event)> const & take);

private:
    void takeLine(std::string_view line, std::function<void(Event && event)> const & take);

    std::string m_rest; ///< a line without its end
    Event m_event;
    bool m_hasData = false;
};

} // namespace tracectl
