#include "compared_logger.h"

#include "../measured_call.h"

#include <common/log/host/record_tap.h>
#include <common/log/trace.h>

#include <fcntl.h>
#include <unistd.h>

namespace common::log::benchmarks {

namespace {

constexpr unsigned int kWarning = 0x080E0112;

host::RecordTapOptions optionsOf(int descriptor)
{
    host::RecordTapOptions options;
    options.descriptor = descriptor;
    return options;
}

/// As a host has it: the handler's own worker, and the tap in front of a file.
class OwnLogger : public ComparedLogger
{
public:
    explicit OwnLogger(std::string const & folder)
        : m_descriptor(open((folder + "/own.log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)),
          m_tap(optionsOf(m_descriptor)), m_unit("axis.control", std::make_shared<trace::Handler>())
    {
        m_unit.setEnablingState(true);
    }
    OwnLogger(OwnLogger const &) = delete;
    OwnLogger & operator=(OwnLogger const &) = delete;
    ~OwnLogger() override { (void)close(m_descriptor); }

    char const * name() const override { return "real-time call"; }

    bool log(unsigned int call) override
    {
        trace::LogParametersExtended const parameters = measuredParameters();
        return m_unit.logRealTime(kWarning, parameters, 3, positionOf(call), -0.002, "moving") == trace::TRACE_OK;
    }

private:
    int m_descriptor;
    host::RecordTap m_tap;
    trace::Log m_unit;
};

} // namespace

std::unique_ptr<ComparedLogger> makeOwnLogger(std::string const & folder)
{
    return std::make_unique<OwnLogger>(folder);
}

} // namespace common::log::benchmarks
