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

/// With tests that take rights away from the process, which is a child of its own for that.
class ThreadCreateOnPosix : public testing::Test
{
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(ThreadCreateOnPosix, LeavesNothingBehindWhenTheSystemRefuses)
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

TEST_F(ThreadCreateOnPosix, TakesThePriorityForTheLevelOfTheRealTimePolicy)
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

TEST_F(ThreadCreateOnPosix, FallsBackToTheDefaultPolicyWhereTheSystemRefuses)
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

TEST_F(ThreadCreateOnPosix, LeavesTheThreadNoSignalsButThoseOfFaults)
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
