#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tracectl {

/// A host whose door takes connections.
struct LivingHost
{
    std::string program; ///< by the name of its socket
    std::int64_t process = 0;
    std::string socketPath;
};

struct FoundHosts
{
    std::vector<LivingHost> living;        ///< by socket path
    std::vector<std::string> inaccessible; ///< sockets whose rights keep this user out
};

/// Looks at each socket *.sock in these folders. One that nobody listens at is passed over.
FoundHosts findHosts(std::vector<std::string> const & folders);

/// The socket of the only host in the usual folders.
///
/// @throws Failure  Status::noHost without one, Status::wrongUse with several, which its text names
std::string socketOfTheHost();

} // namespace tracectl
