#include <common/log/host/door_socket.h>

#include <common/log/host/environment.h>

namespace common::log::host {

std::vector<std::string> doorFolders()
{
    constexpr char const * kFolder = "/common_log_trace";
    std::vector<std::string> folders;
    std::string const own = pathFromEnvironment("XDG_RUNTIME_DIR");
    if (!own.empty()) {
        folders.push_back(own + kFolder);
    }
    folders.push_back(std::string("/run") + kFolder);
    return folders;
}

std::string defaultDoorSocket(std::string const & program) { return doorFolders().front() + "/" + program + ".sock"; }

} // namespace common::log::host
