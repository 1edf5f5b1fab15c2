#include "periodic_thread.h"

#include <utility>

namespace common::log::host {

PeriodicThread::PeriodicThread(char const * name, std::chrono::milliseconds pause, std::function<void()> body)
    : m_pause(pause), m_body(std::move(body)), m_thread(std::make_unique<QuietThread>(name, [this] { run(); }))
{}

PeriodicThread::~PeriodicThread() { end(); }

void PeriodicThread::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ending.wait_for(lock, m_pause, [this] { return m_isEnding; })) {
        lock.unlock();
        m_body();
        lock.lock();
    }
}

void PeriodicThread::end()
{
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        m_isEnding = true;
    }
    m_ending.notify_one();
    m_thread.reset();
}

} // namespace common::log::host
