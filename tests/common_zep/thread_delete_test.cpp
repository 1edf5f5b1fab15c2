#include "endless_threads.h"
#include "full_pipe.h"
#include "process_state.h"
#include "support/stream_capture.h"

#include <common_zep/thread.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <memory>
#include <ostream>
#include <streambuf>
#include <vector>

// Of the thread sanitizer, where there is one.
extern "C" [[gnu::weak]] void __tsan_init();

namespace common_zep::test {
namespace {

std::uint64_t start(Subject & subject, ZEP_ThreadEntry entry, std::uint32_t priority = 0)
{
    std::uint64_t handle = 0;
    EXPECT_EQ(ZEP_eThreadCreate(&handle, "zep.delete", entry, &subject, priority, 65536, 0, false), ZEP_OK);
    EXPECT_TRUE(waitUntil([&] { return subject.rounds != 0; }));
    return handle;
}

std::uint32_t returnArgument(void * argument)
{
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(argument));
}

/// Uses what a thread that was taken away at the wrong moment would have left locked: every heap, the streams, the
/// unwinder, and the creation of threads. A lock that stays is a test that does not end.
void useTheProcess()
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
    std::uint64_t handle = 0;
    std::uint32_t exitCode = 0;
    ASSERT_EQ(ZEP_eThreadCreate(&handle, "next", &returnArgument, reinterpret_cast<void *>(77), 0, 65536, 0, false),
              ZEP_OK);
    EXPECT_EQ(ZEP_eThreadJoin(handle, 60000, &exitCode), ZEP_OK);
    EXPECT_EQ(exitCode, 77U);
    EXPECT_EQ(ZEP_eThreadCleanup(handle), ZEP_OK);
}

/// The thread sanitizer puts signals off as long as a write waits, so that nothing reaches the thread, and does not
/// bear that a thread is stepped through.
bool isThreadSanitizerThere() { return &__tsan_init != nullptr; }

struct Kind
{
    char const * name;
    ZEP_ThreadEntry entry;
    int times;
    bool needsSteps = false; // seen outside the runtime too rarely
};

void PrintTo(Kind const & value, std::ostream * stream) { *stream << value.name; }

constexpr Kind kKinds[] = {{"Sleeps", &sleepLong, 200},
                           {"SleepsBehindNoexcept", &sleepBehindNoexcept, 200},
                           {"WaitsInPoll", &waitInPoll, 50},
                           {"WaitsForASignal", &waitForSignal, 50},
                           {"WaitsOnACondition", &waitOnCondition, 50, true},
                           {"Spins", &spin, 200},
                           {"SpinsInAFunction", &spinInAFunction, 10},
                           {"Allocates", &allocate, 200},
                           {"ThrowsAndCatches", &throwAndCatch, 30},
                           {"StartsThreads", &startThreads, 50},
                           {"FormatsText", &formatText, 200},
                           {"WritesToTheErrorStream", &writeToErrorStream, 200}};

class DeleteOfAThread : public testing::TestWithParam<Kind>
{
};

TEST_P(DeleteOfAThread, EndsItAndLeavesTheProcessAlone)
{
    if (GetParam().needsSteps && isThreadSanitizerThere()) {
        GTEST_SKIP() << "the thread cannot be stepped through";
    }
    common::log::test::StreamCapture capture; // a stream buffer with a lock of its own
    useTheProcess();
    std::ptrdiff_t const threads = ProcessState::threads();
    std::ptrdiff_t const descriptors = ProcessState::descriptors();
    for (int i = 0; i < GetParam().times && !HasFailure(); ++i) {
        auto subject = std::make_unique<Subject>();
        std::uint64_t const handle = start(*subject, GetParam().entry);
        ASSERT_EQ(ZEP_eThreadDelete(handle), ZEP_OK);
        subject.reset();
        EXPECT_EQ(ZEP_eThreadDelete(handle), ZEP_UNKNOWN_THREAD);
        useTheProcess();
        capture.clear();
    }
    EXPECT_TRUE(waitUntil([threads] { return ProcessState::threads() == threads; }));
    EXPECT_EQ(ProcessState::descriptors(), descriptors);
    EXPECT_TRUE(std::cerr.good());
}

INSTANTIATE_TEST_SUITE_P(That, DeleteOfAThread, testing::ValuesIn(kKinds), [](auto & kind) { return kind.param.name; });

