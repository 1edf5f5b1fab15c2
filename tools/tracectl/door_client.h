#pragma once

#include "failure.h"

#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tracectl {

using Json = nlohmann::ordered_json;

/// What the host said no to.
class Refusal : public Failure
{
public:
    /// @param status  of HTTP
    /// @param body    whatever came with it
    Refusal(long status, std::string const & body);

    std::string const & code() const { return m_code; }
    /// What was wrong, as the host tells it: a text, or the switches that hinder a save.
    Json const & details() const { return m_details; }

private:
    std::string m_code;
    Json m_details;
};

/// Calls of docs/door.md, one after the other over one connection.
///
/// Errors  By exceptions: Refusal for what the host refuses; Failure where there is no host (Status::noHost), where an
///         answer is cut, too long, no JSON or does not come within 5 s (Status::refused). Nothing of an answer is
///         believed beyond that it is JSON.
class DoorClient
{
public:
    explicit DoorClient(std::string socketPath);
    DoorClient(DoorClient const &) = delete;
    DoorClient & operator=(DoorClient const &) = delete;
    ~DoorClient();

    std::string const & socketPath() const { return m_socketPath; }

    /// @param target  path and query, percent-encoded
    Json get(std::string const & target) { return call("GET", target); }
    Json put(std::string const & target, std::string const & body) { return call("PUT", target, body); }
    Json post(std::string const & target) { return call("POST", target); }
    Json remove(std::string const & target) { return call("DELETE", target); }

    /// Hands on the lines of an answer as they come, without their ends. It may take as long as it goes on.
    void getLines(std::string const & target, std::function<void(std::string_view line)> const & take);

private:
    struct Connection;

    Json call(char const * method, std::string const & target, std::string const & body = {});
    void perform(char const * method, std::string const & target, std::string const & body);

    std::string m_socketPath;
    std::unique_ptr<Connection> m_connection;
};

/// One value of a query or one segment of a path.
std::string percentEncoded(std::string_view text);

/// "/nodes/" and the address, its segments encoded.
std::string nodeTarget(std::string const & address);

} // namespace tracectl
