#include "output.h"

#include "failure.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <poll.h>
#include <system_error>
#include <unistd.h>

namespace tracectl {

namespace {

constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;

bool isColourWanted()
{
    char const * const refusal = std::getenv("NO_COLOR"); // NOLINT(concurrency-mt-unsafe): there are no other threads
    return refusal == nullptr || *refusal == '\0';
}

} // namespace

Output::Output(int descriptor)
    : m_descriptor(descriptor), m_isTerminal(::isatty(descriptor) == 1), m_isColoured(m_isTerminal && isColourWanted())
{}

void Output::write(std::string_view text)
{
    m_text.append(text);
    if (m_text.size() >= kPieceBytes) {
        flush();
    }
}

void Output::flush()
{
    while (!m_text.empty()) {
        pollfd waiting{m_descriptor, POLLOUT, 0}; // for a descriptor that somebody made non-blocking
        (void)::poll(&waiting, 1, -1);
        writeSome(m_text.size());
    }
}

void Output::writeWithoutWaiting()
{
    for (;;) {
        pollfd state{m_descriptor, static_cast<short>(m_text.empty() ? 0 : POLLOUT), 0};
        int const ready = ::poll(&state, 1, 0);
        if ((static_cast<unsigned>(state.revents) & static_cast<unsigned>(POLLERR | POLLNVAL)) != 0) {
            throw ReaderIsGone();
        }
        if (ready <= 0 || m_text.empty()) {
            return;
        }
        // A pipe that counts as writable has room for this much, so that the write does not block.
        writeSome(PIPE_BUF);
    }
}

void Output::writeSome(std::size_t most)
{
    ssize_t const written = ::write(m_descriptor, m_text.data(), std::min(most, m_text.size()));
    if (written < 0) {
        if (errno == EPIPE) {
            throw ReaderIsGone();
        }
        if (errno != EINTR && errno != EAGAIN) {
            throw Failure(Status::refused, "the output cannot be written: " + std::generic_category().message(errno));
        }
        return;
    }
    m_text.erase(0, static_cast<std::size_t>(written));
}

} // namespace tracectl
