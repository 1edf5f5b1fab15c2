#include "process_state.h"
#include "run_on_thread.h"

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <ostream>
#include <pthread.h>
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

TEST_P(ThreadHandle, OfNoThreadIsRefused)
{
    EXPECT_EQ(GetParam().call(0), ZEP_NO_THREAD);
    EXPECT_EQ(GetParam().call(~std::uint64_t{0}), ZEP_UNKNOWN_THREAD);
}

TEST_P(ThreadHandle, OfTheCallingThreadIsRefusedWithoutEffect)
{
    std::uint32_t status = 0;
    std::uint64_t own = 0;
    Work work = [&] {
        status = GetParam().call(own);
        return 7U;
    };
    ASSERT_EQ(ZEP_eThreadCreate(&own, "own", &runWork, &work, 0, 65536, 0, false), ZEP_OK);
    EXPECT_EQ(joinAndCleanUp(own), 7U);
    EXPECT_EQ(status, ZEP_OWN_THREAD);
}

TEST_P(ThreadHandle, OfAnEndedThreadServesUntilItIsReleased)
{
    Work work = [] { return 1U; };
    std::uint64_t const handle = start(work);
    ASSERT_EQ(ZEP_eThreadJoin(handle, 60000, nullptr), ZEP_OK);
    EXPECT_EQ(GetParam().call(handle), ZEP_OK);
    if (!GetParam().isReleasing) {
        EXPECT_EQ(GetParam().call(handle), ZEP_OK);
        EXPECT_EQ(ZEP_eThreadCleanup(handle), ZEP_OK);
    }
    for (Call const & later : kCalls) {
        SCOPED_TRACE(later.name);
        EXPECT_EQ(later.call(handle), ZEP_UNKNOWN_THREAD);
    }
}

INSTANTIATE_TEST_SUITE_P(Call, ThreadHandle, testing::ValuesIn(kCalls), [](auto & kind) { return kind.param.name; });

TEST(ThreadHandle, IsNewForEachThread)
{
    std::set<std::uint64_t> handles;
    Work work = [] { return 0U; };
    for (int i = 0; i < 100; ++i) {
        std::uint64_t const handle = start(work);
        EXPECT_NE(handle, 0U);
        EXPECT_TRUE(handles.insert(handle).second);
        joinAndCleanUp(handle);
    }
}

TEST(ThreadHandle, IsKnownToTheThreadItselfFromItsFirstInstruction)
{
    for (int i = 0; i < 100; ++i) {
        std::uint64_t handle = 0;
        Work work = [&handle] { return handle == 0 ? 1U : joinNow(handle); };
        ASSERT_EQ(ZEP_eThreadCreate(&handle, "own", &runWork, &work, 0, 65536, 0, false), ZEP_OK);
        EXPECT_EQ(joinAndCleanUp(handle), ZEP_OWN_THREAD);
    }
}

TEST(ThreadJoin, GivesTheExitCodeEachTime)
{
    for (std::uint32_t const code : {0U, 1U, 0x80000000U, 0xFFFFFFFFU}) {
        Work work = [code] { return code; };
        std::uint64_t const handle = start(work);
        for (int i = 0; i < 2; ++i) {
            std::uint32_t exitCode = ~code;
            EXPECT_EQ(ZEP_eThreadJoin(handle, 60000, &exitCode), ZEP_OK);
            EXPECT_EQ(exitCode, code);
        }
        EXPECT_EQ(ZEP_eThreadCleanup(handle), ZEP_OK);
    }
}

TEST(ThreadJoin, RunsOutOfTimeAndCanBeRepeated)
{
    std::atomic<bool> mayEnd{false};
    Work work = [&] {
        while (!mayEnd) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return 3U;
    };
    std::uint64_t const handle = start(work);
    std::uint32_t exitCode = 0x1234;
    for (std::uint32_t const timeout : {0U, 1U, 60U, 1001U}) {
        auto const begin = std::chrono::steady_clock::now();
        EXPECT_EQ(ZEP_eThreadJoin(handle, timeout, &exitCode), ZEP_TIMED_OUT);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(timeout));
        EXPECT_EQ(exitCode, 0x1234U);
    }
    mayEnd = true;
    EXPECT_EQ(joinAndCleanUp(handle), 3U);
}

