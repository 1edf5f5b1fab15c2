#include "channel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace common::log::host::test {

Channel Channel::pipe(int flags)
{
    Channel channel;
    (void)::pipe2(channel.m_ends, O_CLOEXEC | flags);
    return channel;
}

Channel Channel::packets()
{
    Channel channel;
    (void)::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, channel.m_ends);
    return channel;
}

void Channel::close(int & descriptor) { (void)::close(std::exchange(descriptor, -1)); }

std::string Channel::next(std::size_t most) const
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

} // namespace common::log::host::test
