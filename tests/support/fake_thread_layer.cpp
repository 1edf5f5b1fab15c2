#include "support/fake_thread_layer.h"

#include "support/stream_capture.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace common::log::test {

namespace {

constexpr std::uint32_t kNoLayer = 0xF0010FFFU;

FakeThreadLayer * g_layer = nullptr;

} // namespace

FakeThreadLayer::FakeThreadLayer(StreamCapture const * stream) : m_stream(stream)
{
    if (g_layer != nullptr) {
        throw std::logic_error("a process has one thread layer");
    }
    g_layer = this;
}

FakeThreadLayer::~FakeThreadLayer()
{
    g_layer = nullptr;
    if (m_worker.joinable()) {
        m_worker.join();
    }
}

void FakeThreadLayer::startWorker()
{
    m_worker = std::thread([this] { m_workerExitCode = runWorker(); });
}

void FakeThreadLayer::remember(char const * format, ...)
{
    char text[256];
    std::va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    m_calls.emplace_back(text);
    m_streams.push_back(m_stream != nullptr ? m_stream->text() : std::string());
}

std::uint32_t FakeThreadLayer::getUsableCores(std::uint64_t * cores)
{
    remember("cores(%" PRIu64 ")", *cores);
    *cores = answers.cores;
    return answers.coresStatus;
}

std::uint32_t FakeThreadLayer::create(std::uint64_t * handle, char const * name, ZEP_ThreadEntry entry, void * argument,
                                      std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores,
                                      bool reserved)
{
    remember("create(%" PRIu64 ", %s, priority %u, stack %u, cores 0x%" PRIx64 ", %s)", *handle, name, priority,
             stackSize, cores, reserved ? "true" : "false");
    m_entry = entry;
    m_argument = argument;
    if (answers.handle != 0) {
        *handle = answers.handle;
    }
    return answers.createStatus;
}

std::uint32_t FakeThreadLayer::join(std::uint64_t handle, std::uint32_t timeoutMilliseconds, std::uint32_t * exitCode)
{
    remember("join(0x%" PRIx64 ", %u, %u)", handle, timeoutMilliseconds, *exitCode);
    *exitCode = answers.exitCode;
    if (whileJoining) {
        whileJoining();
    }
    if (m_worker.joinable()) {
        m_worker.join();
        *exitCode = m_workerExitCode;
    }
    return answers.joinStatus;
}

std::uint32_t FakeThreadLayer::remove(std::uint64_t handle)
{
    remember("delete(0x%" PRIx64 ")", handle);
    return answers.deleteStatus;
}

std::uint32_t FakeThreadLayer::cleanup(std::uint64_t handle)
{
    remember("cleanup(0x%" PRIx64 ")", handle);
    return answers.cleanupStatus;
}

} // namespace common::log::test

using common::log::test::g_layer;
using common::log::test::kNoLayer;

std::uint32_t ZEP_eThreadGetUsableCores(std::uint64_t * cores)
{
    return g_layer != nullptr ? g_layer->getUsableCores(cores) : kNoLayer;
}

std::uint32_t ZEP_eThreadCreate(std::uint64_t * handle, char const * name, ZEP_ThreadEntry entry, void * argument,
                                std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores, bool reserved)
{
    return g_layer != nullptr ? g_layer->create(handle, name, entry, argument, priority, stackSize, cores, reserved)
                              : kNoLayer;
}

std::uint32_t ZEP_eThreadJoin(std::uint64_t handle, std::uint32_t timeoutMilliseconds, std::uint32_t * exitCode)
{
    return g_layer != nullptr ? g_layer->join(handle, timeoutMilliseconds, exitCode) : kNoLayer;
}

std::uint32_t ZEP_eThreadDelete(std::uint64_t handle)
{
    return g_layer != nullptr ? g_layer->remove(handle) : kNoLayer;
}

std::uint32_t ZEP_eThreadCleanup(std::uint64_t handle)
{
    return g_layer != nullptr ? g_layer->cleanup(handle) : kNoLayer;
}
