#pragma once

#include <common/log/host/record_ring.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace common::log::benchmarks {

/// What the records go to.
class Stream
{
public:
    enum Kind
    {
        nullDevice,
        file,
        pipe,
        stalledPipe ///< whose reader takes nothing before the end
    };

    explicit Stream(Kind kind)
    {
        if (kind == nullDevice) {
            m_ends[1] = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        } else if (kind == file) {
            char name[] = "/tmp/stream_of_benchmark.XXXXXX";
            m_ends[1] = ::mkostemp(name, O_CLOEXEC);
            (void)::unlink(name);
        } else if (::pipe2(m_ends, O_CLOEXEC) == 0 && kind == pipe) {
            startReader();
        }
    }
    Stream(Stream const &) = delete;
    Stream & operator=(Stream const &) = delete;
    ~Stream()
    {
        (void)::close(m_ends[1]);
        if (m_reader.joinable()) {
            m_reader.join();
        }
        (void)::close(m_ends[0]);
    }

    int descriptor() const { return m_ends[1]; }
    void startReader()
    {
        if (m_ends[0] < 0 || m_reader.joinable()) {
            return;
        }
        m_reader = std::thread([descriptor = m_ends[0]] {
            std::vector<char> part(1 << 16);
            while (::read(descriptor, part.data(), part.size()) > 0) {
            }
        });
    }

private:
    int m_ends[2] = {-1, -1}; // reader, writer
    std::thread m_reader;
};

/// A ring of the usual size, gone with its file at the end.
class TemporaryRing
{
public:
    TemporaryRing() = default;
    TemporaryRing(TemporaryRing const &) = delete;
    TemporaryRing & operator=(TemporaryRing const &) = delete;
    ~TemporaryRing()
    {
        for (char const * const suffix : {"", ".lock"}) {
            (void)std::filesystem::remove(m_ring.path() + suffix);
        }
    }

    host::RecordSink sink()
    {
        return [this](host::TappedRecord const & record) { m_ring.add(record); };
    }

private:
    host::RecordRing m_ring{
        (std::filesystem::temp_directory_path() / ("ring_of_benchmark." + std::to_string(::getpid()))).string()};
};

} // namespace common::log::benchmarks
