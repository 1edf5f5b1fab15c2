#include "door_server.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace common::log::host {

namespace {

constexpr unsigned int kMostConnections = 1100;
/// Left for the host itself, and for calls while as many readers of events are there as may be.
constexpr unsigned int kDescriptorsOfHost = 128;
constexpr unsigned int kConnectionsForCalls = 64;
constexpr unsigned int kLeastConnections = 128;
constexpr std::size_t kConnectionMemory = std::size_t{16} * 1024;
constexpr std::size_t kBlock = std::size_t{16} * 1024;
constexpr std::size_t kMostBodyBytes = std::size_t{8} * 1024 * 1024;
constexpr std::chrono::milliseconds kPauseOfLooks(50);
constexpr std::chrono::seconds kStall(1);

unsigned int connectionLimit()
{
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0 || files.rlim_cur > kMostConnections + kDescriptorsOfHost) {
        return kMostConnections;
    }
    auto const open = static_cast<unsigned int>(files.rlim_cur);
    return std::max(open, kLeastConnections + kDescriptorsOfHost) - kDescriptorsOfHost;
}

std::optional<std::string> header(MHD_Connection * connection, char const * name)
{
    char const * const value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

Refusal tooLarge(std::string const & detail)
{
    return {413, "too_large", "The body is larger than " + std::to_string(kLimitOfBody) + " bytes.", detail};
}

MHD_Result queue(MHD_Connection * connection, unsigned int status, MHD_Response * response, char const * type,
                 std::string const & allow = {})
{
    if (response == nullptr) {
        return MHD_NO;
    }
    (void)MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
    if (status != MHD_HTTP_NO_CONTENT) {
        (void)MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, type);
    }
    if (!allow.empty()) {
        (void)MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, allow.c_str());
    }
    MHD_Result const result = MHD_queue_response(connection, status, response);
    MHD_destroy_response(response); // this side's share of it
    return result;
}

} // namespace

/// A request while it is read.
struct Door::Server::Incoming
{
    Server & server;
    std::string target;
    std::string body{};
    bool isSeen = false; ///< its head was looked at
    bool isRefused = false;
};

/// A stream while it is sent.
struct Door::Server::Outgoing
{
    Server & server;
    MHD_Connection * connection;
    std::unique_ptr<Stream> stream;
    std::list<Outgoing *>::iterator place{};
    Stream::State state = Stream::State::hasMore;
    bool isSuspended = false;
    Clock::time_point lastFilled{};
};

Door::Server::Server(DoorOptions const & options, DoorHost host, NodeService & nodes, SwitchBoard & switches,
                     RecordCensus const & census)
    : m_host(std::move(host)), m_feed(options.ringPath),
      m_routes{m_host, nodes, switches, census, m_feed, [this] { return figures(); }, std::chrono::system_clock::now()},
      m_socket(options.socketPath, kMostConnections), m_connectionLimit(connectionLimit())
{
    m_wakeup = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (m_wakeup < 0) {
        throw std::runtime_error("The door cannot be opened: the system refuses an event");
    }
    try {
        startDaemon(options.idleSeconds);
        m_thread.emplace("door", [this] { loop(); });
    } catch (...) {
        if (m_daemon != nullptr) {
            MHD_stop_daemon(m_daemon);
        }
        (void)::close(m_wakeup);
        throw;
    }
}

Door::Server::~Server()
{
    (void)::eventfd_write(m_wakeup, 1);
    m_thread.reset();
    (void)::close(m_wakeup);
}

void Door::Server::startDaemon(unsigned int idleSeconds)
{
    // Of the library's callbacks, none lets an exception out: it is written in C.
    MHD_AccessHandlerCallback const handler = [](void *, MHD_Connection * connection, char const *, char const * method,
                                                 char const *, char const * part, std::size_t * size, void ** request) {
        auto * const incoming = static_cast<Incoming *>(*request);
        try {
            return incoming != nullptr ? incoming->server.handle(connection, method, part, size, *incoming) : MHD_NO;
        } catch (std::exception const &) { // without memory even for an error
            return MHD_NO;
        }
    };
    // The target as it came: its percent signs are read here, and not by the library, which forgives too much.
    auto * const keepTarget = +[](void * server, char const * target, MHD_Connection *) -> void * {
        try {
            return new Incoming{*static_cast<Server *>(server), target};
        } catch (std::exception const &) {
            return nullptr;
        }
    };
    auto * const leaveAlone = +[](void *, MHD_Connection *, char * text) { return std::strlen(text); };
    auto * const forget = +[](void *, MHD_Connection *, void ** request, MHD_RequestTerminationCode) {
        std::unique_ptr<Incoming> const incoming(static_cast<Incoming *>(std::exchange(*request, nullptr)));
        if (incoming != nullptr) {
            incoming->server.m_bodyBytes -= incoming->body.size();
        }
    };
    std::array<MHD_OptionItem, 9> options{{
        {MHD_OPTION_LISTEN_SOCKET, 0, nullptr},
        {MHD_OPTION_CONNECTION_LIMIT, static_cast<std::intptr_t>(m_connectionLimit), nullptr},
        {MHD_OPTION_CONNECTION_MEMORY_LIMIT, static_cast<std::intptr_t>(kConnectionMemory), nullptr},
        {MHD_OPTION_CONNECTION_TIMEOUT, static_cast<std::intptr_t>(idleSeconds), nullptr},
        {MHD_OPTION_STRICT_FOR_CLIENT, 1, nullptr},
        {MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1, nullptr}, // blocked on the thread of the loop
        {MHD_OPTION_NOTIFY_COMPLETED, reinterpret_cast<std::intptr_t>(forget), this},
        {MHD_OPTION_URI_LOG_CALLBACK, reinterpret_cast<std::intptr_t>(keepTarget), this},
        {MHD_OPTION_END, 0, nullptr},
    }};
    int const listening = m_socket.release();
    options[0].value = listening;
    m_daemon = MHD_start_daemon(MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, handler, nullptr,
                                MHD_OPTION_ARRAY, options.data(), MHD_OPTION_UNESCAPE_CALLBACK, leaveAlone, nullptr,
                                MHD_OPTION_END);
    if (m_daemon == nullptr) {
        (void)::close(listening);
        throw std::runtime_error("The door cannot be opened: the server does not start");
    }
}

