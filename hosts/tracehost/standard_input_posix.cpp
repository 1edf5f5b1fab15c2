#include "standard_input.h"

#include <array>
#include <cerrno>
#include <cstdint>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tracehost {

struct StandardInput::WakeUp
{
    Descriptor event{::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)};
};

StandardInput::StandardInput() : m_wakeUp(std::make_unique<WakeUp>())
{
    if (!m_wakeUp->event.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

StandardInput::~StandardInput() = default;

void StandardInput::wakeUp() const
{
    std::uint64_t const one = 1;
    // Fails only where it is awake.
    [[maybe_unused]] ssize_t const size = ::write(m_wakeUp->event.number(), &one, sizeof one);
}

bool StandardInput::wait(bool isWanted, std::optional<std::chrono::milliseconds> limit)
{
    std::array<pollfd, 2> waiting{{{m_wakeUp->event.number(), POLLIN, 0}, {isWanted ? STDIN_FILENO : -1, POLLIN, 0}}};
    bool const isReady = ::poll(waiting.data(), waiting.size(), limit ? static_cast<int>(limit->count()) : -1) > 0;
    if (isReady && waiting[0].revents != 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] ssize_t const size = ::read(m_wakeUp->event.number(), &count, sizeof count);
    }
    return isReady && waiting[1].revents != 0;
}

std::error_code StandardInput::read(char * buffer, std::size_t size, std::size_t & bytes)
{
    ssize_t const read = ::read(STDIN_FILENO, buffer, size);
    bytes = read > 0 ? static_cast<std::size_t>(read) : 0;
    if (read >= 0) {
        return {};
    }
    return {errno == EINTR ? EAGAIN : errno, std::generic_category()};
}

std::size_t StandardInput::bytesOnTheirWay() const
{
    int waiting = 0;
    struct stat status
    {
    };
    bool const isStream = ::fstat(STDIN_FILENO, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
    return isStream && ::ioctl(STDIN_FILENO, FIONREAD, &waiting) == 0 ? static_cast<std::size_t>(waiting) : 0;
}

} // namespace tracehost
