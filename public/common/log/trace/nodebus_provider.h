#pragma once

#include <common/log/export.h>
#include <common/log/snap_name.h>

#include <memory>
#include <string>

namespace comm::nodebus {

class IProvider;

} // namespace comm::nodebus

namespace common::log::trace {

class ConfigProviderNode;
class EnablingStatesProviderNode;
class Manager;

/// Puts the trace units of a Manager on the Node Bus: the tree of units at "trace/S/units", and the node that saves and
/// loads at "trace/S/admin/cfg", with S for the snap name.
///
/// The tree is registered at its address and with the wildcard "/**"; the other node with "/*" alone, so that the
/// service decides whether requests for its own address come here.
///
/// Ownership  The host's. Shares the Manager, and owns the provider from `start` to `stop`. The destructor leaves a
///            provider as it is: `stop` comes first.
/// Threads    The host's, one at a time. The nodes answer on threads of the service.
/// Real time  None of it.
/// Errors     Only as reports of the library about itself. A step that fails does not keep the next one from being done.
class COMMON_LOG_EXPORT NodebusProvider
{
public:
    /// @param manager  not empty
    explicit NodebusProvider(std::shared_ptr<Manager> const & manager);
    NodebusProvider(NodebusProvider const &) = delete;
    NodebusProvider & operator=(NodebusProvider const &) = delete;
    virtual ~NodebusProvider();

    /// Starts the provider and registers the nodes. A provider that is not connected yet gets them all the same; one
    /// that fails otherwise gets none.
    ///
    /// @param provider  from new; owned from here on, whatever happens. Null is reported and changes nothing. A second
    ///                  one replaces the first, which is then nobody's: call `stop` ahead of it.
    void start(comm::nodebus::IProvider * provider);

    /// Unregisters the nodes, stops the provider and deletes it. May be started again.
    void stop();

private:
    EnablingStatesProviderNode * m_enablingStatesNode;
    ConfigProviderNode * m_configNode;
    comm::nodebus::IProvider * m_nbProvider;
    std::string m_unitsAddress;
    std::string m_configAddress;
    SnapName m_snapName;
};

} // namespace common::log::trace
