#pragma once

#include "event_feed.h"
#include "listening_socket.h"
#include "routes.h"

#include "../quiet_thread.h"

#include <common/log/host/door.h>

#include <microhttpd.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace common::log::host {

/// The server behind the door: one daemon of libmicrohttpd, driven by a loop of one thread.
///
/// Threads  All but construction and destruction happen on the thread of the loop.
class Door::Server
{
public:
    Server(DoorOptions const & options, DoorHost host, NodeService & nodes, SwitchBoard & switches,
           RecordCensus const & census);
    Server(Server const &) = delete;
    Server & operator=(Server const &) = delete;
    ~Server();

private:
    using Clock = std::chrono::steady_clock;

    struct Incoming;
    struct Outgoing;

    void startDaemon(unsigned int idleSeconds);
    void loop();
    int timeoutMilliseconds(Clock::time_point now);
    void wakeStreams(Clock::time_point now);
    void endDaemon();

    MHD_Result handle(MHD_Connection * connection, char const * method, char const * part, std::size_t * size,
                      Incoming & incoming);
    MHD_Result take(Incoming & incoming, char const * part, std::size_t size);
    MHD_Result send(MHD_Connection * connection, Answer answer);
    MHD_Result send(MHD_Connection * connection, std::unique_ptr<Stream> stream);
    Reply replyTo(MHD_Connection * connection, char const * method, Incoming & incoming);
    ssize_t fill(Outgoing & outgoing, char * room, std::size_t size) const;
    std::vector<DoorFigure> figures() const;

    DoorHost m_host;
    EventFeed m_feed;
    RouteContext m_routes;
    ListeningSocket m_socket;
    unsigned int m_connectionLimit;
    MHD_Daemon * m_daemon = nullptr;
    int m_wakeup = -1; ///< an event that ends the loop
    std::list<Outgoing *> m_streams;
    std::size_t m_bodyBytes = 0; ///< of all requests that are being read
    std::uint64_t m_requests = 0;
    Clock::time_point m_nextLook{};
    bool m_isEnding = false;
    std::optional<QuietThread> m_thread;
};

} // namespace common::log::host
