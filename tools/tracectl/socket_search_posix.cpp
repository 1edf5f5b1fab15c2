#include "socket_search.h"

#include "failure.h"

#include <common/log/host/door_socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace tracectl {

namespace fs = std::filesystem;

namespace {

/// A connection that is made and ended again.
class Attempt
{
public:
    explicit Attempt(std::string const & path)
        : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (m_socket < 0 || path.size() >= sizeof address.sun_path) {
            m_error = m_socket < 0 ? errno : ENAMETOOLONG;
            return;
        }
        std::memcpy(address.sun_path, path.data(), path.size());
        // A full queue answers EAGAIN: somebody listens there, however busy.
        bool const isTaken = ::connect(m_socket, reinterpret_cast<sockaddr const *>(&address), sizeof address) == 0;
        m_error = isTaken || errno == EAGAIN ? 0 : errno;
    }
    Attempt(Attempt const &) = delete;
    Attempt & operator=(Attempt const &) = delete;
    ~Attempt()
    {
        if (m_socket >= 0) {
            (void)::close(m_socket);
        }
    }

    int error() const { return m_error; }

    std::int64_t process() const
    {
        ucred peer{};
        socklen_t size = sizeof peer;
        return ::getsockopt(m_socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
    }

private:
    int m_socket;
    int m_error = 0;
};

std::set<std::string> socketsIn(std::vector<std::string> const & folders)
{
    std::set<std::string> paths;
    for (std::string const & folder : folders) {
        std::error_code failure; // a folder that is not there, or cannot be read, has no sockets
        for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end; entry.increment(failure)) {
            std::error_code ignored;
            if (entry->path().extension() == ".sock" && entry->is_socket(ignored)) {
                paths.insert(entry->path().string());
            }
        }
    }
    return paths;
}

} // namespace

FoundHosts findHosts(std::vector<std::string> const & folders)
{
    FoundHosts found;
    for (std::string const & path : socketsIn(folders)) {
        Attempt const attempt(path);
        if (attempt.error() == 0) {
            found.living.push_back({fs::path(path).stem().string(), attempt.process(), path});
        } else if (attempt.error() == EACCES || attempt.error() == EPERM) {
            found.inaccessible.push_back(path);
        }
    }
    return found;
}

std::string socketOfTheHost()
{
    std::vector<std::string> const folders = common::log::host::doorFolders();
    FoundHosts const found = findHosts(folders);
    if (found.living.size() == 1) {
        return found.living.front().socketPath;
    }
    if (!found.living.empty()) {
        std::string text = "several hosts run, choose one by --socket:";
        for (LivingHost const & host : found.living) {
            text.append("\n  ").append(host.program).append(", process ");
            text.append(std::to_string(host.process)).append(": --socket ").append(host.socketPath);
        }
        throw Failure(Status::wrongUse, text);
    }
    if (!found.inaccessible.empty()) {
        throw Failure(Status::noHost, "no host that this user may speak to; the rights of " +
                                          found.inaccessible.front() + " keep others out");
    }
    std::string text = "no host runs: nobody listens in ";
    for (std::string const & folder : folders) {
        text.append(&folder == &folders.front() ? "" : " or ").append(folder);
    }
    throw Failure(Status::noHost, text);
}

} // namespace tracectl
