#include "host_thread.h"

#include <csignal>
#include <pthread.h>
#include <utility>

namespace tracehost {

namespace {

constexpr int kInterrupt = SIGUSR1;

void ignoreInterrupt(int /*signal*/) {}

} // namespace

void HostThread::prepare()
{
    struct sigaction action = {};
    action.sa_handler = ignoreInterrupt; // and no SA_RESTART: the calls shall fail
    (void)::sigaction(kInterrupt, &action, nullptr);
}

HostThread::~HostThread()
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

// The thread stays joinable up to the destruction, so that its handle is valid even where it has ended.
void HostThread::interrupt()
{
    if (m_thread.joinable()) {
        (void)::pthread_kill(m_thread.native_handle(), kInterrupt);
    }
}

} // namespace tracehost
