#include "peer.h"

#include <fstream>
#include <vector>

#include <pwd.h>
#include <sys/socket.h>

namespace common::log::host {

namespace {

std::string nameOfUser(std::uint32_t userId)
{
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd * found = nullptr;
    // One that is too large for the buffer stays without a name: the number says who it is.
    (void)::getpwuid_r(userId, &entry, buffer.data(), buffer.size(), &found);
    return found != nullptr ? found->pw_name : "";
}

} // namespace

Peer peerOf(int socket)
{
    ucred credentials{};
    socklen_t size = sizeof credentials;
    // Anybody but root where it cannot be told.
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) {
        return {0, static_cast<std::uint32_t>(-1)};
    }
    return {credentials.pid, credentials.uid};
}

SwitchAuthor authorOf(Peer const & peer)
{
    std::string program;
    std::ifstream file("/proc/" + std::to_string(peer.processId) + "/comm");
    (void)std::getline(file, program);
    std::string from = "process " + std::to_string(peer.processId);
    from += program.empty() ? "" : " (" + program + ")";
    return {peer.userId, nameOfUser(peer.userId), from + " by the door"};
}

} // namespace common::log::host
