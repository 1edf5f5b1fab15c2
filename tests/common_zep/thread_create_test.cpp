#include "run_on_thread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace common_zep::test {
namespace {

TEST(ThreadCreate, RefusesNullPointers)
{
    std::uint64_t handle = 5;
    EXPECT_EQ(ZEP_eThreadCreate(nullptr, "none", &runWork, nullptr, 0, 65536, 0, false), ZEP_INVALID_ARGUMENT);
    EXPECT_EQ(ZEP_eThreadCreate(&handle, "none", nullptr, nullptr, 0, 65536, 0, false), ZEP_INVALID_ARGUMENT);
    EXPECT_EQ(handle, 0U);
    EXPECT_EQ(ZEP_eThreadGetUsableCores(nullptr), ZEP_INVALID_ARGUMENT);
}

TEST(ThreadCreate, LeavesNothingBehindWhenTheSystemRefuses)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // In a process of its own, whose user is out of threads.
    auto const createWithoutRoom = [] {
        Work work = [] { return 0U; };
        std::uint64_t handle = 5;
        rlimit const none = {1, 1};
        if (setrlimit(RLIMIT_NPROC, &none) != 0 || setresuid(65533, 65533, 65533) != 0) {
            std::_Exit(2);
        }
        std::uint32_t const status = ZEP_eThreadCreate(&handle, "none", &runWork, &work, 10, 65536, 0, false);
        std::_Exit(status == ZEP_START_REFUSED && handle == 0 && ZEP_eThreadDelete(1) == ZEP_UNKNOWN_THREAD ? 0 : 1);
    };
    if (geteuid() != 0) {
        GTEST_SKIP() << "takes another user, which takes root";
    }
    EXPECT_EXIT(createWithoutRoom(), testing::ExitedWithCode(0), "");
}

struct Name
{
    char const * given;
    char const * shown;
};

void PrintTo(Name const & value, std::ostream * stream) { *stream << (value.given != nullptr ? value.given : "null"); }

class ThreadName : public testing::TestWithParam<Name>
{
};

TEST_P(ThreadName, IsCutToWhatTheSystemTakes)
{
    char shown[64] = {};
    Options options;
    options.name = GetParam().given;
    runOnThread([&] { return static_cast<std::uint32_t>(pthread_getname_np(pthread_self(), shown, sizeof(shown))); },
                options);
    char creator[64] = {};
    pthread_getname_np(pthread_self(), creator, sizeof(creator));
    EXPECT_STREQ(shown, GetParam().shown != nullptr ? GetParam().shown : creator);
}

INSTANTIATE_TEST_SUITE_P(Text, ThreadName,
                         testing::Values(Name{"TraceHandler", "TraceHandler"},
                                         Name{"fifteen.letters", "fifteen.letters"},
                                         Name{"one.more.than.15", "one.more.than.1"}, Name{"", nullptr},
                                         Name{nullptr, nullptr}));

class ThreadStack : public testing::TestWithParam<std::uint32_t>
{
};

/// Touches the stack down to `bytes` below its own frame.
[[gnu::noinline]] std::uint32_t useStack(std::size_t bytes)
{
    auto * const memory = static_cast<unsigned char *>(__builtin_alloca(bytes));
    std::memset(memory, 0x5A, bytes);
    asm volatile("" : : "r"(memory) : "memory");
    return memory[bytes / 2];
}

TEST_P(ThreadStack, HasTheSizeAskedFor)
{
    Options options;
    options.stackSize = GetParam();
    std::size_t const used = GetParam() - std::min<std::size_t>(GetParam(), 512); // the frames up to here
    EXPECT_EQ(runOnThread([used] { return used == 0 ? 0x5AU : useStack(used); }, options), 0x5AU);
}

TEST_P(ThreadStack, IsNotMuchLarger)
{
    std::size_t size = 0;
    Options options;
    options.stackSize = GetParam();
    runOnThread(
        [&size] {
            pthread_attr_t attributes;
            pthread_getattr_np(pthread_self(), &attributes);
            pthread_attr_getstacksize(&attributes, &size);
            return static_cast<std::uint32_t>(pthread_attr_destroy(&attributes));
        },
        options);
    EXPECT_GE(size, GetParam());
    EXPECT_LE(size, GetParam() + 2U * 1024 * 1024);
}

INSTANTIATE_TEST_SUITE_P(Bytes, ThreadStack, testing::Values(1U, 4096U, 65536U, 65537U, 8U * 1024 * 1024));

