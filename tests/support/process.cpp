#include "support/process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace common::log::test {

namespace {

/// How soon a change of the reader takes effect.
constexpr int kGatherIntervalMilliseconds = 10;

/// What a pipe may have left that takes no further record.
constexpr int kFullMargin = 4096;

struct Pipe
{
    Pipe()
    {
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe2");
        }
    }
    int ends[2];
};

void closeOnce(int & descriptor)
{
    if (descriptor >= 0) {
        (void)::close(descriptor);
        descriptor = -1;
    }
}

} // namespace

Process::Process(std::vector<std::string> const & arguments, int standardInput)
{
    // The child must not take a signal disposition of the test along, and this process must survive a child that does
    // not read.
    (void)std::signal(SIGPIPE, SIG_IGN);
    std::vector<char *> argumentPointers;
    for (std::string const & argument : arguments) {
        argumentPointers.push_back(const_cast<char *>(argument.c_str()));
    }
    argumentPointers.push_back(nullptr);
    Pipe input;
    Pipe const output;
    Pipe const errors;
    m_child = ::fork();
    if (m_child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (m_child == 0) {
        (void)::dup2(standardInput >= 0 ? standardInput : input.ends[0], STDIN_FILENO);
        (void)::dup2(output.ends[1], STDOUT_FILENO);
        (void)::dup2(errors.ends[1], STDERR_FILENO);
        (void)std::signal(SIGPIPE, SIG_DFL);
        (void)::execvp(argumentPointers[0], argumentPointers.data());
        ::_exit(127);
    }
    closeOnce(input.ends[0]);
    (void)::close(output.ends[1]);
    (void)::close(errors.ends[1]);
    m_input = input.ends[1];
    m_streams[0] = output.ends[0];
    m_streams[1] = errors.ends[0];
    m_gatherer = std::thread([this] { gather(); });
}

Process::~Process()
{
    if (m_child > 0) {
        send(SIGKILL);
        reap();
    }
}

void Process::write(std::string_view text) const
{
    while (!text.empty()) {
        ssize_t const written = ::write(m_input, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "write to the child");
        }
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
}

void Process::closeInput() { closeOnce(m_input); }

void Process::send(int signal) const { (void)::kill(m_child, signal); }

void Process::setErrorReader(Reader reader)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_errorReader = reader;
    if (reader == Reader::closes) {
        m_hasChanged.wait(lock, [this] { return m_streams[1] < 0; });
    }
}

bool Process::waitUntilErrorsAreStalled()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_hasChanged.wait_for(lock, kLongWait, [this] { return m_isErrorPipeFull; });
}

std::string Process::output() const
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    return m_texts[0];
}

std::string Process::errors() const
{
    std::lock_guard<std::mutex> const lock(m_mutex);
    return m_texts[1];
}

bool Process::waitForErrors(std::function<bool(std::string const &)> const & condition)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_hasChanged.wait_for(lock, kLongWait, [&] { return condition(m_texts[1]); });
}

bool Process::waitForErrors(std::string const & text)
{
    return waitForErrors([&](std::string const & errors) { return errors.find(text) != std::string::npos; });
}

int Process::wait()
{
    if (m_child > 0) {
        // Not by the function of that name, whose declaration has C++ linkage in some versions of the C library.
        int const handle = static_cast<int>(::syscall(SYS_pidfd_open, m_child, 0));
        pollfd ended{handle, POLLIN, 0};
        bool const hasEnded = ::poll(&ended, 1, static_cast<int>(std::chrono::milliseconds(kLongWait).count())) > 0;
        (void)::close(handle);
        if (!hasEnded) {
            send(SIGKILL);
        }
        reap();
        m_status = hasEnded ? m_status : -1;
    }
    return m_status;
}

void Process::reap()
{
    int status = 0;
    while (::waitpid(m_child, &status, 0) < 0 && errno == EINTR) {
    }
    m_child = -1;
    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    closeInput();
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        m_errorReader = m_errorReader == Reader::stalls ? Reader::reads : m_errorReader;
    }
    m_gatherer.join();
}

void Process::gather()
{
    std::array<char, 65'536> buffer;
    std::unique_lock<std::mutex> lock(m_mutex);
    while (m_streams[0] >= 0 || m_streams[1] >= 0) {
        if (m_errorReader == Reader::closes) {
            closeOnce(m_streams[1]);
            m_hasChanged.notify_all();
        }
        if (int waitingBytes = 0; m_errorReader == Reader::stalls && m_streams[1] >= 0 &&
                                  ::ioctl(m_streams[1], FIONREAD, &waitingBytes) == 0) {
            // Less than a record is left. Only whole pages are refilled, so that it need not be all.
            m_isErrorPipeFull = waitingBytes + kFullMargin >= ::fcntl(m_streams[1], F_GETPIPE_SZ);
            m_hasChanged.notify_all();
        }
        pollfd waiting[2]{{m_streams[0], POLLIN, 0}, {m_errorReader == Reader::reads ? m_streams[1] : -1, POLLIN, 0}};
        lock.unlock();
        (void)::poll(waiting, 2, kGatherIntervalMilliseconds);
        lock.lock();
        for (int stream = 0; stream < 2; ++stream) {
            if (waiting[stream].revents == 0) {
                continue;
            }
            ssize_t const size = ::read(m_streams[stream], buffer.data(), buffer.size());
            if (size > 0) {
                m_texts[stream].append(buffer.data(), static_cast<std::size_t>(size));
            } else {
                closeOnce(m_streams[stream]);
            }
            m_hasChanged.notify_all();
        }
    }
}

} // namespace common::log::test
