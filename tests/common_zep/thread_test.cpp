#include "thread_support.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <ostream>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace common_zep::test {
namespace {

std::uint32_t joinNow(std::uint64_t handle) { return ZEP_eThreadJoin(handle, 0, nullptr); }

struct Call
{
    char const * name;
    std::uint32_t (*call)(std::uint64_t handle);
    bool isReleasing;
};

void PrintTo(Call const & value, std::ostream * stream) { *stream << value.name; }

constexpr Call kCalls[] = {
    {"Join", &joinNow, false}, {"Delete", &ZEP_eThreadDelete, true}, {"Cleanup", &ZEP_eThreadCleanup, true}};

class ThreadHandle : public testing::TestWithParam<Call>
{
};

TEST_P(ThreadHandle, OfNoThreadOrTheCallingOneIsRefusedWithoutEffect)
{
    EXPECT_EQ(GetParam().call(0), ZEP_NO_THREAD);
    EXPECT_EQ(GetParam().call(~std::uint64_t{0}), ZEP_UNKNOWN_THREAD);
    for (int i = 0; i < 50; ++i) { // the thread knows its handle from its first instruction on
        std::uint64_t own = 0;
        Work work = [&] { return GetParam().call(own); };
        ASSERT_EQ(create(own, work), ZEP_OK);
        EXPECT_EQ(joinAndCleanUp(own), ZEP_OWN_THREAD);
    }
}

TEST_P(ThreadHandle, OfAnEndedThreadServesUntilItIsReleased)
{
    Work work = [] { return 1U; };
    std::uint64_t const handle = start(work);
    ASSERT_EQ(ZEP_eThreadJoin(handle, 60000, nullptr), ZEP_OK);
    EXPECT_EQ(GetParam().call(handle), ZEP_OK);
    if (!GetParam().isReleasing) {
        EXPECT_EQ(ZEP_eThreadCleanup(handle), ZEP_OK);
    }
    for (Call const & later : kCalls) {
        EXPECT_EQ(later.call(handle), ZEP_UNKNOWN_THREAD) << later.name;
    }
}

TEST_P(ThreadHandle, IsReleasedOnceForManyCallers)
{
    for (int round = 0; round < 10 && GetParam().isReleasing; ++round) {
        std::atomic<bool> mayEnd{false};
        Work work = [&mayEnd] {
            while (!mayEnd) {
                std::this_thread::yield();
            }
            return 0U;
        };
        std::uint64_t const handle = start(work);
        std::array<std::uint32_t, 4> statuses{};
        std::vector<std::thread> users;
        for (std::uint32_t & status : statuses) {
            users.emplace_back([&status, handle] { status = GetParam().call(handle); });
        }
        mayEnd = GetParam().call != &ZEP_eThreadDelete;
        for (std::thread & user : users) {
            user.join();
        }
        EXPECT_EQ(std::count(statuses.begin(), statuses.end(), ZEP_OK), 1);
        EXPECT_THAT(statuses, testing::Each(testing::AnyOf(ZEP_OK, ZEP_BUSY, ZEP_UNKNOWN_THREAD)));
    }
}

INSTANTIATE_TEST_SUITE_P(Call, ThreadHandle, testing::ValuesIn(kCalls), [](auto & kind) { return kind.param.name; });

TEST(ThreadJoin, RunsOutOfTimeAndGivesTheExitCodeEachTimeLater)
{
    std::atomic<bool> mayEnd{false};
    Work work = [&] { return waitUntil([&] { return mayEnd.load(); }) ? 0xFFFFFFFFU : 0U; };
    std::uint64_t const handle = start(work);
    std::uint32_t exitCode = 0x1234;
    for (std::uint32_t const timeout : {0U, 60U, 1001U}) {
        auto const begin = std::chrono::steady_clock::now();
        EXPECT_EQ(ZEP_eThreadJoin(handle, timeout, &exitCode), ZEP_TIMED_OUT);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(timeout));
        EXPECT_EQ(exitCode, 0x1234U);
    }
    mayEnd = true;
    EXPECT_EQ(ZEP_eThreadJoin(handle, 60000, &exitCode), ZEP_OK);
    EXPECT_EQ(exitCode, 0xFFFFFFFFU);
    EXPECT_EQ(joinAndCleanUp(handle), 0xFFFFFFFFU);
}

TEST(ThreadJoin, WaitsForTheDestructorsOfThreadLocalObjects)
{
    static std::atomic<int> g_done{0};
    struct Late
    {
        bool isMade = false; // not read at the end: not all runtimes keep the memory until then
        ~Late()
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ++g_done;
        }
    };
    runOnThread([] {
        thread_local Late t_late;
        t_late.isMade = true;
        return 0U;
    });
    EXPECT_EQ(g_done, 1);
}

TEST(ThreadCleanup, WaitsForAThreadThatStillRuns)
{
    for (int i = 0; i < 20; ++i) {
        std::atomic<bool> mayEnd{false};
        std::atomic<bool> hasEnded{false};
        Work work = [&] {
            (void)waitUntil([&] { return mayEnd.load(); });
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            hasEnded = true;
            return 0U;
        };
        std::uint64_t const handle = start(work);
        ASSERT_EQ(joinNow(handle), ZEP_TIMED_OUT);
        std::thread opener([&] { mayEnd = true; });
        EXPECT_EQ(ZEP_eThreadCleanup(handle), ZEP_OK);
        EXPECT_TRUE(hasEnded);
        opener.join();
    }
}

TEST(ThreadEnd, FromWithinCountsAndByAnExceptionEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EQ(runOnThread([]() -> std::uint32_t { endThread(); }), 0U);
    EXPECT_DEATH(runOnThread([]() -> std::uint32_t { throw std::runtime_error("left the entry"); }), "left the entry");
}

TEST(ThreadFunctions, WorkForManyThreadsAtOnceAndGiveAllResourcesBack)
{
    std::mutex mutex;
    std::set<std::uint64_t> handles;
    auto const runForUsers = [&](int rounds) {
        std::vector<std::thread> users;
        for (int user = 0; user < 6; ++user) {
            users.emplace_back([&, rounds] {
                Work work = [] { return 5U; };
                for (int round = 0; round < rounds; ++round) {
                    std::uint64_t const handle = start(work, {"resource", 10, 65536, 1});
                    EXPECT_EQ(joinAndCleanUp(handle), 5U);
                    std::lock_guard<std::mutex> const lock(mutex);
                    EXPECT_TRUE(handles.insert(handle).second);
                }
            });
        }
        for (std::thread & user : users) {
            user.join();
        }
    };
    runForUsers(10); // what the runtime sets up once
    ProcessState const before;
    runForUsers(160 / kShare);
    ProcessState const after;
    EXPECT_TRUE(waitUntilNoMoreThreadsThan(before));
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_LE(after.mappings, before.mappings + 20); // a sanitizer adds a few of its own
}

} // namespace
} // namespace common_zep::test
