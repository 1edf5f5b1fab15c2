#include "compared_logger.h"

#include "../measured_call.h"

#include <glog/logging.h>

#include <iomanip>

namespace common::log::benchmarks {

namespace {

/// Has no thread of its own: a call writes into the buffer of the file, and the one that fills it also writes that.
class Glog : public ComparedLogger
{
public:
    explicit Glog(std::string const & folder)
    {
        FLAGS_logtostderr = false;
        FLAGS_stderrthreshold = google::NUM_SEVERITIES;
        FLAGS_logbuflevel = google::GLOG_INFO; // the severity that is called is one that is buffered
        FLAGS_logbufsecs = 30;
        google::InitGoogleLogging("other_loggers");
        google::SetLogDestination(google::GLOG_INFO, (folder + "/glog.").c_str());
    }
    Glog(Glog const &) = delete;
    Glog & operator=(Glog const &) = delete;
    ~Glog() override { google::ShutdownGoogleLogging(); }

    char const * name() const override { return "glog, buffered"; }

    bool log(unsigned int call) override
    {
        LOG(INFO) << "axis " << 3 << " position " << std::fixed << std::setprecision(3) << positionOf(call)
                  << " deviation " << -0.002 << " state "
                  << "moving";
        return true;
    }
};

} // namespace

std::unique_ptr<ComparedLogger> makeGlog(std::string const & folder) { return std::make_unique<Glog>(folder); }

} // namespace common::log::benchmarks
