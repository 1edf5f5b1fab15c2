#pragma once

#include <comm/nodebus.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace common::log::host {

class NodeRegistry;

/// What a node answered. The value is the caller's own, whatever the node handed out.
struct NodeAnswer
{
    comm::nodebus::NbResult result;
    std::optional<comm::nodebus::Variant> value{}; ///< none where the node gave none, and with a failure of the service
};

/// Takes what a handler did wrong, as one line of text. Called on the thread of the client, with no lock held, and before
/// `stop` is through; it may trace and may call the client. What it throws is dropped.
using NodeFaultReport = std::function<void(std::string const & text)>;

/// Serves nodes within the process: providers register them on one side, clients call them on the other.
///
/// An address is a row of segments with single "/" between them, without one in front or at the end. No segment is
/// empty or holds "*" or a control character. Nothing is normalised, and a node gets the address as the client gave it.
///
/// | registered | answers for                                |
/// |------------|--------------------------------------------|
/// | "a/b"      | "a/b"                                      |
/// | "a/b/*"    | "a/b" and what lies one level below it     |
/// | "a/b/**"   | "a/b" and all that lies below it           |
///
/// A wildcard thus takes in the address it stands behind, so that a node that is registered by it alone can be browsed.
/// Of those that fit, the one with the longest address answers, of several for the same address the first of the table.
///
/// The levels above registered addresses need no node to be browsed: `browse` answers with their names, for the empty
/// address with those at the top. They are also added to the children that a node answers with, and answer in the
/// place of a node that calls a level above another one's address invalid.
///
/// Misuse     A handler that lets an exception out, answers more than once, or not before it returns, has failed: the
///            client gets NB_FAILED, the report a line. What is answered after the return is ignored.
/// Ownership  Nodes stay their owner's. One may be destroyed once its address was unregistered, its provider stopped or
///            destroyed, or `stop` called, unless the answer was NB_WOULD_BLOCK. A provider may outlive the service.
/// Threads    All operations from any number of threads at once, also on the same node; a handler runs on the thread
///            of its client. No lock is held meanwhile, so that none waits for another. A thread is not cancelled in it.
/// Handlers   may call the client and register nodes, any of them. What would have to wait for a running call answers
///            NB_WOULD_BLOCK within a handler and changes nothing: two that wait would wait for each other. Such are
///            `unregisterNode`, and `stop` of providers and services. Another thread may do it, provided that no
///            handler waits for that one. A provider, or a service, is not destroyed within a handler.
/// Real time  Not for a thread with a deadline: a call takes a lock twice, and allocates.
/// Errors     Results; without memory std::bad_alloc, from handlers as any other exception.
class NodeService
{
public:
    /// @param report  may be empty; what it uses has to live until `stop` is through
    explicit NodeService(NodeFaultReport report);
    NodeService(NodeService const &) = delete;
    NodeService & operator=(NodeService const &) = delete;
    ~NodeService(); ///< stops

    /// A connection for one owner of nodes, for instance `trace::NodebusProvider`, which deletes it.
    ///
    /// registerNode    NB_ALREADY_EXISTS where the same text is registered, by whomever; NB_INVALID_ADDRESS;
    ///                 NB_INVALID_HANDLE for no node; NB_CLIENT_NOT_CONNECTED behind the end of the service.
    /// unregisterNode  NB_INVALID_ADDRESS for what this provider has not registered. Waits until the calls by this
    ///                 address have returned, and no new ones come meanwhile.
    /// start           NB_CLIENT_NOT_CONNECTED behind the end of the service; otherwise nothing is to be done.
    /// stop            unregisters what is left; so does the destructor. Start and stop may follow each other again.
    std::unique_ptr<comm::nodebus::IProvider> makeProvider();

    /// The operations of a client. Each answers what the node answers, and otherwise NB_INVALID_ADDRESS where there is
    /// no node, and NB_CLIENT_NOT_CONNECTED behind the end of the service.
    ///
    /// @param data  handed to the node as it is; may be null
    NodeAnswer create(std::string const & address, comm::nodebus::Variant const * data);
    NodeAnswer remove(std::string const & address);
    NodeAnswer browse(std::string const & address);
    NodeAnswer read(std::string const & address, comm::nodebus::Variant const * data = nullptr);
    NodeAnswer write(std::string const & address, comm::nodebus::Variant const * data);
    NodeAnswer metadata(std::string const & address);

    /// Ends the service for good: later calls are refused, the running ones have returned.
    comm::nodebus::NbResult stop();

private:
    using Handler =
        std::function<void(comm::nodebus::IProviderNode & node, comm::nodebus::NodeCallback const & callback)>;

    NodeAnswer call(char const * operation, std::string const & address, Handler const & handler);

    std::shared_ptr<NodeRegistry> m_registry;
    NodeFaultReport m_report;
};

} // namespace common::log::host
