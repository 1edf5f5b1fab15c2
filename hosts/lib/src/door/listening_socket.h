#pragma once

#include <string>

namespace common::log::host {

/// The socket of the door below its path, with rights 0660 from its first moment on.
///
/// Two hosts that start at once are kept apart by a lock on `PATH.lock`, which stays there. It is held only while one
/// of them looks whether the socket is that of a living host, and takes its place.
class ListeningSocket
{
public:
    /// @throws DoorIsTaken         where a host answers at this path
    /// @throws std::runtime_error  with path and reason
    explicit ListeningSocket(std::string path, int backlog);
    ListeningSocket(ListeningSocket const &) = delete;
    ListeningSocket & operator=(ListeningSocket const &) = delete;
    ~ListeningSocket(); ///< removes the file, unless it is another's by now

    /// Without blocking. Whoever takes it closes it.
    int release();

private:
    std::string m_path;
    int m_descriptor = -1;
    unsigned long m_device = 0; ///< of the file
    unsigned long m_inode = 0;  ///< likewise
};

} // namespace common::log::host
