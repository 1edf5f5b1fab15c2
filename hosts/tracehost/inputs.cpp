#include "inputs.h"

#include "input_line.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

namespace tracehost {

using namespace common::log::trace;

constexpr char const * kTraceComponent = "input";

namespace {

constexpr std::chrono::milliseconds kLookInterval(100);

/// What is read of standard input at a time.
constexpr std::size_t kChunkBytes = 65'536;

} // namespace

Inputs::Inputs() : m_wakeUp(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    if (!m_wakeUp.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

Inputs::~Inputs() { stop(); }

void Inputs::addStandardInput(CountedLog & unit)
{
    m_standardInput.emplace_back(unit);
    m_isStandardInputOpen = true;
}

void Inputs::addFile(std::string const & path, CountedLog & unit) { m_files.emplace_back(path, unit); }

void Inputs::start()
{
    if (m_isStandardInputOpen || !m_files.empty()) {
        m_thread.start([this] { run(); });
    }
}

void Inputs::reopenFiles()
{
    m_isReopening = true;
    wakeUp();
}

void Inputs::stop()
{
    m_isStopping = true;
    wakeUp();
}

void Inputs::wakeUp() const
{
    std::uint64_t const one = 1;
    [[maybe_unused]] ssize_t const size = ::write(m_wakeUp.number(), &one, sizeof one); // fails only where it is awake
}

std::vector<Inputs::LineCount> Inputs::lines() const
{
    std::vector<LineCount> counts;
    for (Source const & source : m_standardInput) {
        counts.push_back({source.unitName, source.lines});
    }
    for (File const & file : m_files) {
        counts.push_back({file.source.unitName, file.source.lines});
    }
    return counts;
}

void Inputs::run()
{
    auto nextLook = std::chrono::steady_clock::now();
    bool hasMore = false;
    while (!m_isStopping) {
        waitForInput(hasMore ? 0 : m_files.empty() ? -1 : static_cast<int>(kLookInterval.count()));
        if (m_isReopening.exchange(false)) {
            for (File & file : m_files) {
                file.follower.reopen(tracerOf(file.source));
            }
        }
        if (m_isStandardInputReady) {
            readStandardInput();
        }
        if (auto const now = std::chrono::steady_clock::now(); hasMore || now >= nextLook) {
            hasMore = lookAtFiles();
            nextLook = now + kLookInterval;
        }
    }
    finishStandardInput();
    for (File & file : m_files) {
        file.follower.finish(tracerOf(file.source));
    }
}

void Inputs::waitForInput(int timeoutMilliseconds)
{
    std::array<pollfd, 2> waiting{
        {{m_wakeUp.number(), POLLIN, 0}, {m_isStandardInputOpen ? STDIN_FILENO : -1, POLLIN, 0}}};
    bool const isReady = ::poll(waiting.data(), waiting.size(), timeoutMilliseconds) > 0;
    m_isStandardInputReady = isReady && waiting[1].revents != 0;
    if (isReady && waiting[0].revents != 0) {
        std::uint64_t count = 0;
        [[maybe_unused]] ssize_t const size = ::read(m_wakeUp.number(), &count, sizeof count);
    }
}

void Inputs::readStandardInput()
{
    std::array<char, kChunkBytes> buffer;
    ssize_t const size = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (size > 0) {
        m_splitter.feed(std::string_view(buffer.data(), static_cast<std::size_t>(size)),
                        tracerOf(m_standardInput.front()));
        return;
    }
    if (size < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    int const error = errno;
    m_isStandardInputOpen = false;
    m_splitter.finish(tracerOf(m_standardInput.front()));
    if (size < 0) {
        COMMON_LOG_ERROR(m_standardInput.front().unit, "Cannot read standard input: %s",
                         std::generic_category().message(error).c_str());
    }
}

/// What a pipe or a socket holds was sent before the stop and is still read. A file or a device is not: it may have no
/// end.
void Inputs::finishStandardInput()
{
    int waiting = 0;
    struct stat status
    {
    };
    bool const isStream = ::fstat(STDIN_FILENO, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
    if (m_isStandardInputOpen && isStream && ::ioctl(STDIN_FILENO, FIONREAD, &waiting) == 0) {
        for (int read = 0; read < waiting && m_isStandardInputOpen; read += static_cast<int>(kChunkBytes)) {
            waitForInput(0);
            if (m_isStandardInputReady) {
                readStandardInput();
            }
        }
    }
    if (m_isStandardInputOpen) {
        m_splitter.finish(tracerOf(m_standardInput.front()));
    }
}

bool Inputs::lookAtFiles()
{
    bool hasMore = false;
    for (File & file : m_files) {
        hasMore = file.follower.look(tracerOf(file.source)) || hasMore;
        traceProblem(file);
    }
    return hasMore;
}

LineFunction Inputs::tracerOf(Source & source)
{
    return [this, &source](std::string const & line) { traceLine(source, line); };
}

void Inputs::traceLine(Source & source, std::string const & line)
{
    source.lines.fetch_add(1, std::memory_order_relaxed);
    InputLine const parsed = parseInputLine(line);
    switch (parsed.severity) {
    case CLASS_ERROR:
        COMMON_LOG_ERROR(source.unit, "%s", parsed.text);
        break;
    case CLASS_WARNING:
        COMMON_LOG_WARNING(source.unit, "%s", parsed.text);
        break;
    default:
        COMMON_LOG_MESSAGE(source.unit, "%s", parsed.text);
    }
}

void Inputs::traceProblem(File & file)
{
    if (auto const problem = file.follower.takeProblem()) {
        COMMON_LOG_WARNING(file.source.unit, "Cannot read %s: %s", file.follower.path().c_str(), problem->c_str());
    }
}

} // namespace tracehost
