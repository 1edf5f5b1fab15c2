#pragma once

#include <common/log/host/switch_board.h>

#include <cstdint>
#include <string>

namespace common::log::host {

/// Who is at the other end of a Unix socket.
struct Peer
{
    std::int64_t processId = 0; ///< 0 where it cannot be told
    std::uint32_t userId = 0;
};

/// As the system knew it when the connection was made; of a connected client's side, the process that listens.
Peer peerOf(int socket);

/// With the name of the user and that of the program, where there are any.
SwitchAuthor authorOf(Peer const & peer);

} // namespace common::log::host
