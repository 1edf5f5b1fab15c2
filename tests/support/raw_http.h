#pragma once

#include "support/process.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace common::log::test {

/// A client of a Unix socket that sends whatever bytes the test wants.
class RawClient
{
public:
    explicit RawClient(std::string const & path) : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        (void)path.copy(address.sun_path, sizeof address.sun_path - 1);
        bool const isDone = ::connect(m_socket, reinterpret_cast<sockaddr const *>(&address), sizeof address) == 0;
        m_error = isDone ? 0 : errno;
    }
    RawClient(RawClient && other) noexcept : m_socket(std::exchange(other.m_socket, -1)), m_error(other.m_error) {}
    RawClient & operator=(RawClient &&) = delete;
    ~RawClient() { (void)::close(m_socket); }

    int error() const { return m_error; } ///< of the connection
    int socket() const { return m_socket; }

    /// As far as the server takes it.
    void send(std::string_view text) const
    {
        while (!text.empty()) {
            ssize_t const sent = ::send(m_socket, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0) {
                return;
            }
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
    }
    /// Says that nothing more comes.
    void finish() const { (void)::shutdown(m_socket, SHUT_WR); }

    /// What one read gives; empty at the end, or where nothing comes for long.
    std::string next() const
    {
        pollfd request{m_socket, POLLIN, 0};
        constexpr int kMilliseconds = static_cast<int>(std::chrono::milliseconds(kLongWait).count());
        std::string text(1 << 17, '\0');
        ssize_t const size =
            ::poll(&request, 1, kMilliseconds) == 1 ? ::recv(m_socket, text.data(), text.size(), 0) : 0;
        text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return text;
    }
    /// All up to the end, or until a text was among it.
    std::string rest(std::string const & end = {}) const
    {
        std::string all = next();
        for (std::string part = all; !part.empty() && (end.empty() || all.find(end) == std::string::npos);
             all += part) {
            part = next();
        }
        return all;
    }

private:
    int m_socket;
    int m_error;
};

struct HttpAnswer
{
    int status = 0; ///< 0 for what is no answer
    std::string head;
    std::string body;
};

inline HttpAnswer parseAnswer(std::string const & text)
{
    std::size_t const end = text.find("\r\n\r\n");
    if (text.rfind("HTTP/1.", 0) != 0 || end == std::string::npos) {
        return {};
    }
    return {std::atoi(text.c_str() + 9), text.substr(0, end), text.substr(end + 4)};
}

/// One request on a connection of its own.
///
/// @param call  method and target
inline HttpAnswer callHttp(std::string const & path, std::string const & call, std::string const & body = {},
                           std::string const & headers = {})
{
    RawClient const client(path);
    client.send(call + " HTTP/1.0\r\n" + headers +
                (body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") + "\r\n" + body);
    return parseAnswer(client.rest());
}

} // namespace common::log::test
