#include "road.h"

#include <common_zep/thread.h>

#include <iostream>
#include <stdexcept>

namespace common::log::test {

namespace {

ZEP_ThreadEntry g_workerEntry = nullptr;
void * g_workerArgument = nullptr;
std::function<void()> g_whileJoining;

} // namespace

Road::Road()
    : m_stream(std::cerr.rdbuf(nullptr)), m_handler(std::make_unique<trace::Handler>()),
      // Without a share in the handler, so that the units can still be called while the handler goes.
      m_unit(std::make_unique<trace::CountedLog>(
          "axis.control", std::shared_ptr<trace::Handler>(std::shared_ptr<void>(), m_handler.get()), m_account)),
      m_silentUnit(std::make_unique<trace::CountedLog>(
          "axis.silent", std::shared_ptr<trace::Handler>(std::shared_ptr<void>(), m_handler.get()), m_account))
{
    m_unit->setEnablingState(true);
}

Road::~Road()
{
    m_handler.reset();
    std::cerr.rdbuf(m_stream);
}

void Road::drain()
{
    trace::DataOfQueue last;
    last.dataType = trace::DATA_TERMINATE;
    if (isFailure(m_handler->addTraceData(last))) {
        throw std::logic_error("no room for the entry that ends the worker");
    }
    (void)g_workerEntry(g_workerArgument);
}

void Road::shutDown(std::function<void()> const & work)
{
    g_whileJoining = work;
    m_handler.reset();
    g_whileJoining = nullptr;
}

} // namespace common::log::test

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
    common::log::test::g_workerEntry = entry;
    common::log::test::g_workerArgument = argument;
    return 0;
}

std::uint32_t ZEP_eThreadJoin(std::uint64_t /*handle*/, std::uint32_t /*timeoutMilliseconds*/,
                              std::uint32_t * /*exitCode*/)
{
    if (common::log::test::g_whileJoining) {
        common::log::test::g_whileJoining();
    }
    return 0;
}

std::uint32_t ZEP_eThreadDelete(std::uint64_t /*handle*/) { return 0; }

std::uint32_t ZEP_eThreadCleanup(std::uint64_t /*handle*/) { return 0; }
