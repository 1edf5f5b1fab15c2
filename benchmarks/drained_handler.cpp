#include "drained_handler.h"

#include <common_zep/thread.h>

#include <cstdlib>

namespace {

ZEP_ThreadEntry g_workerEntry = nullptr;
void * g_workerArgument = nullptr;

} // namespace

namespace common::log::benchmarks {

void DrainedHandler::drain()
{
    trace::DataOfQueue last;
    last.dataType = trace::DATA_TERMINATE;
    if (isFailure(m_handler->addTraceData(last))) {
        std::abort(); // more than kRoom entries: all figures would be those of a full queue
    }
    (void)g_workerEntry(g_workerArgument);
}

} // namespace common::log::benchmarks

std::uint32_t ZEP_eThreadGetUsableCores(std::uint64_t * cores)
{
    *cores = 1;
    return 0;
}

std::uint32_t ZEP_eThreadCreate(std::uint64_t * handle, char const * /*name*/, ZEP_ThreadEntry entry, void * argument,
                                std::uint32_t /*priority*/, std::uint32_t /*stackSize*/, std::uint64_t /*cores*/,
                                bool /*reserved*/)
{
    *handle = 1;
    g_workerEntry = entry;
    g_workerArgument = argument;
    return 0;
}

std::uint32_t ZEP_eThreadJoin(std::uint64_t /*handle*/, std::uint32_t /*timeoutMilliseconds*/,
                              std::uint32_t * /*exitCode*/)
{
    return 0;
}

std::uint32_t ZEP_eThreadDelete(std::uint64_t /*handle*/) { return 0; }

std::uint32_t ZEP_eThreadCleanup(std::uint64_t /*handle*/) { return 0; }
