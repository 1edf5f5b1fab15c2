#pragma once

#include <comm/nodebus/i_provider_node.h>
#include <comm/nodebus/nb_result.h>

#include <string>

namespace comm::nodebus {

/// The connection to the service: nodes registered here are served there. The order of the virtual operations is part
/// of the interface.
class IProvider
{
public:
    IProvider() = default;
    IProvider(IProvider const &) = delete;
    IProvider & operator=(IProvider const &) = delete;
    virtual ~IProvider() = default;

    /// Has requests for `address` answered by `node`, which stays the caller's and has to live until it is unregistered.
    ///
    /// @param address  may end in a wildcard of the service, "/*" or "/**"
    virtual NbResult registerNode(std::string const & address, IProviderNode * node) = 0;

    /// @param address  as it was registered, its wildcard included
    virtual NbResult unregisterNode(std::string const & address) = 0;

    /// Connects. NB_CLIENT_NOT_CONNECTED says that the service is not there yet: nodes can be registered nevertheless,
    /// and the connection comes by itself.
    virtual NbResult start() = 0;
    virtual NbResult stop() = 0;
};

} // namespace comm::nodebus
