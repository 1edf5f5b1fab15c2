#include "compared_logger.h"

#include "../measured_call.h"

#include <log4cplus/asyncappender.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <memory>

namespace common::log::benchmarks {

namespace {

/// The asynchronous appender, whose queue has a fixed size, in front of a file that is not flushed for each record.
class Log4cplus : public ComparedLogger
{
public:
    explicit Log4cplus(std::string const & folder)
        : m_logger(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("axis.control")))
    {
        log4cplus::SharedAppenderPtr const file(
            new log4cplus::FileAppender(folder + "/log4cplus.log", std::ios_base::trunc, false));
        file->setLayout(
            std::make_unique<log4cplus::PatternLayout>(LOG4CPLUS_TEXT("%d{%Y-%m-%dT%H:%M:%S.%q}|%p|%c|%b|%M|%L|%m%n")));
        m_logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::AsyncAppender(file, kComparedQueueSize)));
        m_logger.setAdditivity(false);
    }
    Log4cplus(Log4cplus const &) = delete;
    Log4cplus & operator=(Log4cplus const &) = delete;
    ~Log4cplus() override { m_logger.removeAllAppenders(); }

    char const * name() const override { return "log4cplus, asynchronous"; }

    bool log(unsigned int call) override
    {
        LOG4CPLUS_WARN_FMT(m_logger, kMeasuredFormat, 3, positionOf(call), -0.002, "moving");
        return true;
    }

private:
    log4cplus::Initializer m_initializer;
    log4cplus::Logger m_logger;
};

} // namespace

std::unique_ptr<ComparedLogger> makeLog4cplus(std::string const & folder)
{
    return std::make_unique<Log4cplus>(folder);
}

} // namespace common::log::benchmarks
