#pragma once

#include "host_thread.h"

#include <atomic>
#include <deque>

namespace tracehost {

/// Busy threads of ordinary priority, so that a cycle has something to compete with.
class Load
{
public:
    explicit Load(unsigned int threads);
    ~Load();

private:
    void run() const;

    std::atomic<bool> m_isStopping{false};
    std::deque<HostThread> m_threads;
};

} // namespace tracehost
