#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace common::log::host {

/// Room for the next part of an answer. What does not fit is kept in a rest, for the next time.
class Output
{
public:
    Output(char * room, std::size_t size, std::string & rest) : m_room(room), m_size(size), m_rest(rest)
    {
        std::string kept;
        kept.swap(m_rest);
        add(kept);
    }

    void add(std::string_view text)
    {
        std::size_t const fitting = std::min(text.size(), m_size - m_used);
        (void)text.copy(m_room + m_used, fitting);
        m_used += fitting;
        m_rest.append(text.substr(fitting));
    }

    bool isFull() const { return m_used == m_size; }
    std::size_t used() const { return m_used; }

private:
    char * m_room;
    std::size_t m_size;
    std::size_t m_used = 0;
    std::string & m_rest;
};

/// An answer that is made while it is sent.
///
/// Threads  That of the door.
class Stream
{
public:
    enum class State
    {
        hasMore, ///< goes on as soon as there is room; nothing may have been added this time
        waits,   ///< nothing to be said now: `isReady` tells when
        ended
    };

    Stream() = default;
    Stream(Stream const &) = delete;
    Stream & operator=(Stream const &) = delete;
    virtual ~Stream() = default;

    /// Adds what there is, within a bounded time, and at most a little more than fits.
    virtual State fill(Output & output) = 0;

    /// Whether a stream that waits has something to say by now.
    virtual bool isReady() = 0;

    /// Nobody has taken anything for a while: what can be had again is given up.
    virtual void rest() {}

    virtual char const * type() const = 0;
    /// Whether it may well stay open without anybody taking anything.
    virtual bool isEndless() const { return false; }

    std::string & leftOver() { return m_leftOver; }

private:
    std::string m_leftOver;
};

} // namespace common::log::host