TEST(DeleteOfAThreadAtWork, CanComeAtAnyTimeOfItsLife)
{
    struct Short
    {
        static std::uint32_t run(void * argument)
        {
            for (int i = 0; i < 3; ++i) {
                ++*static_cast<std::atomic<int> *>(argument);
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
            return 0;
        }
    };
    for (int i = 0; i < 500; ++i) {
        auto rounds = std::make_unique<std::atomic<int>>(0);
        std::uint64_t handle = 0;
        ASSERT_EQ(ZEP_eThreadCreate(&handle, "short", &Short::run, rounds.get(), 0, 65536, 0, false), ZEP_OK);
        for (int pause = 0; pause < i * 20; ++pause) {
            asm volatile("");
        }
        EXPECT_EQ(ZEP_eThreadDelete(handle), ZEP_OK);
    }
    useTheProcess();
}

class DeleteOfAStuckWriter : public testing::Test
{
protected:
    void SetUp() override
    {
        if (isThreadSanitizerThere()) {
            GTEST_SKIP() << "the thread sanitizer lets no signal into a write";
        }
    }
};

TEST_F(DeleteOfAStuckWriter, LeavesThePipeAsItIs)
{
    for (int i = 0; i < 200; ++i) {
        FullPipe pipe;
        auto subject = std::make_unique<Subject>();
        subject->descriptor = pipe.writer();
        std::uint64_t const handle = start(*subject, &writeToPipe, 10);
        ASSERT_EQ(ZEP_eThreadDelete(handle), ZEP_OK);
        subject.reset();
        EXPECT_TRUE(pipe.isAsFilled());
        EXPECT_TRUE(pipe.endsWithItsWriter());
    }
    useTheProcess();
}

TEST_F(DeleteOfAStuckWriter, LeavesTheFileUnlockedAndGood)
{
    for (int i = 0; i < 200; ++i) {
        FullPipe pipe;
        Subject subject;
        subject.file = fdopen(dup(pipe.writer()), "w");
        ASSERT_NE(subject.file, nullptr);
        setvbuf(subject.file, nullptr, _IONBF, 0);
        std::uint64_t const handle = start(subject, &writeToFile);
        ASSERT_EQ(ZEP_eThreadDelete(handle), ZEP_OK);
        EXPECT_EQ(ftrylockfile(subject.file), 0);
        funlockfile(subject.file);
        EXPECT_EQ(std::ferror(subject.file), 0);
        EXPECT_TRUE(pipe.isAsFilled());
        std::fclose(subject.file);
    }
    useTheProcess();
}

TEST_F(DeleteOfAStuckWriter, LeavesTheErrorStreamUnlockedAndGood)
{
    int const previous = dup(STDERR_FILENO);
    for (int i = 0; i < 50; ++i) {
        FullPipe pipe;
        Subject subject;
        dup2(pipe.writer(), STDERR_FILENO);
        std::uint64_t const handle = start(subject, &writeToErrorStream);
        std::uint32_t const status = ZEP_eThreadDelete(handle);
        bool const isUnlocked = ftrylockfile(stderr) == 0;
        dup2(previous, STDERR_FILENO);
        ASSERT_EQ(status, ZEP_OK);
        ASSERT_TRUE(isUnlocked);
        funlockfile(stderr);
        EXPECT_TRUE(std::cerr.good());
        EXPECT_EQ(std::ferror(stderr), 0);
        EXPECT_TRUE(pipe.isAsFilled());
        EXPECT_TRUE(pipe.endsWithItsWriter());
    }
    close(previous);
    useTheProcess();
}

TEST_F(DeleteOfAStuckWriter, WaitsForTheDestructorsOfThreadLocalObjects)
{
    struct Late
    {
        Subject * subject = nullptr;
        ~Late()
        {
            char const block[100] = {};
            ++subject->rounds;
            (void)!write(subject->descriptor, block, sizeof(block));
            ++subject->rounds;
        }
    };
    struct Entry
    {
        static std::uint32_t run(void * argument)
        {
            thread_local Late t_late;
            t_late.subject = static_cast<Subject *>(argument);
            return 0;
        }
    };
    FullPipe pipe;
    auto subject = std::make_unique<Subject>();
    subject->descriptor = pipe.writer();
    std::uint64_t const handle = start(*subject, &Entry::run); // stuck behind its entry
    EXPECT_EQ(ZEP_eThreadDelete(handle), ZEP_OK);
    EXPECT_EQ(subject->rounds, 2U);
    subject.reset();
    EXPECT_TRUE(pipe.isAsFilled());
}

TEST(DeleteOfAThreadAtWork, RescuesAJoinAndACleanupThatWait)
{
    for (int i = 0; i < 20; ++i) {
        Subject subject;
        std::uint64_t const handle = start(subject, &sleepLong);
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

/// Sleeps with its lock, as one does that waits for a slow device.
class SlowBuffer : public std::streambuf
{
public:
    std::mutex mutex;
    std::atomic<unsigned> rounds{0};

    static std::uint32_t write(void * argument)
    {
        SlowBuffer & buffer = *static_cast<SlowBuffer *>(argument);
        std::ostream stream(&buffer);
        for (;;) {
            stream.write("record", 6);
        }
    }

private:
    std::streamsize xsputn(char const *, std::streamsize size) override
    {
        std::lock_guard<std::mutex> const lock(mutex);
        ++rounds;
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
        return size;
    }
};

TEST(DeleteOfAThreadAtWork, WaitsUntilAStreamBufferHasGivenItsLockBack)
{
    if (isThreadSanitizerThere()) {
        GTEST_SKIP() << "the thread cannot be stepped through";
    }
    for (int i = 0; i < 50; ++i) {
        SlowBuffer buffer;
        std::uint64_t handle = 0;
        ASSERT_EQ(ZEP_eThreadCreate(&handle, "slow", &SlowBuffer::write, &buffer, 0, 65536, 0, false), ZEP_OK);
        EXPECT_TRUE(waitUntil([&] { return buffer.rounds != 0; }));
        EXPECT_EQ(ZEP_eThreadDelete(handle), ZEP_OK);
        ASSERT_TRUE(buffer.mutex.try_lock());
        buffer.mutex.unlock();
    }
}

TEST(DeleteOfAThreadAtWork, IsDoneOnceForManyCallers)
{
    for (int i = 0; i < 50; ++i) {
        auto subject = std::make_unique<Subject>();
        std::uint64_t const handle = start(*subject, &spin);
        std::vector<std::uint32_t> statuses(4);
        std::vector<std::thread> users;
        for (std::uint32_t & status : statuses) {
            users.emplace_back([&status, handle] { status = ZEP_eThreadDelete(handle); });
        }
        for (std::thread & user : users) {
            user.join();
        }
        EXPECT_EQ(std::count(statuses.begin(), statuses.end(), ZEP_OK), 1);
        EXPECT_THAT(statuses, testing::Each(testing::AnyOf(ZEP_OK, ZEP_BUSY, ZEP_UNKNOWN_THREAD)));
    }
}

struct Gate
{
    std::mutex mutex;
    std::condition_variable opened;
    std::atomic<bool> isAtGate{false};

    static std::uint32_t waitFor(void * argument)
    {
        Gate & gate = *static_cast<Gate *>(argument);
        std::unique_lock<std::mutex> lock(gate.mutex);
        gate.isAtGate = true;
        gate.opened.wait(lock, [] { return false; });
        return 0;
    }
};

// In processes of their own, since a stopped thread stays: that they end is part of the test.

TEST(DeleteOfAThreadThatCannotEnd, StopsItForEverAndTheProcessEnds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const deleteWaiting = [] {
        auto & gate = *new Gate;
        std::uint64_t handle = 0;
        ZEP_eThreadCreate(&handle, "gate", &Gate::waitFor, &gate, 0, 65536, 0, false);
        waitUntil([&] { return gate.isAtGate.load(); });
        std::uint32_t const deleted = ZEP_eThreadDelete(handle);
        std::uint32_t const again = ZEP_eThreadCleanup(handle);
        { // a lock that it gave back for the wait stays free, whoever is woken
            std::lock_guard<std::mutex> const lock(gate.mutex);
            gate.opened.notify_all();
        }
        useTheProcess();
        std::exit(deleted == ZEP_STOPPED_IN_PLACE && again == ZEP_UNKNOWN_THREAD ? 0 : 1);
    };
    EXPECT_EXIT(deleteWaiting(), testing::ExitedWithCode(0), "");
}

TEST(DeleteOfAThreadThatCannotEnd, SaysSoAndKeepsTheHandle)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    struct Deaf
    {
        std::atomic<bool> isDeaf{false};
        std::atomic<bool> mayEnd{false};
        static std::uint32_t run(void * argument)
        {
            Deaf & deaf = *static_cast<Deaf *>(argument);
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_SETMASK, &all, nullptr);
            deaf.isDeaf = true;
            while (!deaf.mayEnd) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            return 4;
        }
    };
    auto const deleteDeaf = [] {
        Deaf deaf;
        std::uint64_t handle = 0;
        std::uint32_t exitCode = 0;
        ZEP_eThreadCreate(&handle, "deaf", &Deaf::run, &deaf, 0, 65536, 0, false);
        waitUntil([&] { return deaf.isDeaf.load(); });
        bool isRight = ZEP_eThreadDelete(handle) == ZEP_STILL_RUNS;
        deaf.mayEnd = true;
        isRight = isRight && ZEP_eThreadJoin(handle, 60000, &exitCode) == ZEP_OK && exitCode == 4;
        std::exit(isRight && ZEP_eThreadCleanup(handle) == ZEP_OK ? 0 : 1);
    };
    EXPECT_EXIT(deleteDeaf(), testing::ExitedWithCode(0), "");
}

TEST(DeleteOfManyThreads, LetsTheProcessEnd)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const deleteMany = [] {
        static Subject subjects[20];
        for (Subject & subject : subjects) {
            std::uint64_t const handle = start(subject, &subject == subjects ? &spin : &sleepLong);
            if (ZEP_eThreadDelete(handle) != ZEP_OK) {
                std::_Exit(1);
            }
        }
        std::exit(0);
    };
    EXPECT_EXIT(deleteMany(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace common_zep::test
