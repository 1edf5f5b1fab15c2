#include "quiet_thread.h"

#include <thread>
#include <utility>

#include <pthread.h>

namespace common::log::host {

// There are no signals here, and a stack takes memory only as far as it is used.
struct QuietThread::Thread
{
    std::thread thread;
};

QuietThread::QuietThread(char const * name, std::function<void()> body)
    : m_thread(std::make_unique<Thread>(Thread{std::thread(std::move(body))}))
{
    (void)pthread_setname_np(m_thread->thread.native_handle(), name);
}

QuietThread::~QuietThread() { m_thread->thread.join(); }

void callInForkedChildren(void (* /*function*/)()) {} // no process is forked here

} // namespace common::log::host
