#pragma once

#include <comm/nodebus/node_callback.h>
#include <comm/nodebus/variant.h>

#include <string>

namespace comm::nodebus {

/// A node, or a whole tree of nodes, as the service calls it. The order of the virtual operations is part of the
/// interface.
///
/// Each operation answers exactly once, through `callback` and before it returns. `address` is the address asked for,
/// `data` the value that comes with the request or null.
///
/// Threads  Called on threads of the service, any number at once.
class IProviderNode
{
public:
    IProviderNode() = default;
    IProviderNode(IProviderNode const &) = delete;
    IProviderNode & operator=(IProviderNode const &) = delete;
    virtual ~IProviderNode() = default;

    virtual void onCreate(std::string const & address, Variant const * data, NodeCallback const & callback) = 0;
    virtual void onRemove(std::string const & address, NodeCallback const & callback) = 0;
    virtual void onBrowse(std::string const & address, NodeCallback const & callback) = 0;
    virtual void onRead(std::string const & address, Variant const * data, NodeCallback const & callback) = 0;
    virtual void onWrite(std::string const & address, Variant const * data, NodeCallback const & callback) = 0;
    virtual void onMetadata(std::string const & address, NodeCallback const & callback) = 0;
};

} // namespace comm::nodebus
