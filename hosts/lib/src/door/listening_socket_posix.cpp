#include "listening_socket.h"

#include <common/log/host/door.h>

#include "peer.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace common::log::host {

namespace {

constexpr mode_t kRights = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP;
constexpr std::chrono::seconds kLockPatience(5);
constexpr std::chrono::milliseconds kLockPause(5);

[[noreturn]] void fail(std::string const & path, int error)
{
    throw std::runtime_error("The socket " + path + " cannot be made: " + std::generic_category().message(error));
}

class Descriptor
{
public:
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(Descriptor const &) = delete;
    Descriptor & operator=(Descriptor const &) = delete;
    ~Descriptor()
    {
        if (m_number >= 0) {
            (void)::close(m_number);
        }
    }

    int number() const { return m_number; }
    int release() { return std::exchange(m_number, -1); }

private:
    int m_number;
};

void makeFolder(std::string const & path)
{
    std::filesystem::path const folder = std::filesystem::path(path).parent_path();
    std::error_code error;
    if (folder.empty() || std::filesystem::exists(folder, error)) {
        return;
    }
    if (folder.has_parent_path()) {
        (void)std::filesystem::create_directories(folder.parent_path(), error);
    }
    if (::mkdir(folder.c_str(), S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH) != 0 && errno != EEXIST) {
        fail(path, errno);
    }
}

/// Held until the descriptor is closed.
Descriptor lock(std::string const & path)
{
    constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW;
    Descriptor file(::open((path + ".lock").c_str(), kFlags, S_IRUSR | S_IWUSR));
    if (file.number() < 0) {
        fail(path, errno);
    }
    auto const limit = std::chrono::steady_clock::now() + kLockPatience;
    while (::flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() > limit) {
            fail(path, errno);
        }
        std::this_thread::sleep_for(kLockPause);
    }
    return Descriptor(file.release());
}

sockaddr_un addressOf(std::string const & path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path || path.find('\0') != std::string::npos) {
        fail(path, path.empty() ? ENOENT : ENAMETOOLONG);
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

Descriptor makeSocket(std::string const & path)
{
    Descriptor made(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (made.number() < 0) {
        fail(path, errno);
    }
    return Descriptor(made.release());
}

/// Removes a socket on which nobody listens any more.
void removeStale(std::string const & path, sockaddr_un const & address)
{
    struct stat state = {};
    if (::lstat(path.c_str(), &state) != 0) {
        if (errno == ENOENT) {
            return;
        }
        fail(path, errno);
    }
    if (!S_ISSOCK(state.st_mode)) {
        fail(path, EEXIST); // a file of somebody else
    }
    Descriptor const probe = makeSocket(path);
    if (::connect(probe.number(), reinterpret_cast<sockaddr const *>(&address), sizeof address) == 0) {
        throw DoorIsTaken(path, peerOf(probe.number()).processId);
    }
    if (errno == EAGAIN) {
        throw DoorIsTaken(path, 0); // so many wait for it that it has no room
    }
    if (errno != ECONNREFUSED || ::unlink(path.c_str()) != 0) {
        fail(path, errno);
    }
}

} // namespace

ListeningSocket::ListeningSocket(std::string path, int backlog) : m_path(std::move(path))
{
    sockaddr_un const address = addressOf(m_path);
    makeFolder(m_path);
    Descriptor const held = lock(m_path);
    removeStale(m_path, address);
    Descriptor made = makeSocket(m_path);
    // The file takes the rights of the descriptor, less the umask. Set ahead of it, they are never wider than wanted;
    // the umask, which belongs to all threads, is left alone, and what it took away is given behind it.
    struct stat state = {};
    if (::fchmod(made.number(), kRights) != 0 ||
        ::bind(made.number(), reinterpret_cast<sockaddr const *>(&address), sizeof address) != 0) {
        fail(m_path, errno);
    }
    if (::chmod(m_path.c_str(), kRights) != 0 || ::stat(m_path.c_str(), &state) != 0 ||
        ::listen(made.number(), backlog) != 0) {
        int const error = errno;
        (void)::unlink(m_path.c_str());
        fail(m_path, error);
    }
    m_device = state.st_dev;
    m_inode = state.st_ino;
    m_descriptor = made.release();
}

ListeningSocket::~ListeningSocket()
{
    if (m_descriptor >= 0) {
        (void)::close(m_descriptor);
    }
    try {
        Descriptor const held = lock(m_path);
        struct stat state = {};
        if (::lstat(m_path.c_str(), &state) == 0 && state.st_dev == m_device && state.st_ino == m_inode) {
            (void)::unlink(m_path.c_str());
        }
    } catch (std::runtime_error const &) { // without the lock the file stays: it may be that of the next host
        return;
    }
}

int ListeningSocket::release() { return std::exchange(m_descriptor, -1); }

} // namespace common::log::host
