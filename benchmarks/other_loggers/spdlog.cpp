#include "compared_logger.h"

#include "../measured_call.h"

#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

namespace common::log::benchmarks {

namespace {

/// One thread behind a queue of a fixed size, where the oldest record goes rather than that a caller waits; a sink
/// without a lock, since that thread alone uses it.
class Spdlog : public ComparedLogger
{
public:
    explicit Spdlog(std::string const & folder)
        : m_pool(std::make_shared<spdlog::details::thread_pool>(kComparedQueueSize, 1)),
          m_logger(std::make_shared<spdlog::async_logger>(
              "axis.control", std::make_shared<spdlog::sinks::basic_file_sink_st>(folder + "/spdlog.log"), m_pool,
              spdlog::async_overflow_policy::overrun_oldest))
    {}

    char const * name() const override { return "spdlog, asynchronous"; }

    bool log(unsigned int call) override
    {
        SPDLOG_LOGGER_WARN(m_logger, "axis {} position {:.3f} deviation {:.3f} state {}", 3, positionOf(call), -0.002,
                           "moving");
        return true; // what is lost is an older one
    }

private:
    std::shared_ptr<spdlog::details::thread_pool> m_pool;
    std::shared_ptr<spdlog::async_logger> m_logger;
};

} // namespace

std::unique_ptr<ComparedLogger> makeSpdlog(std::string const & folder) { return std::make_unique<Spdlog>(folder); }

} // namespace common::log::benchmarks
