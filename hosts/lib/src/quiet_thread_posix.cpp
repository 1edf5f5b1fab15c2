#include "quiet_thread.h"

#include <csignal>
#include <cstddef>
#include <system_error>
#include <utility>

#include <pthread.h>

namespace common::log::host {

namespace {

constexpr std::size_t kStackBytes = std::size_t{256} * 1024; // the sinks of a tap run on it

void throwOnError(int error, char const * what)
{
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

} // namespace

struct QuietThread::Thread
{
    static void * enter(void * thread)
    {
        static_cast<Thread *>(thread)->body();
        return nullptr;
    }

    std::function<void()> body;
    pthread_t handle{};
};

QuietThread::QuietThread(char const * name, std::function<void()> body) : m_thread(std::make_unique<Thread>())
{
    m_thread->body = std::move(body);
    pthread_attr_t attributes;
    throwOnError(pthread_attr_init(&attributes), "attributes of a thread");
    (void)pthread_attr_setstacksize(&attributes, kStackBytes); // refused, it is the default size
    // Blocked here already: the new thread inherits the mask, and is never without it.
    sigset_t all;
    sigset_t previous;
    (void)sigfillset(&all);
    (void)pthread_sigmask(SIG_SETMASK, &all, &previous);
    int const error = pthread_create(&m_thread->handle, &attributes, &Thread::enter, m_thread.get());
    (void)pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    (void)pthread_attr_destroy(&attributes);
    throwOnError(error, name);
    (void)pthread_setname_np(m_thread->handle, name);
}

QuietThread::~QuietThread() { (void)pthread_join(m_thread->handle, nullptr); }

void callInForkedChildren(void (*function)())
{
    throwOnError(pthread_atfork(nullptr, nullptr, function), "notice of forks");
}

} // namespace common::log::host
