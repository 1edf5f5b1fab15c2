#pragma once

#include "support/record.h"

#include <common/log/host/record_tap.h>
#include <common/log/send_log.h>

#include <cerrno>
#include <cstddef>
#include <ctime>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace common::log::host::test {

using common::log::test::parseRecord;
using common::log::test::splitLines;

/// Two connected descriptors. Each packet of a packet channel is one `write`.
class Channel
{
public:
    static Channel pipe(int flags = 0)
    {
        int ends[2] = {-1, -1};
        (void)::pipe2(ends, O_CLOEXEC | flags);
        return Channel(ends);
    }
    static Channel packets()
    {
        int ends[2] = {-1, -1};
        (void)::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends);
        return Channel(ends);
    }
    Channel(Channel && other) noexcept
        : m_reader(std::exchange(other.m_reader, -1)), m_writer(std::exchange(other.m_writer, -1))
    {}
    Channel & operator=(Channel &&) = delete;
    ~Channel()
    {
        closeReader();
        closeWriter();
    }

    int reader() const { return m_reader; }
    int writer() const { return m_writer; }
    void closeReader() { closeOnce(m_reader); }
    void closeWriter() { closeOnce(m_writer); }

    /// What one `read` gives: of packets, one. Empty at the end, and where nothing comes for 10 s.
    std::string next() const
    {
        pollfd request{m_reader, POLLIN, 0};
        if (::poll(&request, 1, 10000) != 1) {
            return {};
        }
        std::string text(1 << 17, '\0');
        ssize_t const size = ::read(m_reader, text.data(), text.size());
        text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return text;
    }
    /// All that was written, up to the closing of the writer.
    std::string rest()
    {
        closeWriter();
        std::string all;
        for (std::string part = next(); !part.empty(); part = next()) {
            all += part;
        }
        return all;
    }

private:
    explicit Channel(int const (&ends)[2]) : m_reader(ends[0]), m_writer(ends[1])
    {
        if (m_writer < 0) {
            throw std::runtime_error("no channel");
        }
    }
    static void closeOnce(int & descriptor)
    {
        if (descriptor >= 0) {
            (void)::close(std::exchange(descriptor, -1));
        }
    }

    int m_reader;
    int m_writer;
};

/// Keeps what a sink is given.
class Collector
{
public:
    struct Entry
    {
        std::uint64_t number;
        std::string text;
        RecordEnd end;
    };

    RecordSink sink()
    {
        return [this](TappedRecord const & record) {
            std::lock_guard<std::mutex> const lock(m_mutex);
            m_entries.push_back({record.number, std::string(record.text), record.end});
        };
    }
    std::vector<Entry> entries() const
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        return m_entries;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<Entry> m_entries;
};

/// A record of the library with this message.
inline void sendRecord(std::string const & message, char const * unitName = "axis.control")
{
    (void)sendLogNoVaList("velmont_trace", static_cast<PriorityType>(6), timespec{1709806530, 0}, "", "080A0112",
                          "Trace message", "", "", "axis", "snap", unitName, "axis.cpp", "run", "12", message.c_str());
}

} // namespace common::log::host::test
