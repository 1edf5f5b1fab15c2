#pragma once

#include "support/stream_capture.h"
#include "thread_support.h"

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace common_zep::test {

/// The thread sanitizer puts signals off as long as a write waits, so that nothing reaches the thread, and does not
/// bear that a thread is stepped through.
#if defined(__SANITIZE_THREAD__)
constexpr bool kHasThreadSanitizer = true;
#else
constexpr bool kHasThreadSanitizer = false;
#endif

/// What a deleted thread holds is lost, and meant to be.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kHasLeakSanitizer = true;
inline void allowLeaks() { __lsan_disable(); }
#else
constexpr bool kHasLeakSanitizer = false;
inline void allowLeaks() {}
#endif

/// A thread that does the same for ever. Freed as soon as the delete has returned, so that the sanitizers see one that
/// comes back.
struct Subject
{
    void (*round)(Subject & subject) = nullptr;
    std::atomic<std::uint64_t> rounds{0};
    int descriptor = -1;
    std::FILE * file = nullptr;
    std::mutex mutex;
    std::condition_variable condition;
};

inline std::uint32_t runRounds(void * argument)
{
    Subject & subject = *static_cast<Subject *>(argument);
    allowLeaks();
    for (;;) {
        ++subject.rounds;
        subject.round(subject);
    }
}

/// Starts a thread, and waits until it is at its work.
inline std::uint64_t startSubject(Subject & subject, std::uint32_t priority = 0)
{
    std::uint64_t handle = 0;
    EXPECT_EQ(ZEP_eThreadCreate(&handle, "zep.delete", &runRounds, &subject, priority, 65536, 0, false), ZEP_OK);
    EXPECT_TRUE(waitUntil([&] { return subject.rounds != 0; }));
    return handle;
}

inline void writeToErrorStream(Subject & subject)
{
    std::cerr << "record " << subject.rounds << " of " << std::string(100, 'x') << std::endl;
}

/// Uses what a thread that was taken away at the wrong moment would have left locked: every heap, the streams, the
/// unwinder, and the creation of threads. A lock that stays is a test that does not end.
inline void useTheProcess()
{
    std::vector<std::thread> users;
    for (int user = 0; user < 4; ++user) {
        users.emplace_back([] {
            for (std::size_t size = 8; size < 500000; size = size * 3 + 1) {
                std::vector<char> const block(size);
                EXPECT_EQ(block.back(), 0);
            }
            std::cerr << "still alive" << std::endl;
            std::fflush(nullptr);
            EXPECT_THROW(throw std::runtime_error("thrown"), std::runtime_error);
        });
    }
    for (std::thread & user : users) {
        user.join();
    }
    EXPECT_EQ(runOnThread([] { return 77U; }), 77U);
}

} // namespace common_zep::test
