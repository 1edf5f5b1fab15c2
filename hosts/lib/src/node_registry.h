#pragma once

#include "node_tree.h"

#include <comm/nodebus.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace common::log::host {

/// The tree under its lock, and the account of running calls by which a removal waits until its node can be destroyed.
///
/// Threads  All operations, from any number of threads. The lock is held for look-ups and counts, never for a call.
class NodeRegistry
{
public:
    NodeRegistry() = default;
    NodeRegistry(NodeRegistry const &) = delete;
    NodeRegistry & operator=(NodeRegistry const &) = delete;
    ~NodeRegistry() = default;

    /// A request on its way through a node, which neither a removal nor a stop passes by.
    class Call
    {
    public:
        Call(NodeRegistry & registry, std::string const & address);
        Call(Call const &) = delete;
        Call & operator=(Call const &) = delete;
        ~Call();

        comm::nodebus::NbResult result() const { return m_result; } ///< a failure where there is no registration

        /// Its address and node stay as they are until the call has ended.
        NodeRegistration const & registration() const { return *m_registration; }

    private:
        NodeRegistry & m_registry;
        comm::nodebus::NbResult m_result;
        NodeTree::Registration m_registration;
    };

    comm::nodebus::NbResult add(NodeRegistration registration);
    comm::nodebus::NbResult remove(void const * owner, std::string const & address);
    comm::nodebus::NbResult removeAllOf(void const * owner);
    void dropAllOf(void const * owner); ///< removes without waiting

    std::vector<std::string> levelsBelow(std::string const & address) const;

    comm::nodebus::NbResult stop();
    bool isStopped() const;

private:
    using Lock = std::unique_lock<std::mutex>;

    comm::nodebus::NbResult removeAndWait(Lock & lock, std::vector<NodeTree::Registration> const & registrations);
    template <typename Condition>
    void waitUntil(Lock & lock, Condition condition);

    mutable std::mutex m_mutex;
    std::condition_variable m_callEnded;
    std::size_t m_waiting = 0;
    std::size_t m_runningCalls = 0;
    bool m_isStopped = false;
    NodeTree m_tree;
};

} // namespace common::log::host
