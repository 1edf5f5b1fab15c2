#include "thread_delete_support.h"

#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <thread>

namespace common_zep::test {
namespace {

void allocate(Subject & subject)
{
    // With the address sanitizer a large block costs loops over its shadow, much longer than the rest of the work.
    std::size_t const largest = kHasLeakSanitizer ? 5000 : 400000;
    void * const block = std::malloc(16 + subject.rounds * 1111 % largest);
    asm volatile("" : : "r"(block) : "memory");
    std::free(block);
}

void throwAndCatch(Subject &)
{
    try {
        throw std::runtime_error("thrown");
    } catch (std::runtime_error const &) {
    }
}

/// Neither unwinding nor an exception gets out of here.
void sleepBehindNoexcept(Subject &) noexcept
{
    try {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } catch (...) {
    }
}

void waitOnCondition(Subject & subject)
{
    std::unique_lock<std::mutex> lock(subject.mutex);
    for (;;) {
        subject.condition.wait_for(lock, std::chrono::milliseconds(10));
    }
}

/// Blocks signals and makes threads, which is what stepping through a thread must keep away from.
void startThread(Subject &)
{
    std::thread([] {}).detach();
}

/// Sleeps with its lock, as one does that waits for a slow device.
class SlowBuffer : public std::streambuf
{
public:
    explicit SlowBuffer(std::mutex & mutex) : m_mutex(mutex) {}

private:
    std::streamsize xsputn(char const *, std::streamsize size) override
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
        return size;
    }

    std::mutex & m_mutex;
};

void writeToSlowBuffer(Subject & subject)
{
    SlowBuffer buffer(subject.mutex);
    std::ostream(&buffer).write("record", 6);
}

struct Kind
{
    char const * name;
    void (*round)(Subject & subject);
    int times;
    bool needsSteps = false; // seen outside the runtime too rarely
};

void PrintTo(Kind const & value, std::ostream * stream) { *stream << value.name; }

constexpr Kind kKinds[] = {
    {"Sleeps", [](Subject &) { std::this_thread::sleep_for(std::chrono::hours(1)); }, 200},
    {"SleepsBehindNoexcept", &sleepBehindNoexcept, 200},
    {"WaitsOnACondition", &waitOnCondition, 10, true},
    {"Spins", [](Subject &) {}, 200},
    {"Allocates", &allocate, kHasLeakSanitizer ? 50 : 200}, // mostly in the runtime of the sanitizer, there
    {"ThrowsAndCatches", &throwAndCatch, 30},
    {"StartsThreads", &startThread, 50},
    {"WritesToTheErrorStream", &writeToErrorStream, 200},
    {"WritesToASlowStreamBuffer", &writeToSlowBuffer, 50, true},
};

class DeleteOfAThread : public testing::TestWithParam<Kind>
{
};

TEST_P(DeleteOfAThread, EndsItAndLeavesTheProcessAlone)
{
    if (GetParam().needsSteps && kHasThreadSanitizer) {
        GTEST_SKIP() << "the thread cannot be stepped through";
    }
    common::log::test::StreamCapture capture; // a stream buffer with a lock of its own
    useTheProcess();
    ProcessState const before;
    for (int i = 0; i < GetParam().times / kShare && !HasFailure(); ++i) {
        auto subject = std::make_unique<Subject>();
        subject->round = GetParam().round;
        std::uint64_t const handle = startSubject(*subject);
        ASSERT_EQ(ZEP_eThreadDelete(handle), ZEP_OK);
        if (GetParam().round == &writeToSlowBuffer) { // a stream depends on its buffer's lock
            ASSERT_TRUE(subject->mutex.try_lock());
            subject->mutex.unlock();
        }
        subject.reset();
        EXPECT_EQ(ZEP_eThreadDelete(handle), ZEP_UNKNOWN_THREAD);
        useTheProcess();
        capture.clear();
    }
    EXPECT_TRUE(waitUntilNoMoreThreadsThan(before));
    EXPECT_EQ(ProcessState().descriptors, before.descriptors);
    EXPECT_TRUE(std::cerr.good());
}

INSTANTIATE_TEST_SUITE_P(That, DeleteOfAThread, testing::ValuesIn(kKinds), [](auto & kind) { return kind.param.name; });

TEST(DeleteOfAThreadAtWork, CanComeAtAnyTimeOfItsLife)
{
    for (int i = 0; i < 500 / kShare; ++i) {
        Work work = [] {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            return 0U;
        };
        std::uint64_t const handle = start(work);
        for (int pause = 0; pause < i * 20 * kShare; ++pause) {
            asm volatile("");
        }
        EXPECT_EQ(ZEP_eThreadDelete(handle), ZEP_OK);
    }
    useTheProcess();
}

TEST(DeleteOfAThreadAtWork, RescuesAJoinAndACleanupThatWait)
{
    for (int i = 0; i < 20; ++i) {
        Subject subject;
        subject.round = kKinds[0].round;
        std::uint64_t const handle = startSubject(subject);
        std::uint32_t joined = 0;
        std::uint32_t cleaned = 1;
        std::thread joiner([&] { joined = ZEP_eThreadJoin(handle, 60000, nullptr); });
        std::thread cleaner([&] { cleaned = ZEP_eThreadCleanup(handle); });
        EXPECT_EQ(ZEP_eThreadDelete(handle), ZEP_OK);
        joiner.join();
        cleaner.join();
        EXPECT_EQ(joined, ZEP_UNKNOWN_THREAD);
        EXPECT_THAT(cleaned, testing::AnyOf(ZEP_OK, ZEP_UNKNOWN_THREAD)); // who comes first releases
    }
}

// In processes of their own, since a stopped thread stays: that they end is part of the test.
class DeleteOfAThreadThatCannotEnd : public testing::Test
{
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(DeleteOfAThreadThatCannotEnd, StopsItForEverAndTheProcessEnds)
{
    auto const deleteWaiting = [] {
        auto & gate = *new Subject;
        gate.round = [](Subject & waiting) {
            std::unique_lock<std::mutex> lock(waiting.mutex);
            waiting.condition.wait(lock, [&] { return ++waiting.rounds == 0; });
        };
        std::uint64_t const handle = startSubject(gate);
        waitUntil([&] { return gate.rounds > 1; });
        std::uint32_t const deleted = ZEP_eThreadDelete(handle);
        std::uint32_t const again = ZEP_eThreadCleanup(handle);
        { // a lock that it gave back for the wait stays free, whoever is woken
            std::lock_guard<std::mutex> const lock(gate.mutex);
            gate.condition.notify_all();
        }
        useTheProcess();
        std::exit(deleted == kDeletedFromAWait && again == ZEP_UNKNOWN_THREAD ? 0 : 1);
    };
    EXPECT_EXIT(deleteWaiting(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace common_zep::test
