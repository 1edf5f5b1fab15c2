#include "thread_support.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>

namespace common_zep::test {
namespace {

/// With tests that take cores away from the process, which is a child of its own for that.
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

TEST_F(ThreadCreate, NamesTheThreadAsFarAsTheSystemTakesIt)
{
    std::string const creator = nameOfThread();
    for (auto const & [given, expected] : {std::pair<char const *, std::string>{"fifteen.letters", "fifteen.letters"},
                                           {"one.more.than.15", "one.more.than.1"},
                                           {"", creator},
                                           {nullptr, creator}}) {
        std::string shown;
        runOnThread(
            [&shown] {
                shown = nameOfThread();
                return 0U;
            },
            {given, 0, 65536, 0});
        EXPECT_EQ(shown, expected);
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
            size = stackSizeOfThread();
            return useStack(used);
        };
        EXPECT_EQ(runOnThread(work, {"stack", 0, asked, 0}), 0x5AU);
        if (asked != 0) { // else it is the system's default
            EXPECT_GE(size, asked);
            EXPECT_LE(size, asked + 2U * 1024 * 1024);
        }
    }
}

TEST_F(ThreadCreate, TellsTheCoresOfTheProcessAndKeepsTheThreadOnThoseAskedFor)
{
    std::uint64_t const expected = coresOfProcess();
    ASSERT_NE(expected, 0U);
    std::uint64_t usable = 0;
    std::thread([&] {
        bindThreadTo(expected & -expected); // the caller's own cores are not those of the process
        EXPECT_EQ(ZEP_eThreadGetUsableCores(&usable), ZEP_OK);
    }).join();
    EXPECT_EQ(usable, expected);
    for (std::uint64_t rest = usable; rest != 0; rest &= rest - 1) {
        std::uint64_t const core = rest & -rest;
        std::uint64_t cores = 0;
        runOnThread(
            [&cores] {
                cores = coresOfThread();
                return 0U;
            },
            {"core", 0, 65536, core | ~usable}); // what is not usable is left out
        EXPECT_EQ(cores, core);
    }
}

TEST_F(ThreadCreate, RefusesCoresOfWhichNoneIsUsable)
{
    auto const createOutside = [] {
        std::uint64_t usable = 0;
        ZEP_eThreadGetUsableCores(&usable);
        std::uint64_t const first = usable & -usable;
        bindProcessTo(first);
        Work work = [] { return 0U; };
        std::uint64_t handle = 5;
        std::uint32_t const status = create(handle, work, {"none", 0, 65536, ~first});
        std::_Exit(status == ZEP_NO_USABLE_CORE && handle == 0 ? 0 : 1);
    };
    EXPECT_EXIT(createOutside(), testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace common_zep::test