TEST(ThreadStackOfZero, IsTheSystemsDefault)
{
    Options options;
    options.stackSize = 0;
    EXPECT_EQ(runOnThread([] { return useStack(100000); }, options), 0x5AU);
}

TEST(ThreadCores, AreThoseOfTheProcessAndNotOfTheCaller)
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
    std::uint64_t cores = 0;
    std::thread([&] { // bound to one core itself
        cpu_set_t one = {};
        CPU_SET(first, &one);
        sched_setaffinity(0, sizeof(one), &one);
        EXPECT_EQ(ZEP_eThreadGetUsableCores(&cores), ZEP_OK);
    })
        .join();
    EXPECT_EQ(cores, expected);
}

TEST(ThreadCores, AreHonoured)
{
    std::uint64_t usable = 0;
    ASSERT_EQ(ZEP_eThreadGetUsableCores(&usable), ZEP_OK);
    for (unsigned core = 0; core < 64; ++core) {
        if ((usable >> core & 1) == 0) {
            continue;
        }
        cpu_set_t set = {};
        Options options;
        options.cores = std::uint64_t{1} << core | ~usable; // what is not usable is left out
        runOnThread([&set] { return static_cast<std::uint32_t>(sched_getaffinity(0, sizeof(set), &set)); }, options);
        EXPECT_EQ(CPU_COUNT(&set), 1);
        EXPECT_TRUE(CPU_ISSET(core, &set));
    }
}

TEST(ThreadCores, AreRefusedWhereNoneIsUsable)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const createOutside = [] {
        std::uint64_t usable = 0;
        ZEP_eThreadGetUsableCores(&usable);
        unsigned first = 0;
        while ((usable >> first & 1) == 0) {
            ++first;
        }
        cpu_set_t one = {}; // the process keeps a single core, so that there is one outside
        CPU_SET(first, &one);
        sched_setaffinity(getpid(), sizeof(one), &one);
        Work work = [] { return 0U; };
        std::uint64_t handle = 5;
        std::uint32_t const status =
            ZEP_eThreadCreate(&handle, "none", &runWork, &work, 0, 65536, ~(std::uint64_t{1} << first), false);
        std::_Exit(status == ZEP_NO_USABLE_CORE && handle == 0 ? 0 : 1);
    };
    EXPECT_EXIT(createOutside(), testing::ExitedWithCode(0), "");
}

struct Schedule
{
    int policy = -1;
    int level = -1;
};

Schedule scheduleOf(std::uint32_t priority)
{
    Schedule schedule;
    Options options;
    options.priority = priority;
    runOnThread(
        [&schedule] {
            sched_param parameter = {};
            pthread_getschedparam(pthread_self(), &schedule.policy, &parameter);
            schedule.level = parameter.sched_priority;
            return 0U;
        },
        options);
    return schedule;
}

TEST(ThreadPriority, IsTheLevelOfTheRealTimePolicy)
{
    bool isAllowed = false;
    std::thread([&] {
        sched_param parameter = {};
        parameter.sched_priority = 99;
        isAllowed = pthread_setschedparam(pthread_self(), SCHED_FIFO, &parameter) == 0;
        if (isAllowed) { // 0 is the default policy, also below a creator with another one
            EXPECT_EQ(scheduleOf(0).policy, SCHED_OTHER);
        }
    }).join();
    if (!isAllowed) {
        GTEST_SKIP() << "the system refuses the real-time policy here";
    }
    for (std::uint32_t const priority : {1U, 10U, 99U, 100U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(priority);
        Schedule const schedule = scheduleOf(priority);
        EXPECT_EQ(schedule.policy, SCHED_FIFO);
        EXPECT_EQ(schedule.level, static_cast<int>(std::min(priority, 99U)));
    }
}

TEST(ThreadPriority, FallsBackWhereTheSystemRefuses)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const createWithoutRight = [] {
        rlimit const none = {0, 0};
        setrlimit(RLIMIT_RTPRIO, &none);
        if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0) {
            std::_Exit(2);
        }
        Schedule const schedule = scheduleOf(10);
        std::_Exit(schedule.policy == SCHED_OTHER && schedule.level == 0 ? 0 : 1);
    };
    EXPECT_EXIT(createWithoutRight(), testing::ExitedWithCode(0), "");
}

TEST(ThreadSignals, LeaveTheThreadAloneExceptThoseOfFaults)
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
