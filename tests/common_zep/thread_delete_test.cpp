#include "thread_support.h"

#include "support/stream_capture.h"

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <mutex>
#include <ostream>
#include <poll.h>
#include <pthread.h>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>
#include <vector>

// Of the thread and the leak sanitizer, where there is one.
extern "C" [[gnu::weak]] void __tsan_init();
extern "C" [[gnu::weak]] void __lsan_disable();

namespace common_zep::test {
namespace {

/// The thread sanitizer puts signals off as long as a write waits, so that nothing reaches the thread, and does not
/// bear that a thread is stepped through.
bool isThreadSanitizerThere() { return &__tsan_init != nullptr; }
bool isLeakSanitizerThere() { return &__lsan_disable != nullptr; }

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

std::uint32_t runRounds(void * argument)
{
    Subject & subject = *static_cast<Subject *>(argument);
    if (isLeakSanitizerThere()) { // what a deleted thread holds is lost, and meant to be
        __lsan_disable();
    }
    for (;;) {
        ++subject.rounds;
        subject.round(subject);
    }
}

/// Starts a thread, and waits until it is at its work.
std::uint64_t startSubject(Subject & subject, std::uint32_t priority = 0)
{
    std::uint64_t handle = 0;
    EXPECT_EQ(ZEP_eThreadCreate(&handle, "zep.delete", &runRounds, &subject, priority, 65536, 0, false), ZEP_OK);
    EXPECT_TRUE(waitUntil([&] { return subject.rounds != 0; }));
    return handle;
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
    EXPECT_EQ(runOnThread([] { return 77U; }), 77U);
}

void allocate(Subject & subject)
{
    // With the address sanitizer a large block costs loops over its shadow, much longer than the rest of the work.
    std::size_t const largest = isLeakSanitizerThere() ? 5000 : 400000;
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
    pthread_attr_t detached;
    pthread_attr_init(&detached);
    pthread_attr_setdetachstate(&detached, PTHREAD_CREATE_DETACHED);
    pthread_t thread{};
    pthread_create(
        &thread, &detached, [](void * nothing) { return nothing; }, nullptr);
}

void writeToErrorStream(Subject & subject)
{
    std::cerr << "record " << subject.rounds << " of " << std::string(100, 'x') << std::endl;
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
    {"WaitsInPoll", [](Subject &) { poll(nullptr, 0, -1); }, 50},
    {"WaitsOnACondition", &waitOnCondition, 10, true},
    {"Spins", [](Subject &) {}, 200},
    {"Allocates", &allocate, 200},
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
    if (GetParam().needsSteps && isThreadSanitizerThere()) {
        GTEST_SKIP() << "the thread cannot be stepped through";
    }
    common::log::test::StreamCapture capture; // a stream buffer with a lock of its own
    useTheProcess();
    ProcessState const before;
    for (int i = 0; i < GetParam().times && !HasFailure(); ++i) {
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
    for (int i = 0; i < 500; ++i) {
        Work work = [] {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            return 0U;
        };
        std::uint64_t const handle = start(work);
        for (int pause = 0; pause < i * 20; ++pause) {
            asm volatile("");
        }
        EXPECT_EQ(ZEP_eThreadDelete(handle), ZEP_OK);
    }
    useTheProcess();
}

/// A pipe that takes nothing more, so that a write to it waits until somebody reads.
class FullPipe
{
public:
    FullPipe()
    {
        EXPECT_EQ(pipe2(m_ends, O_CLOEXEC), 0);
        fcntl(m_ends[1], F_SETFL, O_NONBLOCK);
        char const page[4096] = {}; // of which it takes a whole number
        while (write(m_ends[1], page, sizeof(page)) > 0) {
        }
        fcntl(m_ends[1], F_SETFL, 0);
        m_fill = waiting();
    }
    FullPipe(FullPipe const &) = delete;
    FullPipe & operator=(FullPipe const &) = delete;
    ~FullPipe()
    {
        close(m_ends[0]);
        close(m_ends[1]);
    }

    int writer() const { return m_ends[1]; }
    bool isAsFilled() const { return waiting() == m_fill; }

    /// Whether nobody else holds the writing end: then the reader hears of its closing.
    bool endsWithItsWriter()
    {
        dup2(m_ends[0], m_ends[1]); // which closes it
        pollfd reader{m_ends[0], POLLIN, 0};
        return poll(&reader, 1, 0) == 1 && (reader.revents & POLLHUP) != 0;
    }

private:
    int waiting() const
    {
        int bytes = 0;
        ioctl(m_ends[0], FIONREAD, &bytes);
        return bytes;
    }

    int m_ends[2] = {-1, -1};
    int m_fill = 0;
};

TEST(DeleteOfAThreadAtWork, LeavesPipeFileAndErrorStreamUnlockedAndGoodWhereItsWriteIsStuck)
{
    if (isThreadSanitizerThere()) {
        GTEST_SKIP() << "the thread sanitizer lets no signal into a write";
    }
    // By itself, with the lock of a file inside the C library, and with that of a stream above.
    constexpr void (*kRounds[])(Subject &) = {
        [](Subject & subject) { (void)!write(subject.descriptor, "a block of bytes", 16); },
        [](Subject & subject) { std::fputs("a line that goes out at once\n", subject.file); }, &writeToErrorStream};
    int const previous = dup(STDERR_FILENO);
    for (unsigned i = 0; i < 300; ++i) {
        FullPipe pipe;
        auto subject = std::make_unique<Subject>();
        subject->round = kRounds[i % 3];
        subject->descriptor = pipe.writer();
        subject->file = stderr;
        dup2(pipe.writer(), STDERR_FILENO);
        std::uint64_t const handle = startSubject(*subject, i % 2 == 0 ? 10 : 0);
        std::uint32_t const status = ZEP_eThreadDelete(handle);
        bool const isUnlocked = ftrylockfile(stderr) == 0;
        if (isUnlocked) {
            funlockfile(stderr);
        }
        dup2(previous, STDERR_FILENO);
        ASSERT_EQ(status, ZEP_OK);
        ASSERT_TRUE(isUnlocked);
        subject.reset();
        EXPECT_EQ(std::ferror(stderr), 0);
        EXPECT_TRUE(std::cerr.good());
        EXPECT_TRUE(pipe.isAsFilled());
        EXPECT_TRUE(pipe.endsWithItsWriter());
    }
    close(previous);
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
        std::exit(deleted == ZEP_STOPPED_IN_PLACE && again == ZEP_UNKNOWN_THREAD ? 0 : 1);
    };
    EXPECT_EXIT(deleteWaiting(), testing::ExitedWithCode(0), "");
}

TEST_F(DeleteOfAThreadThatCannotEnd, SaysSoAndKeepsTheHandle)
{
    auto const deleteDeaf = [] {
        std::atomic<bool> isDeaf{false};
        std::atomic<bool> mayEnd{false};
        Work work = [&] {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_SETMASK, &all, nullptr);
            isDeaf = true;
            return waitUntil([&] { return mayEnd.load(); }) ? 4U : 0U;
        };
        std::uint64_t const handle = start(work);
        waitUntil([&] { return isDeaf.load(); });
        bool const stillRuns = ZEP_eThreadDelete(handle) == ZEP_STILL_RUNS;
        mayEnd = true;
        std::exit(stillRuns && joinAndCleanUp(handle) == 4 ? 0 : 1);
    };
    EXPECT_EXIT(deleteDeaf(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace common_zep::test
