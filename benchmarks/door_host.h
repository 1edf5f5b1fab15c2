#pragma once

#include "empty_store.h"

#include <common/log/host/door.h>
#include <common/log/host/record_ring.h>
#include <common/log/host/record_tap.h>
#include <common/log/snap_name.h>
#include <common/log/trace.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace common::log::benchmarks {

/// A host with one unit, a ring and a door; its stream goes to the null device.
class DoorHost
{
public:
    explicit DoorHost(std::string const & folder)
        : m_folder(folder), m_ring(folder + "/ring"), m_tap(tapOptions()), unit("axis.control", nullptr),
          m_provider(m_manager), m_switches(m_service, addresses(), [](host::SwitchEvent const &) {}),
          m_door({socketPath(folder), m_ring.path()},
                 {"benchmark", "0", [] { return std::vector<host::DoorUnit>(); },
                  [] { return std::vector<host::DoorFigure>(); }, [] { return false; }},
                 m_service, m_switches, m_census)
    {
        benchmark::setEmptyStore(*m_manager);
        (void)m_manager->addTraceUnit(&unit, {true, true, true});
        m_provider.start(m_service.makeProvider().release());
    }
    DoorHost(DoorHost const &) = delete;
    DoorHost & operator=(DoorHost const &) = delete;
    ~DoorHost()
    {
        m_provider.stop();
        (void)m_manager->removeTraceUnit(&unit);
    }

    static std::string socketPath(std::string const & folder) { return folder + "/door.sock"; }
    std::string unitAddress() const { return addresses().units + "/axis/control"; }

private:
    static host::SwitchBoard::Addresses addresses()
    {
        std::string const root = "trace/" + SnapName().getSnapName();
        return {root + "/units", root + "/admin/cfg"};
    }
    host::RecordTapOptions tapOptions()
    {
        host::RecordTapOptions options;
        options.descriptor = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        options.sinks = {[this](host::TappedRecord const & record) { m_ring.add(record); },
                         [this](host::TappedRecord const & record) { m_census.see(record); }};
        return options;
    }

    std::string m_folder;
    host::RecordRing m_ring;
    host::RecordCensus m_census;
    host::RecordTap m_tap;

public:
    trace::Log unit;

private:
    std::shared_ptr<trace::Manager> m_manager = std::make_shared<trace::Manager>();
    host::NodeService m_service{[](std::string const &) {}};
    trace::NodebusProvider m_provider;
    host::SwitchBoard m_switches;
    host::Door m_door;
};

/// A folder of its own, removed at the end.
class DoorFolder
{
public:
    DoorFolder() : m_path((std::filesystem::temp_directory_path() / "door_XXXXXX").string())
    {
        if (::mkdtemp(m_path.data()) == nullptr) {
            throw std::runtime_error("no folder " + m_path);
        }
    }
    DoorFolder(DoorFolder const &) = delete;
    DoorFolder & operator=(DoorFolder const &) = delete;
    ~DoorFolder() { std::filesystem::remove_all(m_path); }

    std::string const & path() const { return m_path; }

private:
    std::string m_path;
};

/// Connects to a door and sends a request.
///
/// @throws std::runtime_error
inline int sendToDoor(std::string const & folder, std::string_view request)
{
    int const client = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (void)DoorHost::socketPath(folder).copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(client, reinterpret_cast<sockaddr const *>(&address), sizeof address) != 0 ||
        ::send(client, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size())) {
        throw std::runtime_error("no connection to the door");
    }
    return client;
}

/// As many open descriptors as the system allows this process.
inline void raiseDescriptorLimit()
{
    rlimit files{};
    (void)::getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    (void)::setrlimit(RLIMIT_NOFILE, &files);
}

} // namespace common::log::benchmarks
