#pragma once

#include <common/log/host/node_service.h>

#include <mutex>

namespace common::log::host {

/// What comes back through the callback of one call. A node may keep the callback for as long as it likes: what it
/// answers behind `close` is dropped.
///
/// Threads  A node may answer from another thread than it was called on.
class NodeReply
{
public:
    void take(comm::nodebus::NbResult result, comm::nodebus::Variant const * value);

    /// Ends it. @return how often was answered until now
    unsigned close();

    NodeAnswer & answer() { return m_answer; } ///< the first one; not before `close`

private:
    std::mutex m_mutex;
    bool m_isClosed = false;
    unsigned m_count = 0;
    NodeAnswer m_answer{};
};

} // namespace common::log::host
