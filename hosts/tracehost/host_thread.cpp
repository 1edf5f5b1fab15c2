#include "host_thread.h"

#include <utility>

namespace tracehost {

HostThread::~HostThread() { join(); }

void HostThread::join()
{
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void HostThread::start(std::function<void()> entry)
{
    std::packaged_task<void()> task(std::move(entry));
    m_ended = task.get_future();
    m_thread = std::thread(std::move(task));
}

bool HostThread::waitFor(std::chrono::milliseconds limit) const
{
    return !m_ended.valid() || m_ended.wait_for(limit) == std::future_status::ready;
}

} // namespace tracehost
