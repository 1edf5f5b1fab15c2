#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace common::log::host::test {

/// Two connected descriptors. Each packet of a packet channel is one `write`.
class Channel
{
public:
    static Channel pipe(int flags = 0); ///< those of the system
    static Channel packets();
    Channel(Channel && other) noexcept { std::swap(m_ends, other.m_ends); }
    Channel & operator=(Channel &&) = delete;
    ~Channel()
    {
        closeReader();
        closeWriter();
    }

    int writer() const { return m_ends[1]; }
    void closeReader() { close(m_ends[0]); }
    void closeWriter() { close(m_ends[1]); }

    /// What one `read` gives: of packets, one. Empty at the end, and where nothing comes for 10 s.
    std::string next(std::size_t most = 1 << 17) const;
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
    static void close(int & descriptor);

    int m_ends[2] = {-1, -1}; ///< reader, writer
};

} // namespace common::log::host::test