void Door::Server::loop()
{
    int const events = MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
    std::array<pollfd, 2> waited{{{events, POLLIN, 0}, {m_wakeup, POLLIN, 0}}};
    while (waited[1].revents == 0) {
        (void)::poll(waited.data(), waited.size(), timeoutMilliseconds(Clock::now()));
        wakeStreams(Clock::now());
        (void)MHD_run(m_daemon);
    }
    endDaemon();
}

int Door::Server::timeoutMilliseconds(Clock::time_point now)
{
    MHD_UNSIGNED_LONG_LONG ofDaemon = 0;
    bool const isBounded = MHD_get_timeout(m_daemon, &ofDaemon) == MHD_YES;
    constexpr int kLongest = 60'000;
    int timeout = isBounded ? static_cast<int>(std::min<MHD_UNSIGNED_LONG_LONG>(ofDaemon, kLongest)) : -1;
    if (m_streams.empty()) {
        return timeout;
    }
    bool const hasWork = std::any_of(m_streams.begin(), m_streams.end(), [](Outgoing const * outgoing) {
        return outgoing->isSuspended && outgoing->state == Stream::State::hasMore;
    });
    auto const pause = std::chrono::ceil<std::chrono::milliseconds>(m_nextLook - now);
    int const left = hasWork ? 0 : static_cast<int>(std::clamp<std::int64_t>(pause.count(), 0, kPauseOfLooks.count()));
    return timeout < 0 ? left : std::min(timeout, left);
}

void Door::Server::wakeStreams(Clock::time_point now)
{
    bool const isLooking = now >= m_nextLook && !m_streams.empty();
    if (isLooking) {
        m_feed.update();
        m_nextLook = now + kPauseOfLooks;
    }
    for (Outgoing * const outgoing : m_streams) {
        if (!outgoing->isSuspended) {
            if (isLooking && now - outgoing->lastFilled > kStall) {
                outgoing->stream->rest();
            }
            continue;
        }
        if (outgoing->state == Stream::State::hasMore || (isLooking && outgoing->stream->isReady())) {
            outgoing->isSuspended = false;
            MHD_resume_connection(outgoing->connection);
        }
    }
}

void Door::Server::endDaemon()
{
    m_isEnding = true;
    for (Outgoing * const outgoing : m_streams) {
        if (std::exchange(outgoing->isSuspended, false)) {
            MHD_resume_connection(outgoing->connection);
        }
    }
    MHD_stop_daemon(m_daemon);
}

MHD_Result Door::Server::handle(MHD_Connection * connection, char const * method, char const * part, std::size_t * size,
                                Incoming & incoming)
{
    if (!std::exchange(incoming.isSeen, true)) {
        ++m_requests;
        // At once, so that nobody sends a body for nothing.
        std::optional<std::string> const announced = header(connection, MHD_HTTP_HEADER_CONTENT_LENGTH);
        if (announced && (announced->size() > 9 || std::stoul("0" + *announced) > kLimitOfBody)) {
            return send(connection, tooLarge(*announced).answer());
        }
        return MHD_YES;
    }
    if (*size != 0) {
        return take(incoming, part, std::exchange(*size, 0));
    }
    Reply reply = replyTo(connection, method, incoming);
    if (auto * const stream = std::get_if<std::unique_ptr<Stream>>(&reply)) {
        return send(connection, std::move(*stream));
    }
    return send(connection, std::get<Answer>(std::move(reply)));
}