TEST(ThreadJoin, WaitsForTheDestructorsOfThreadLocalObjects)
{
    struct Late
    {
        std::atomic<int> * target = nullptr;
        ~Late()
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ++*target;
        }
    };
    for (int i = 0; i < 10; ++i) {
        auto done = std::make_unique<std::atomic<int>>(0);
        Work work = [&done] {
            thread_local Late t_late;
            t_late.target = done.get();
            return 0U;
        };
        std::uint64_t const handle = start(work);
        EXPECT_EQ(ZEP_eThreadJoin(handle, 60000, nullptr), ZEP_OK);
        EXPECT_EQ(*done, 1);
        EXPECT_EQ(ZEP_eThreadCleanup(handle), ZEP_OK);
    }
}

TEST(ThreadCleanup, WaitsForAThreadThatStillRuns)
{
    for (int i = 0; i < 20; ++i) {
        struct Shared
        {
            std::atomic<bool> mayEnd{false};
            std::array<int, 1000> touched{};
        };
        auto shared = std::make_unique<Shared>();
        Work work = [raw = shared.get()] {
            for (unsigned round = 0; !raw->mayEnd || round < 1000; ++round) {
                ++raw->touched[round % raw->touched.size()];
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            ++raw->touched[0];
            return 0U;
        };
        std::uint64_t const handle = start(work);
        ASSERT_EQ(joinNow(handle), ZEP_TIMED_OUT);
        std::thread opener([raw = shared.get()] { raw->mayEnd = true; });
        EXPECT_EQ(ZEP_eThreadCleanup(handle), ZEP_OK);
        opener.join();
        shared.reset(); // the sanitizers see a thread that comes after this
    }
}

TEST(ThreadEnd, ByPthreadExitCountsAsAnEnd)
{
    EXPECT_EQ(runOnThread([]() -> std::uint32_t { pthread_exit(nullptr); }), 0U);
}

TEST(ThreadEnd, ByAnExceptionEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(runOnThread([]() -> std::uint32_t { throw std::runtime_error("left the entry"); }), "left the entry");
}

TEST(ThreadResources, AreAllGivenBack)
{
    Work work = [] { return 0U; };
    auto const round = [&work] { joinAndCleanUp(start(work, {"resource", 10, 65536, 1})); };
    for (int i = 0; i < 50; ++i) { // what the runtime sets up once
        round();
    }
    std::ptrdiff_t const threads = ProcessState::threads();
    std::ptrdiff_t const descriptors = ProcessState::descriptors();
    std::ptrdiff_t const mappings = ProcessState::mappings();
    for (int i = 0; i < 1000; ++i) {
        round();
    }
    EXPECT_TRUE(waitUntil([threads] { return ProcessState::threads() == threads; }));
    EXPECT_EQ(ProcessState::descriptors(), descriptors);
    EXPECT_LE(ProcessState::mappings(), mappings + 20); // a sanitizer adds a few of its own
}

TEST(ThreadFunctions, WorkForManyThreadsAtOnce)
{
    std::atomic<unsigned> ran{0};
    std::mutex mutex;
    std::set<std::uint64_t> handles;
    std::vector<std::thread> users;
    for (int user = 0; user < 6; ++user) {
        users.emplace_back([&] {
            Work work = [&ran] { return ++ran; };
            for (int i = 0; i < 60; ++i) {
                std::uint64_t const handle = start(work);
                {
                    std::lock_guard<std::mutex> const lock(mutex);
                    EXPECT_TRUE(handles.insert(handle).second);
                }
                EXPECT_NE(joinAndCleanUp(handle), 0U);
            }
        });
    }
    for (std::thread & user : users) {
        user.join();
    }
    EXPECT_EQ(ran, 360U);
}

TEST(ThreadFunctions, ReleaseOneThreadOnceForManyCallers)
{
    for (int round = 0; round < 50; ++round) {
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
            users.emplace_back([&status, handle] { status = ZEP_eThreadCleanup(handle); });
        }
        mayEnd = true;
        for (std::thread & user : users) {
            user.join();
        }
        EXPECT_THAT(statuses,
                    testing::UnorderedElementsAre(ZEP_OK, ZEP_UNKNOWN_THREAD, ZEP_UNKNOWN_THREAD, ZEP_UNKNOWN_THREAD));
    }
}

} // namespace
} // namespace common_zep::test
