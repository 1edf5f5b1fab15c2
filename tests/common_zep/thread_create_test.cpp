#include "thread_support.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace common_zep::test {
namespace {

/// With tests that take rights or cores away from the process, which is a child of its own for that.
class ThreadCreate : public testing::Test
{
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(ThreadCreate, RefusesNullPointers)
{
    std::uint64_t handle = 5;
    EXPECT_EQ(ZEP_eThreadCreate(nullptr, "none", &runWork, nullptr, 0, 65536, 0, false), ZEP_INVALID_ARGUMENT);
    EXPECT_EQ(ZEP_eThreadCreate(&handle, "none", nullptr, nullptr, 0, 65536, 0, false), ZEP_INVALID_ARGUMENT);
    EXPECT_EQ(handle, 0U);
    EXPECT_EQ(ZEP_eThreadGetUsableCores(nullptr), ZEP_INVALID_ARGUMENT);
}

TEST_F(ThreadCreate, LeavesNothingBehindWhenTheSystemRefuses)
{
    auto const createWithoutRoom = [] {
        Work work = [] { return 0U; };
        std::uint64_t handle = 5;
        rlimit const none = {1, 1};
        if (setrlimit(RLIMIT_NPROC, &none) != 0 || setresuid(65533, 65533, 65533) != 0) {
            std::_Exit(2);
        }
        std::uint32_t const status = create(handle, work, {"none", 10, 65536, 0});
        std::_Exit(status == ZEP_START_REFUSED && handle == 0 && ZEP_eThreadDelete(1) == ZEP_UNKNOWN_THREAD ? 0 : 1);
    };
    if (geteuid() != 0) {
        GTEST_SKIP() << "takes another user, which takes root";
    }
    EXPECT_EXIT(createWithoutRoom(), testing::ExitedWithCode(0), "");
}

TEST_F(ThreadCreate, NamesTheThreadAsFarAsTheSystemTakesIt)
{
    char creator[64] = {};
    pthread_getname_np(pthread_self(), creator, sizeof(creator));
    for (auto const & [given, expected] : {std::pair<char const *, char const *>{"fifteen.letters", "fifteen.letters"},
                                           {"one.more.than.15", "one.more.than.1"},
                                           {"", creator},
                                           {nullptr, creator}}) {
        char shown[64] = {};
        runOnThread([&] { return pthread_getname_np(pthread_self(), shown, sizeof(shown)) == 0 ? 0U : 1U; },
                    {given, 0, 65536, 0});
        EXPECT_STREQ(shown, expected);
    }
}

/// Touches the stack down to `bytes` below its own frame.
[[gnu::noinline]] std::uint32_t useStack(std::size_t bytes)
{
    auto * const memory = static_cast<unsigned char *>(__builtin_alloca(bytes));
    std::memset(memory, 0x5A, bytes);
    asm volatile("" : : "r"(memory) : "memory");
    return memory[bytes / 2];
}

TEST_F(ThreadCreate, GivesTheStackAskedForAndNotMuchMore)
{
    for (std::uint32_t const asked : {0U, 4096U, 65536U, 65537U, 8U * 1024 * 1024}) {
        SCOPED_TRACE(asked);
        std::size_t size = 0;
        std::size_t const used = asked == 0 ? 100000 : asked - 512; // the frames up to here
        Work const work = [&] {
            pthread_attr_t attributes;
            pthread_getattr_np(pthread_self(), &attributes);
            pthread_attr_getstacksize(&attributes, &size);
            pthread_attr_destroy(&attributes);
            return useStack(used);
        };
        EXPECT_EQ(runOnThread(work, {"stack", 0, asked, 0}), 0x5AU);
        if (asked != 0) { // else it is the system's default
            EXPECT_GE(size, asked);
            EXPECT_LE(size, asked + 2U * 1024 * 1024);
        }
    }
}

/// Binds the process, or only the calling thread, to a single core.
void bindTo(unsigned core, pid_t process)
{
    cpu_set_t one = {};
    CPU_SET(core, &one);
    sched_setaffinity(process, sizeof(one), &one);
}

TEST_F(ThreadCreate, TellsTheCoresOfTheProcessAndKeepsTheThreadOnThoseAskedFor)
{
    cpu_set_t set = {};
    ASSERT_EQ(sched_getaffinity(getpid(), sizeof(set), &set), 0);
    std::uint64_t expected = 0;
    unsigned first = 64;
    for (unsigned core = 64; core-- > 0;) {
        if (CPU_ISSET(core, &set)) {
            expected |= std::uint64_t{1} << core;
            first = core;
        }
    }
    std::uint64_t usable = 0;
    std::thread([&] {
        bindTo(first, 0); // the caller's own cores are not those of the process
        EXPECT_EQ(ZEP_eThreadGetUsableCores(&usable), ZEP_OK);
    }).join();
    EXPECT_EQ(usable, expected);
    for (unsigned core = 0; core < 64; ++core) {
        if ((usable >> core & 1) != 0) {
            std::uint64_t const asked = std::uint64_t{1} << core | ~usable; // what is not usable is left out
            runOnThread([&set] { return static_cast<std::uint32_t>(sched_getaffinity(0, sizeof(set), &set)); },
                        {"core", 0, 65536, asked});
            EXPECT_EQ(CPU_COUNT(&set), 1);
            EXPECT_TRUE(CPU_ISSET(core, &set));
        }
    }
}

TEST_F(ThreadCreate, RefusesCoresOfWhichNoneIsUsable)
{
    auto const createOutside = [] {
        std::uint64_t usable = 0;
        ZEP_eThreadGetUsableCores(&usable);
        std::uint64_t const first = usable & -usable;
        bindTo(static_cast<unsigned>(__builtin_ctzll(first)), getpid());
        Work work = [] { return 0U; };
        std::uint64_t handle = 5;
        std::uint32_t const status = create(handle, work, {"none", 0, 65536, ~first});
        std::_Exit(status == ZEP_NO_USABLE_CORE && handle == 0 ? 0 : 1);
    };
    EXPECT_EXIT(createOutside(), testing::ExitedWithCode(0), "");
}

using Schedule = std::pair<int, int>; // policy and level

Schedule scheduleOf(std::uint32_t priority)
{
    Schedule schedule;
    runOnThread(
        [&schedule] {
            sched_param parameter = {};
            pthread_getschedparam(pthread_self(), &schedule.first, &parameter);
            schedule.second = parameter.sched_priority;
            return 0U;
        },
        {"schedule", priority, 65536, 0});
    return schedule;
}

TEST_F(ThreadCreate, TakesThePriorityForTheLevelOfTheRealTimePolicy)
{
    bool isAllowed = false;
    std::thread([&] {
        sched_param parameter = {};
        parameter.sched_priority = 99;
        isAllowed = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameter) == 0;
        if (isAllowed) { // 0 is the default policy, also below a creator with another one
            EXPECT_EQ(scheduleOf(0), Schedule(SCHED_OTHER, 0));
        }
    }).join();
    if (!isAllowed) {
        GTEST_SKIP() << "the system refuses the real-time policy here";
    }
    for (std::uint32_t const priority : {1U, 99U, 100U, 0xFFFFFFFFU}) {
        EXPECT_EQ(scheduleOf(priority), Schedule(SCHED_FIFO, static_cast<int>(std::min(priority, 99U))));
    }
}

TEST_F(ThreadCreate, FallsBackToTheDefaultPolicyWhereTheSystemRefuses)
{
    auto const createWithoutRight = [] {
        rlimit const none = {0, 0};
        setrlimit(RLIMIT_RTPRIO, &none);
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) {
            std::_Exit(2);
        }
        std::_Exit(scheduleOf(10) == Schedule(SCHED_OTHER, 0) ? 0 : 1);
    };
    EXPECT_EXIT(createWithoutRight(), testing::ExitedWithCode(0), "");
}

TEST_F(ThreadCreate, LeavesTheThreadNoSignalsButThoseOfFaults)
{
    sigset_t blocked;
    sigemptyset(&blocked);
    runOnThread([&blocked] { return static_cast<std::uint32_t>(pthread_sigmask(SIG_SETMASK, nullptr, &blocked)); });
    for (int const number : {SIGTERM, SIGINT, SIGHUP, SIGPIPE, SIGALRM, SIGUSR1, SIGCHLD, SIGRTMIN}) {
        EXPECT_EQ(sigismember(&blocked, number), 1) << strsignal(number);
    }
    for (int const number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        EXPECT_EQ(sigismember(&blocked, number), 0) << strsignal(number);
    }
}

} // namespace
} // namespace common_zep::test