MHD_Result Door::Server::take(Incoming & incoming, char const * part, std::size_t size)
{
    if (incoming.body.size() + size > kLimitOfBody) {
        return MHD_NO; // nobody had announced it, and there may be no end to it
    }
    // What all of them send at once is bounded as well.
    incoming.isRefused = incoming.isRefused || m_bodyBytes + size > kMostBodyBytes;
    if (!incoming.isRefused) {
        (void)incoming.body.append(part, size);
        m_bodyBytes += size;
    }
    return MHD_YES;
}

Reply Door::Server::replyTo(MHD_Connection * connection, char const * method, Incoming & incoming)
{
    try {
        if (incoming.isRefused) {
            throw Refusal(503, "busy", "Too many large requests are being read.");
        }
        Request request;
        request.method = method;
        readTarget(incoming.target, request);
        request.body = incoming.body;
        request.lastEventId = header(connection, "Last-Event-ID");
        request.socket = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
        return answerRequest(m_routes, request);
    } catch (Refusal const & refusal) {
        return refusal.answer();
    } catch (std::bad_alloc const &) {
        throw;
    } catch (std::exception const & exception) {
        return Refusal(500, "failed", "The call failed within the host.", exception.what()).answer();
    } catch (...) {
        return Refusal(500, "failed", "The call failed within the host.", "unknown").answer();
    }
}

MHD_Result Door::Server::send(MHD_Connection * connection, Answer answer)
{
    MHD_Response * const response =
        MHD_create_response_from_buffer(answer.body.size(), answer.body.data(), MHD_RESPMEM_MUST_COPY);
    return queue(connection, answer.status, response, answer.type, answer.allow);
}

MHD_Result Door::Server::send(MHD_Connection * connection, std::unique_ptr<Stream> stream)
{
    if (m_streams.size() + kConnectionsForCalls >= m_connectionLimit) {
        return send(connection, Refusal(503, "busy", "There are too many readers.").answer());
    }
    char const * const type = stream->type();
    auto outgoing = std::make_unique<Outgoing>(Outgoing{*this, connection, std::move(stream)});
    outgoing->lastFilled = Clock::now();
    auto * const fillRoom = +[](void * context, std::uint64_t, char * room, std::size_t size) -> ssize_t {
        auto & one = *static_cast<Outgoing *>(context);
        try {
            return one.server.fill(one, room, size);
        } catch (std::exception const &) {
            return MHD_CONTENT_READER_END_WITH_ERROR;
        }
    };
    auto * const forget = +[](void * context) {
        std::unique_ptr<Outgoing> const one(static_cast<Outgoing *>(context));
        (void)one->server.m_streams.erase(one->place);
    };
    m_streams.push_back(outgoing.get());
    outgoing->place = std::prev(m_streams.end());
    MHD_Response * const response =
        MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kBlock, fillRoom, outgoing.get(), forget);
    if (response == nullptr) {
        m_streams.pop_back();
        return MHD_NO;
    }
    // From here on it is the response's, which forgets it with its last share.
    Outgoing const & sent = *outgoing.release();
    if (sent.stream->isEndless()) {
        (void)MHD_set_connection_option(connection, MHD_CONNECTION_OPTION_TIMEOUT, 0U);
    }
    return queue(connection, MHD_HTTP_OK, response, type);
}

ssize_t Door::Server::fill(Outgoing & outgoing, char * room, std::size_t size) const
{
    if (m_isEnding) {
        return MHD_CONTENT_READER_END_OF_STREAM;
    }
    Output output(room, size, outgoing.stream->leftOver());
    outgoing.lastFilled = Clock::now();
    outgoing.state = output.isFull() ? Stream::State::hasMore : outgoing.stream->fill(output);
    if (output.used() != 0) {
        return static_cast<ssize_t>(output.used());
    }
    if (outgoing.state == Stream::State::ended) {
        return MHD_CONTENT_READER_END_OF_STREAM;
    }
    outgoing.isSuspended = true;
    MHD_suspend_connection(outgoing.connection);
    return 0;
}

std::vector<DoorFigure> Door::Server::figures() const
{
    std::uint64_t const connections =
        MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_CURRENT_CONNECTIONS)->num_connections;
    return {{"door_connections", "Connections to the door.", "", connections},
            {"door_streams", "Answers that are being made while they are sent, readers of events above all.", "",
             m_streams.size()},
            {"door_requests_total", "Requests since the start.", "", m_requests}};
}

// --- Door

DoorIsTaken::DoorIsTaken(std::string const & socketPath, std::int64_t processId)
    : std::runtime_error("already runs, process " + (processId != 0 ? std::to_string(processId) : "unknown") +
                         ", which listens on " + socketPath)
{}

Door::Door(DoorOptions const & options, DoorHost host, NodeService & nodes, SwitchBoard & switches,
           RecordCensus const & census)
    : m_server(std::make_unique<Server>(options, std::move(host), nodes, switches, census))
{}

Door::~Door() = default;

} // namespace common::log::host
