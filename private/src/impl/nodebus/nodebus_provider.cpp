#include <common/log/trace/nodebus_provider.h>

#include "helper/object_text.h"
#include "helper/self_trace.h"

#include <comm/nodebus/i_provider.h>
#include <common/log/trace/config_provider_node.h>
#include <common/log/trace/enabling_states_provider_node.h>

#include <array>
#include <utility>

namespace common::log::trace {

using namespace comm::nodebus;

namespace {

using Registration = std::pair<std::string, IProviderNode *>;

/// In the order in which they are made and taken back. That the config node has no registration of its own beside its
/// wildcard is how clients know it.
std::array<Registration, 3> registrations(std::string const & unitsAddress, IProviderNode * unitsNode,
                                          std::string const & configAddress, IProviderNode * configNode)
{
    return {Registration{unitsAddress + "/**", unitsNode}, Registration{unitsAddress, unitsNode},
            Registration{configAddress + "/*", configNode}};
}

} // namespace

NodebusProvider::NodebusProvider(std::shared_ptr<Manager> const & manager)
    : m_enablingStatesNode(nullptr), m_configNode(nullptr), m_nbProvider(nullptr)
{
    std::string const base = "trace/" + m_snapName.getSnapName();
    m_unitsAddress = base + "/units";
    m_configAddress = base + "/admin/cfg";
    auto enablingStatesNode = std::make_unique<EnablingStatesProviderNode>(manager, m_unitsAddress);
    m_configNode = new ConfigProviderNode(manager);
    m_enablingStatesNode = enablingStatesNode.release();
}

NodebusProvider::~NodebusProvider()
{
    delete m_configNode;
    delete m_enablingStatesNode;
}

void NodebusProvider::start(IProvider * provider)
{
    if (provider == nullptr) {
        SELF_TRACE_ERROR("Invalid argument: nbProvider");
        return;
    }
    m_nbProvider = provider;
    NbResult const started = m_nbProvider->start();
    if (started == NB_CLIENT_NOT_CONNECTED) {
        SELF_TRACE_MESSAGE(
            "Node Bus client is not yet connected. Continue with start process of Node Bus provider. The "
            "client automatically tries to reconnect.");
    } else if (isFailure(started)) {
        SELF_TRACE_ERROR("Calling 'start' of Node Bus provider failed with error code 0x%08X", started.code);
        return;
    }
    for (auto const & [address, node] :
         registrations(m_unitsAddress, m_enablingStatesNode, m_configAddress, m_configNode)) {
        NbResult const result = m_nbProvider->registerNode(address, node);
        if (isFailure(result)) {
            SELF_TRACE_ERROR("Calling 'registerNode' of node %s failed with error code 0x%08X",
                             ObjectText(address).text(), result.code);
        }
    }
}

void NodebusProvider::stop()
{
    if (m_nbProvider == nullptr) {
        SELF_TRACE_ERROR("Invalid argument: m_nbProvider");
        return;
    }
    for (auto const & [address, node] :
         registrations(m_unitsAddress, m_enablingStatesNode, m_configAddress, m_configNode)) {
        NbResult const result = m_nbProvider->unregisterNode(address);
        if (isFailure(result)) {
            SELF_TRACE_ERROR("Calling 'unregisterNode' of node %s failed with error code 0x%08X",
                             ObjectText(address).text(), result.code);
        }
    }
    NbResult const stopped = m_nbProvider->stop();
    if (isFailure(stopped)) {
        SELF_TRACE_ERROR("Calling 'stop' of Node Bus provider failed with error code 0x%08X", stopped.code);
    }
    delete m_nbProvider;
    m_nbProvider = nullptr;
}

} // namespace common::log::trace
