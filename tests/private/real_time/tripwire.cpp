#include "tripwire.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace {

// Plain thread-locals of an executable: reading them allocates nothing, so that the functions below may.
thread_local bool t_isArmed = false;
thread_local unsigned long t_allocations = 0;
thread_local unsigned long t_locks = 0;
thread_local char const * t_first = nullptr;

[[maybe_unused]] void count(unsigned long & counter, char const * function) noexcept
{
    if (t_isArmed) {
        ++counter;
        t_first = t_first == nullptr ? function : t_first;
    }
}

} // namespace

namespace common::log::test {

Tripwire::Tripwire() noexcept
{
    t_allocations = 0;
    t_locks = 0;
    t_first = nullptr;
    t_isArmed = true;
}

Tripwire::~Tripwire() { t_isArmed = false; }

unsigned long Tripwire::allocations() const noexcept { return t_allocations; }

unsigned long Tripwire::locks() const noexcept { return t_locks; }

char const * Tripwire::first() const noexcept { return t_first; }

} // namespace common::log::test

#if !HAS_SANITIZERS

extern "C" {

// The C library's own entries, which stay reachable when the public names are replaced.
void * __libc_malloc(std::size_t size);
void * __libc_calloc(std::size_t count, std::size_t size);
void * __libc_realloc(void * memory, std::size_t size);
void * __libc_memalign(std::size_t alignment, std::size_t size);
void * __libc_valloc(std::size_t size);
void * __libc_pvalloc(std::size_t size);
void __libc_free(void * memory);

void * malloc(std::size_t size) noexcept
{
    count(t_allocations, "malloc");
    return __libc_malloc(size);
}

void * calloc(std::size_t number, std::size_t size) noexcept
{
    count(t_allocations, "calloc");
    return __libc_calloc(number, size);
}

void * realloc(void * memory, std::size_t size) noexcept
{
    count(t_allocations, "realloc");
    return __libc_realloc(memory, size);
}

void * memalign(std::size_t alignment, std::size_t size) noexcept
{
    count(t_allocations, "memalign");
    return __libc_memalign(alignment, size);
}

void * aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    count(t_allocations, "aligned_alloc");
    return __libc_memalign(alignment, size);
}

int posix_memalign(void ** memory, std::size_t alignment, std::size_t size) noexcept
{
    count(t_allocations, "posix_memalign");
    void * const result = __libc_memalign(alignment, size);
    if (result == nullptr) {
        return ENOMEM;
    }
    *memory = result;
    return 0;
}

void * valloc(std::size_t size) noexcept
{
    count(t_allocations, "valloc");
    return __libc_valloc(size);
}

void * pvalloc(std::size_t size) noexcept
{
    count(t_allocations, "pvalloc");
    return __libc_pvalloc(size);
}

void free(void * memory) noexcept
{
    count(t_allocations, "free");
    __libc_free(memory);
}

} // extern "C"

// A lock function counts and then calls the one that it hides, which is looked up at its first use.
#define COUNTED_LOCK(specifier, name, parameters, arguments)                                                           \
    extern "C" int name parameters specifier                                                                           \
    {                                                                                                                  \
        static int(*real) parameters = nullptr;                                                                        \
        count(t_locks, #name);                                                                                         \
        if (real == nullptr) {                                                                                         \
            real = reinterpret_cast<int(*) parameters>(dlsym(RTLD_NEXT, #name));                                       \
        }                                                                                                              \
        return real arguments;                                                                                         \
    }

COUNTED_LOCK(noexcept, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
COUNTED_LOCK(noexcept, pthread_mutex_trylock, (pthread_mutex_t * mutex), (mutex))
COUNTED_LOCK(noexcept, pthread_rwlock_rdlock, (pthread_rwlock_t * lock), (lock))
COUNTED_LOCK(noexcept, pthread_rwlock_wrlock, (pthread_rwlock_t * lock), (lock))
COUNTED_LOCK(noexcept, __cxa_guard_acquire, (unsigned long * guard), (guard))

#endif
