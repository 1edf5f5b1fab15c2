#include "descriptor.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tracehost {

Descriptor & Descriptor::operator=(Descriptor && other) noexcept
{
    if (this != &other) {
        if (isOpen()) {
            (void)::close(m_number);
        }
        m_number = other.release();
    }
    return *this;
}

Descriptor::~Descriptor()
{
    if (isOpen()) {
        (void)::close(m_number);
    }
}

int Descriptor::release()
{
    int const number = m_number;
    m_number = -1;
    return number;
}

void reserveStandardDescriptors()
{
    // The lowest free number is given out first. Behind the last of the three, the one too many is closed again.
    int opened = 0;
    while (opened >= 0 && opened <= STDERR_FILENO) {
        opened = ::open("/dev/null", O_RDONLY);
    }
    if (opened >= 0) {
        (void)::close(opened);
    }
}

void raiseDescriptorLimit()
{
    constexpr rlim_t kEnough = 4096;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < kEnough) {
        limit.rlim_cur = std::min(limit.rlim_max, kEnough);
        (void)::setrlimit(RLIMIT_NOFILE, &limit); // with fewer, the door serves fewer clients at once
    }
}

bool writeWithin(int descriptor, std::string_view text, std::chrono::milliseconds limit)
{
    auto const end = std::chrono::steady_clock::now() + limit;
    while (!text.empty()) {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
        if (left <= 0) {
            return false;
        }
        pollfd waiting{descriptor, POLLOUT, 0};
        int const ready = ::poll(&waiting, 1, static_cast<int>(left));
        // A pipe that counts as writable has room for this much, so that the write does not block.
        std::size_t const piece = std::min<std::size_t>(text.size(), PIPE_BUF);
        ssize_t const written = ready > 0 ? ::write(descriptor, text.data(), piece) : ready;
        if (written < 0 && errno != EINTR && errno != EAGAIN) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return true;
}

bool isListenedTo(std::string const & socketPath)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.copy(address.sun_path, sizeof address.sun_path - 1) != socketPath.size()) {
        return false;
    }
    Descriptor const probe(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return ::connect(probe.number(), reinterpret_cast<sockaddr const *>(&address), sizeof address) == 0 ||
           errno == EAGAIN; // so many wait for it that it has no room
}

} // namespace tracehost
