// GCC keeps the objects of a thread in memory that it frees at the end of the thread, and destroys them later than that:
// both hang on the same list of the runtime, and the memory came first. So the function by which the compiler registers
// their destructors is defined here, for all of the process, and hangs on that list ahead of the memory.

#include <cstdlib>
#include <new>

#include <pthread.h>

namespace {

struct Registered
{
    void (*destroy)(void *);
    void * object;
    Registered * next;
};

pthread_key_t g_key{};

/// The youngest first. Those that register others meanwhile come to the end of the list: the runtime looks again.
void destroyAll(void * list)
{
    for (auto * registered = static_cast<Registered *>(list); registered != nullptr;) {
        Registered * const next = registered->next;
        registered->destroy(registered->object);
        delete registered;
        registered = next;
    }
}

/// For the thread that ends the process, of which the runtime's list is not worked off.
void destroyOwn()
{
    void * const list = pthread_getspecific(g_key);
    (void)pthread_setspecific(g_key, nullptr);
    destroyAll(list);
}

/// Ahead of all other initialisations, one of which may use an object of its thread.
[[gnu::constructor(101)]] void enterList()
{
    (void)pthread_key_create(&g_key, &destroyAll);
    (void)std::atexit(&destroyOwn);
}

} // namespace

// NOLINTNEXTLINE(bugprone-reserved-identifier): the compiler's name
extern "C" int __cxa_thread_atexit(void (*destroy)(void *), void * object, void * /*module*/) noexcept
{
    auto * const registered =
        new (std::nothrow) Registered{destroy, object, static_cast<Registered *>(pthread_getspecific(g_key))};
    return registered != nullptr && pthread_setspecific(g_key, registered) == 0 ? 0 : -1;
}
