#pragma once

#include "support/process_state.h"

#include <common_zep/thread.h>

#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <string>

namespace common_zep::test {

using common::log::test::ProcessState;
using common::log::test::waitUntil;
using common::log::test::waitUntilNoMoreThreadsThan;

using Work = std::function<std::uint32_t()>;

inline std::uint32_t runWork(void * argument) { return (*static_cast<Work *>(argument))(); }

struct Options
{
    char const * name = "zep.test";
    std::uint32_t priority = 0;
    std::uint32_t stackSize = 65536;
    std::uint64_t cores = 0;
};

inline std::uint32_t create(std::uint64_t & handle, Work & work, Options const & options = {})
{
    return ZEP_eThreadCreate(&handle, options.name, &runWork, &work, options.priority, options.stackSize, options.cores,
                             false);
}

inline std::uint64_t start(Work & work, Options const & options = {})
{
    std::uint64_t handle = 0;
    EXPECT_EQ(create(handle, work, options), ZEP_OK);
    return handle;
}

inline std::uint32_t joinAndCleanUp(std::uint64_t handle)
{
    std::uint32_t exitCode = 0;
    EXPECT_EQ(ZEP_eThreadJoin(handle, 60000, &exitCode), ZEP_OK);
    EXPECT_EQ(ZEP_eThreadCleanup(handle), ZEP_OK);
    return exitCode;
}

/// Runs the work on a thread of the layer until it has ended.
inline std::uint32_t runOnThread(Work work, Options const & options = {})
{
    return joinAndCleanUp(start(work, options));
}

/// What a delete answers for a thread that waits without end for a condition.
extern std::uint32_t const kDeletedFromAWait;

/// Divides the numbers of repetitions where threads and processes are slow to start.
extern int const kShare;

/// Of the calling thread, by the system.
std::string nameOfThread();
std::size_t stackSizeOfThread();
std::uint64_t coresOfThread();

/// Of the process; 0 where the system does not tell.
std::uint64_t coresOfProcess();
void bindProcessTo(std::uint64_t cores);
void bindThreadTo(std::uint64_t cores);

/// Ends the calling thread from within, past its entry.
[[noreturn]] void endThread();

} // namespace common_zep::test
