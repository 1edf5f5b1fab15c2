#pragma once

#include "support/record.h"

#include <common/log/host/record_tap.h>
#include <common/log/send_log.h>

#include <gmock/gmock.h>

#include <chrono>
#include <cstddef>
#include <ctime>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
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
        Channel channel;
        (void)::pipe2(channel.m_ends, O_CLOEXEC | flags);
        return channel;
    }
    static Channel packets()
    {
        Channel channel;
        (void)::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel.m_ends);
        return channel;
    }
    Channel(Channel && other) noexcept { std::swap(m_ends, other.m_ends); }
    Channel & operator=(Channel &&) = delete;
    ~Channel()
    {
        closeReader();
        closeWriter();
    }

    int writer() const { return m_ends[1]; }
    void closeReader() { (void)::close(std::exchange(m_ends[0], -1)); }
    void closeWriter() { (void)::close(std::exchange(m_ends[1], -1)); }

    /// What one `read` gives: of packets, one. Empty at the end, and where nothing comes for 10 s.
    std::string next(std::size_t most = 1 << 17) const
    {
        pollfd request{m_ends[0], POLLIN, 0};
        if (::poll(&request, 1, 10000) != 1) {
            return {};
        }
        std::string text(most, '\0');
        ssize_t const size = ::read(m_ends[0], text.data(), text.size());
        text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return text;
    }
    /// All that comes until it holds a text, or ends.
    std::string nextUpTo(std::string const & end) const
    {
        std::string all = next();
        for (std::string part = all; !part.empty() && all.find(end) == std::string::npos; all += part) {
            part = next();
        }
        return all;
    }
    /// All that was written, up to the closing of the writer.
    std::string rest()
    {
        closeWriter();
        return nextUpTo("neither this text");
    }

private:
    Channel() = default;

    int m_ends[2] = {-1, -1}; ///< reader, writer
};

/// Keeps what a sink is told of the records' ends; their numbers have to count from 1.
class Collector
{
public:
    RecordSink sink()
    {
        return [this](TappedRecord const & record) {
            std::lock_guard<std::mutex> const lock(m_mutex);
            m_ends.push_back(record.end);
            EXPECT_EQ(record.number, m_ends.size());
        };
    }
    std::vector<RecordEnd> ends() const
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        return m_ends;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<RecordEnd> m_ends;
};

/// Both ways in which a tap brings records to its descriptor: with the period of the batches.
class RecordTapModes : public testing::TestWithParam<std::chrono::milliseconds>
{
protected:
    static RecordTapOptions options(int descriptor, std::vector<RecordSink> sinks = {},
                                    std::chrono::milliseconds patience = std::chrono::milliseconds(100))
    {
        return {descriptor, std::move(sinks), 65536, patience, GetParam()};
    }
};
inline std::string modeName(testing::TestParamInfo<std::chrono::milliseconds> const & info)
{
    return info.param.count() == 0 ? "Direct" : "Batches";
}
inline auto const kModes = testing::Values(std::chrono::milliseconds(0), std::chrono::milliseconds(2));

/// Waits until all that came is written or lost.
inline RecordTapAccount settled(RecordTap const & tap)
{
    RecordTapAccount account = tap.account();
    while (account.records != account.written + account.lostAltogether()) {
        std::this_thread::yield();
        account = tap.account();
    }
    return account;
}

/// A record of the library with this message.
inline void sendRecord(std::string const & message)
{
    (void)sendLogNoVaList("velmont_trace", static_cast<PriorityType>(6), timespec{1709806530, 0}, "", "080A0112",
                          "Trace message", "", "", "axis", "snap", "axis.control", "axis.cpp", "run", "12",
                          message.c_str());
}

} // namespace common::log::host::test
