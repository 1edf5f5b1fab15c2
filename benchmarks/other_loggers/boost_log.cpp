#include "compared_logger.h"

#include "../measured_call.h"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/log/attributes/clock.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/async_frontend.hpp>
#include <boost/log/sinks/bounded_fifo_queue.hpp>
#include <boost/log/sinks/drop_on_overflow.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_logger.hpp>
#include <boost/make_shared.hpp>

#include <fstream>
#include <iomanip>

namespace common::log::benchmarks {

namespace {

namespace sinks = boost::log::sinks;
namespace expressions = boost::log::expressions;

/// A sink with a thread behind a queue of a fixed size, where a record goes rather than that a caller waits; a stream
/// that is not flushed for each record; and a source of records for each thread, which then needs no lock.
class BoostLog : public ComparedLogger
{
public:
    explicit BoostLog(std::string const & folder)
    {
        auto const backend = boost::make_shared<sinks::text_ostream_backend>();
        backend->add_stream(boost::make_shared<std::ofstream>(folder + "/boost_log.log"));
        m_sink = boost::make_shared<Sink>(backend);
        m_sink->set_formatter(expressions::stream << expressions::attr<boost::posix_time::ptime>("TimeStamp") << '|'
                                                  << expressions::attr<int>("Severity") << '|'
                                                  << expressions::smessage);
        boost::log::core::get()->add_global_attribute("TimeStamp", boost::log::attributes::utc_clock());
        boost::log::core::get()->add_sink(m_sink);
    }
    BoostLog(BoostLog const &) = delete;
    BoostLog & operator=(BoostLog const &) = delete;
    ~BoostLog() override
    {
        boost::log::core::get()->remove_sink(m_sink);
        m_sink->stop();
    }

    char const * name() const override { return "Boost.Log, asynchronous"; }

    bool log(unsigned int call) override
    {
        thread_local boost::log::sources::severity_logger<int> source;
        BOOST_LOG_SEV(source, 4) << "axis " << 3 << " position " << std::fixed << std::setprecision(3)
                                 << positionOf(call) << " deviation " << -0.002 << " state "
                                 << "moving";
        return true;
    }

private:
    using Sink = sinks::asynchronous_sink<sinks::text_ostream_backend,
                                          sinks::bounded_fifo_queue<kComparedQueueSize, sinks::drop_on_overflow>>;

    boost::shared_ptr<Sink> m_sink;
};

} // namespace

std::unique_ptr<ComparedLogger> makeBoostLog(std::string const & folder) { return std::make_unique<BoostLog>(folder); }

} // namespace common::log::benchmarks
