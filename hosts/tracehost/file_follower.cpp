#include "file_follower.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tracehost {

FileFollower::FileFollower(std::string path) : m_path(std::move(path)) { (void)openFrom(true); }

bool FileFollower::look(LineFunction const & onLine)
{
    if (readOn(kMostBytes, onLine)) {
        return true;
    }
    struct stat status
    {
    };
    if (::stat(m_path.c_str(), &status) != 0) {
        if (errno != ENOENT) {
            setProblem(std::generic_category().message(errno));
        }
        return false;
    }
    if (!m_file.isOpen() || (!isOpenedFile(status) && status.st_size > 0)) {
        switchFile(onLine);
    }
    return false;
}

void FileFollower::reopen(LineFunction const & onLine)
{
    struct stat status
    {
    };
    m_problem.clear(); // whoever asks for this wants to know whether it persists
    if (::stat(m_path.c_str(), &status) == 0 && isOpenedFile(status)) {
        return;
    }
    finish(onLine);
    m_file = Descriptor(); // also gives back the space of a deleted one
    (void)openFrom(false);
}

void FileFollower::finish(LineFunction const & onLine)
{
    (void)readOn(std::numeric_limits<std::uint64_t>::max(), onLine);
    m_splitter.finish(onLine);
}

std::optional<std::string> FileFollower::takeProblem()
{
    if (!std::exchange(m_isProblemNew, false)) {
        return std::nullopt;
    }
    return m_problem;
}

bool FileFollower::openFrom(bool isAtEnd)
{
    // Not blocking, since a pipe of that name would wait for its writer.
    Descriptor file(::open(m_path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status
    {
    };
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0) {
        if (errno != ENOENT) {
            setProblem(std::generic_category().message(errno));
        }
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        setProblem("not a regular file");
        return false;
    }
    m_problem.clear();
    m_file = std::move(file);
    m_device = status.st_dev;
    m_inode = status.st_ino;
    m_position = isAtEnd ? static_cast<std::uint64_t>(status.st_size) : 0;
    return true;
}

/// True where `mostBytes` were read and there is more. Ends at the size that the file has now, so that a writer that is
/// faster than the records keeps nobody here.
bool FileFollower::readOn(std::uint64_t mostBytes, LineFunction const & onLine)
{
    struct stat status
    {
    };
    if (!m_file.isOpen() || ::fstat(m_file.number(), &status) != 0) {
        return false;
    }
    auto const size = static_cast<std::uint64_t>(status.st_size);
    if (size < m_position) {
        m_splitter.finish(onLine); // belongs to what was there before
        m_position = 0;
    }
    std::uint64_t left = std::min(size - m_position, mostBytes);
    std::array<char, 65'536> buffer;
    while (left > 0) {
        auto const most = static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size()));
        ssize_t const read = ::pread(m_file.number(), buffer.data(), most, static_cast<off_t>(m_position));
        if (read < 0 && errno == EINTR) {
            continue;
        }
        if (read < 0) {
            setProblem(std::generic_category().message(errno));
        }
        if (read <= 0) {
            return false; // truncated meanwhile: the next look sees it
        }
        m_position += static_cast<std::uint64_t>(read);
        left -= static_cast<std::uint64_t>(read);
        m_splitter.feed(std::string_view(buffer.data(), static_cast<std::size_t>(read)), onLine);
    }
    return m_position < size;
}

void FileFollower::switchFile(LineFunction const & onLine)
{
    // Once more, although it was read to its end just now: the new file was found behind that, and all that its writer
    // had still put into the old one is there by now.
    finish(onLine);
    if (openFrom(false)) {
        (void)readOn(kMostBytes, onLine);
    }
}

bool FileFollower::isOpenedFile(struct stat const & status) const
{
    // The inode of a file that is kept open is not given to another one.
    return m_file.isOpen() && status.st_dev == m_device && status.st_ino == m_inode;
}

void FileFollower::setProblem(std::string const & problem)
{
    m_isProblemNew = m_isProblemNew || problem != m_problem;
    m_problem = problem;
}

} // namespace tracehost
