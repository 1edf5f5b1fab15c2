#include "support/fake_thread_layer.h"

#include <sstream>

namespace common::log::test {

namespace {

constexpr std::uint64_t kCores = 0x5;
constexpr std::uint64_t kHandle = 0x700000007U;

FakeThreadLayer * g_layer = nullptr;

std::string hexadecimal(std::uint64_t number)
{
    std::ostringstream text;
    text << "0x" << std::hex << number;
    return text.str();
}

} // namespace

FakeThreadLayer::FakeThreadLayer(StreamCapture const * stream) : m_stream(stream) { g_layer = this; }

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

void FakeThreadLayer::remember(std::string const & call)
{
    m_calls.push_back(call);
    m_streams.push_back(m_stream->text());
}

void FakeThreadLayer::keep(ZEP_ThreadEntry entry, void * argument)
{
    m_entry = entry;
    m_argument = argument;
}

std::uint32_t FakeThreadLayer::join()
{
    if (whileJoining) {
        whileJoining();
    }
    if (m_worker.joinable()) {
        m_worker.join();
        return m_workerExitCode;
    }
    return answers.exitCode;
}

} // namespace common::log::test

using namespace common::log::test;

std::uint32_t ZEP_eThreadGetUsableCores(std::uint64_t * cores)
{
    g_layer->remember("cores(" + std::to_string(*cores) + ")");
    *cores = kCores;
    return g_layer->answers.coresStatus;
}

std::uint32_t ZEP_eThreadCreate(std::uint64_t * handle, char const * name, ZEP_ThreadEntry entry, void * argument,
                                std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores, bool reserved)
{
    g_layer->remember("create(" + std::to_string(*handle) + ", " + name + ", priority " + std::to_string(priority) +
                      ", stack " + std::to_string(stackSize) + ", cores " + hexadecimal(cores) + ", " +
                      (reserved ? "true" : "false") + ")");
    g_layer->keep(entry, argument);
    *handle = kHandle;
    return g_layer->answers.createStatus;
}

std::uint32_t ZEP_eThreadJoin(std::uint64_t handle, std::uint32_t timeoutMilliseconds, std::uint32_t * exitCode)
{
    g_layer->remember("join(" + hexadecimal(handle) + ", " + std::to_string(timeoutMilliseconds) + ", " +
                      std::to_string(*exitCode) + ")");
    *exitCode = g_layer->join();
    return g_layer->answers.joinStatus;
}

std::uint32_t ZEP_eThreadDelete(std::uint64_t handle)
{
    g_layer->remember("delete(" + hexadecimal(handle) + ")");
    return g_layer->answers.deleteStatus;
}

std::uint32_t ZEP_eThreadCleanup(std::uint64_t handle)
{
    g_layer->remember("cleanup(" + hexadecimal(handle) + ")");
    return g_layer->answers.cleanupStatus;
}
