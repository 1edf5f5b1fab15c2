#include "node_registry.h"

#include <algorithm>
#include <utility>

namespace common::log::host {

using namespace comm::nodebus;

namespace {

// How many handlers this thread is inside of, in all services: also those of two services could wait for each other.
thread_local unsigned t_handlers = 0;

bool isIdle(NodeTree::Registration const & registration) { return registration->runningCalls == 0; }

} // namespace

NodeRegistry::Call::Call(NodeRegistry & registry, std::string const & address)
    : m_registry(registry), m_result(NB_INVALID_ADDRESS)
{
    bool const isWellFormed = NodeTree::isNodeAddress(address);
    Lock const lock(registry.m_mutex);
    if (registry.m_isStopped) {
        m_result = NB_CLIENT_NOT_CONNECTED;
        return;
    }
    m_registration = isWellFormed ? registry.m_tree.find(address) : nullptr;
    if (m_registration != nullptr) {
        m_result = NB_OK;
        ++m_registration->runningCalls;
        ++registry.m_runningCalls;
        ++t_handlers;
    }
}

NodeRegistry::Call::~Call()
{
    if (m_registration == nullptr) {
        return;
    }
    --t_handlers;
    Lock const lock(m_registry.m_mutex);
    --m_registration->runningCalls;
    --m_registry.m_runningCalls;
    if (m_registry.m_waiting != 0 && isIdle(m_registration)) {
        // Under the lock: who waits may destroy the registry as soon as it can have it.
        m_registry.m_callEnded.notify_all();
    }
}

NbResult NodeRegistry::add(NodeRegistration registration)
{
    if (registration.node == nullptr) {
        return NB_INVALID_HANDLE;
    }
    Lock const lock(m_mutex);
    return m_isStopped ? NB_CLIENT_NOT_CONNECTED : m_tree.add(std::move(registration));
}

NbResult NodeRegistry::remove(void const * owner, std::string const & address)
{
    Lock lock(m_mutex);
    NodeTree::Registration const registration = m_tree.registeredAs(address);
    if (registration == nullptr || registration->owner != owner) {
        return NB_INVALID_ADDRESS;
    }
    return removeAndWait(lock, {registration});
}

NbResult NodeRegistry::removeAllOf(void const * owner)
{
    Lock lock(m_mutex);
    return removeAndWait(lock, m_tree.ofOwner(owner));
}

void NodeRegistry::dropAllOf(void const * owner)
{
    Lock const lock(m_mutex);
    for (NodeTree::Registration const & registration : m_tree.ofOwner(owner)) {
        m_tree.remove(*registration);
    }
}

NbResult NodeRegistry::removeAndWait(Lock & lock, std::vector<NodeTree::Registration> const & registrations)
{
    auto const areIdle = [&] { return std::all_of(registrations.begin(), registrations.end(), isIdle); };
    if (t_handlers != 0 && !areIdle()) {
        return NB_WOULD_BLOCK;
    }
    for (NodeTree::Registration const & registration : registrations) {
        m_tree.remove(*registration);
    }
    waitUntil(lock, areIdle);
    return NB_OK;
}

std::vector<std::string> NodeRegistry::levelsBelow(std::string const & address) const
{
    Lock const lock(m_mutex);
    return m_tree.levelsBelow(address);
}

NbResult NodeRegistry::stop()
{
    Lock lock(m_mutex);
    if (t_handlers != 0 && m_runningCalls != 0) {
        return NB_WOULD_BLOCK;
    }
    m_isStopped = true;
    waitUntil(lock, [&] { return m_runningCalls == 0; });
    return NB_OK;
}

bool NodeRegistry::isStopped() const
{
    Lock const lock(m_mutex);
    return m_isStopped;
}

template <typename Condition>
void NodeRegistry::waitUntil(Lock & lock, Condition condition)
{
    ++m_waiting;
    m_callEnded.wait(lock, condition);
    --m_waiting;
}

} // namespace common::log::host
