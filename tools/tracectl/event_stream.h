#pragma once

#include "event_parser.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tracectl {

/// One connection to the events of a door, without a thread of its own: whoever has it receives and waits in turn.
///
/// Errors  Refusal for what the host refuses, Failure with Status::refused for an answer that is no event stream.
class EventStream
{
public:
    /// @param target       of the call, see docs/door.md
    /// @param lastEventId  behind which it goes on; empty for none
    EventStream(std::string const & socketPath, std::string const & target, std::string const & lastEventId);
    EventStream(EventStream const &) = delete;
    EventStream & operator=(EventStream const &) = delete;
    ~EventStream();

    /// Hands on what has come so far, without waiting.
    ///
    /// @return whether the connection goes on. It ends with the host, and where nothing came for too long: the first
    /// event within 5 s, later a sign of life within 45 s.
    bool receive(std::function<void(Event && event)> const & take);

    /// Waits until something came, or a descriptor is ready, or the time is over.
    ///
    /// @param readable, writable  descriptors; -1 for none
    void wait(int readable, int writable, std::chrono::milliseconds time);

private:
    struct Transfer;
    std::unique_ptr<Transfer> m_transfer;
};

} // namespace tracectl
