// What a call on the ordinary road costs beside what else brings the same line to the same stream on the calling thread:
// fprintf, and spdlog's synchronous logger. All of them in one run, in blocks that alternate.
//
// fprintf and the logger are there twice. Flushed, a line has left the process when the call returns. Buffered, it is in
// a buffer of 4 KiB that is lost with the process, and the call that fills it up waits for the stream. With ring and
// batches it is in the mapped file of the ring when the call returns, which survives the process; and in the memory of
// the tap, from where a thread of its own writes it.

#include "figures.h"
#include "measured_call.h"
#include "stream.h"

#include <common/log/host/record_tap.h>
#include <common/log/trace.h>

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace {

using namespace common::log;
using namespace common::log::benchmarks;

constexpr unsigned int kWarning = 0x080E0112;
constexpr unsigned int kRounds = 400;
constexpr unsigned int kCalls = 500; // of a block

struct Candidate
{
    std::string name;
    std::function<void()> call;
    Durations durations{kRounds};
};

/// The same fields. Those that a call does not bring along stand in the pattern.
std::shared_ptr<spdlog::logger> makeLogger(int descriptor, bool isFlushed)
{
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>("/proc/self/fd/" + std::to_string(descriptor));
    auto logger = std::make_shared<spdlog::logger>("axis.control", sink);
    logger->set_formatter(std::make_unique<spdlog::pattern_formatter>(
        "%Y-%m-%dT%H:%M:%S.%fZ||080E0112|Trace warning %n|||axis|machine|%n|%s|%!|%#|%v",
        spdlog::pattern_time_type::utc));
    logger->flush_on(isFlushed ? spdlog::level::trace : spdlog::level::off);
    return logger;
}

std::shared_ptr<std::FILE> makeFile(int descriptor, bool isFlushed)
{
    std::shared_ptr<std::FILE> file(::fdopen(::dup(descriptor), "w"),
                                    [](std::FILE * open) { (void)std::fclose(open); });
    (void)std::setvbuf(file.get(), nullptr, isFlushed ? _IONBF : _IOFBF, 4096);
    return file;
}

std::vector<Candidate> makeCandidates(trace::Log & unit, int descriptor)
{
    std::vector<Candidate> candidates;
    candidates.push_back({"Log::log, ring and batches", [&unit] {
                              unit.log(kWarning, "axis", "machine", "axis_control.cpp", "AxisControl::cycle", 118,
                                       kMeasuredFormat, 3, 12.125, -0.002, "moving");
                          }});
    for (bool const isFlushed : {false, true}) {
        std::string const suffix = isFlushed ? ", flushed" : ", buffered";
        candidates.push_back({"fprintf, its time ready" + suffix, [file = makeFile(descriptor, isFlushed)] {
                                  (void)std::fprintf(file.get(),
                                                     "\n%s||%08X|Trace warning %s|||%s|%s|%s|%s|%s|%d|axis %d position "
                                                     "%.3f deviation %.3f state %s",
                                                     "2024-03-07T10:15:30.123456Z", kWarning, "axis.control", "axis",
                                                     "machine", "axis.control", "axis_control.cpp",
                                                     "AxisControl::cycle", 118, 3, 12.125, -0.002, "moving");
                              }});
        candidates.push_back({"spdlog" + suffix, [logger = makeLogger(descriptor, isFlushed)] {
                                  logger->log(spdlog::source_loc{"axis_control.cpp", 118, "AxisControl::cycle"},
                                              spdlog::level::warn, "axis {} position {:.3f} deviation {:.3f} state {}",
                                              3, 12.125, -0.002, "moving");
                              }});
    }
    return candidates;
}

void measure(char const * name, Stream::Kind kind)
{
    Stream stream(kind);
    TemporaryRing ring;
    host::RecordTapOptions options;
    options.descriptor = stream.descriptor();
    options.sinks.push_back(ring.sink());
    options.batchPeriod = std::chrono::milliseconds(2);
    host::RecordTap const tap(options);
    trace::Log unit("axis.control", nullptr);
    unit.setEnablingState(true);
    std::vector<Candidate> candidates = makeCandidates(unit, stream.descriptor());
    for (unsigned int round = 0; round != kRounds; ++round) {
        for (Candidate & candidate : candidates) {
            std::int64_t const start = nanoseconds();
            for (unsigned int i = 0; i != kCalls; ++i) {
                candidate.call();
            }
            candidate.durations.add((nanoseconds() - start) / kCalls);
        }
        (void)::ftruncate(stream.descriptor(), 0); // only a file grows
    }
    std::printf("%s\n", name);
    for (Candidate const & candidate : candidates) {
        printRow(candidate.name, candidate.durations);
    }
    std::printf("lost of the first: %llu\n\n", static_cast<unsigned long long>(tap.account().lostAltogether()));
}

} // namespace

int main()
{
    (void)std::signal(SIGPIPE, SIG_IGN); // as a host does: else the tap holds it off around each write
    printHeader("ordinary_loggers");
    std::printf("nanoseconds of a call, means over blocks of %u\n\n%-36s%11s%11s%11s%11s\n", kCalls, "", "p50", "p99",
                "p99.9", "worst");
    measure("/dev/null", Stream::nullDevice);
    measure("file", Stream::file);
    measure("pipe that is read", Stream::pipe);
    return EXIT_SUCCESS;
}
