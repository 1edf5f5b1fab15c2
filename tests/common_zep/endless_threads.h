#pragma once

// Threads that do not end by themselves, each in its own way.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>

// Of the leak sanitizer, where there is one. What a deleted thread holds is lost, and meant to be.
extern "C" [[gnu::weak]] void __lsan_disable();

namespace common_zep::test {

/// The argument of the threads below. Freed as soon as the delete has returned, so that the sanitizers see a thread
/// that comes back.
struct Subject
{
    std::atomic<std::uint64_t> rounds{0};
    int descriptor = -1;
    std::FILE * file = nullptr;
    std::mutex mutex;
    std::condition_variable condition;
};

inline std::uint32_t sleepLong(void * argument)
{
    ++static_cast<Subject *>(argument)->rounds;
    std::this_thread::sleep_for(std::chrono::hours(1));
    return 0;
}

/// Neither unwinding nor an exception gets out of here.
inline std::uint32_t sleepBehindNoexcept(void * argument) noexcept
{
    for (;;) {
        try {
            ++static_cast<Subject *>(argument)->rounds;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        } catch (...) {
        }
    }
}

inline std::uint32_t waitInPoll(void * argument)
{
    for (;;) {
        ++static_cast<Subject *>(argument)->rounds;
        poll(nullptr, 0, -1);
    }
}

inline std::uint32_t waitForSignal(void * argument)
{
    for (;;) {
        ++static_cast<Subject *>(argument)->rounds;
        pause();
    }
}

inline std::uint32_t waitOnCondition(void * argument)
{
    Subject & subject = *static_cast<Subject *>(argument);
    std::unique_lock<std::mutex> lock(subject.mutex);
    for (;;) {
        ++subject.rounds;
        subject.condition.wait_for(lock, std::chrono::milliseconds(10));
    }
}

inline std::uint32_t spin(void * argument)
{
    for (;;) {
        ++static_cast<Subject *>(argument)->rounds;
    }
}

[[gnu::noinline]] inline void spinDeep(Subject & subject)
{
    for (;;) {
        ++subject.rounds;
    }
}

inline std::uint32_t spinInAFunction(void * argument)
{
    spinDeep(*static_cast<Subject *>(argument));
    return 0;
}

inline std::uint32_t writeToPipe(void * argument)
{
    Subject & subject = *static_cast<Subject *>(argument);
    char const block[100] = {};
    for (;;) {
        ++subject.rounds;
        (void)!write(subject.descriptor, block, sizeof(block));
    }
}

/// Stuck inside the C library, with the lock of the file.
inline std::uint32_t writeToFile(void * argument)
{
    Subject & subject = *static_cast<Subject *>(argument);
    for (;;) {
        ++subject.rounds;
        std::fputs("a line of text that goes out at once\n", subject.file);
    }
}

inline std::uint32_t writeToErrorStream(void * argument)
{
    if (&__lsan_disable != nullptr) {
        __lsan_disable();
    }
    for (unsigned number = 0;; ++number) {
        ++static_cast<Subject *>(argument)->rounds;
        std::cerr << "record " << number << " of " << std::string(100, 'x') << std::endl;
    }
}

inline std::uint32_t allocate(void * argument)
{
    if (&__lsan_disable != nullptr) {
        __lsan_disable();
    }
    // With the address sanitizer a large block costs loops over its shadow, much longer than the rest of the work.
    std::size_t const largest = &__lsan_disable != nullptr ? 5000 : 400000;
    for (std::size_t size = 16;; size = size % largest + 1111) {
        ++static_cast<Subject *>(argument)->rounds;
        void * const block = std::malloc(size);
        asm volatile("" : : "r"(block) : "memory");
        std::free(block);
    }
}

inline std::uint32_t throwAndCatch(void * argument)
{
    if (&__lsan_disable != nullptr) {
        __lsan_disable();
    }
    for (;;) {
        try {
            ++static_cast<Subject *>(argument)->rounds;
            throw std::runtime_error("thrown");
        } catch (std::runtime_error const &) {
        }
    }
}

/// Blocks signals and makes threads, which is what stepping through a thread must keep away from.
inline std::uint32_t startThreads(void * argument)
{
    if (&__lsan_disable != nullptr) {
        __lsan_disable();
    }
    pthread_attr_t detached;
    pthread_attr_init(&detached);
    pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
    for (;;) {
        ++static_cast<Subject *>(argument)->rounds;
        pthread_t thread{};
        pthread_create(
            &thread, &detached, [](void * nothing) { return nothing; }, nullptr);
    }
}

inline std::uint32_t formatText(void * argument)
{
    if (&__lsan_disable != nullptr) {
        __lsan_disable();
    }
    for (unsigned number = 0;; ++number) {
        ++static_cast<Subject *>(argument)->rounds;
        std::ostringstream stream;
        stream << "record " << number << ' ' << 1.5 * number;
        std::string const text = stream.str();
    }
}

} // namespace common_zep::test
