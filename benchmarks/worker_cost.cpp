// What a record costs the worker in processor time, from the queue to the descriptor, beside a program part that writes
// the same bytes, finished, by one write. Both run in blocks that alternate.

#include "drained_handler.h"
#include "figures.h"
#include "measured_call.h"

#include <common/log/host/record_tap.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace common::log;
using namespace common::log::benchmarks;

constexpr unsigned int kWarning = 0x080E0112;
constexpr unsigned int kRounds = 200;
constexpr unsigned int kRecords = 3000; // of a round; the worker adds two, of its start and its end

// What the worker brings out of the call in `measure`.
constexpr char kLine[] =
    "\n2024-03-07T10:15:30.123456Z||080E0112|Trace warning axis.control|||axis|machine|axis.control|"
    "axis_control.cpp|AxisControl::cycle|118|axis 3 position 12.125 deviation -0.002 state moving";

[[noreturn]] void fail(char const * what)
{
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

/// A child that reads a pipe until its end, and what to write to it.
class PipeReader
{
public:
    PipeReader()
    {
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0 || (m_child = fork()) == -1) {
            fail("pipe");
        }
        if (m_child == 0) {
            static std::array<char, 65536> buffer;
            (void)close(ends[1]);
            while (read(ends[0], buffer.data(), buffer.size()) > 0) {
            }
            _exit(0);
        }
        (void)close(ends[0]);
        m_descriptor = ends[1];
    }
    PipeReader(PipeReader const &) = delete;
    PipeReader & operator=(PipeReader const &) = delete;
    ~PipeReader()
    {
        (void)close(m_descriptor);
        (void)waitpid(m_child, nullptr, 0);
    }

    int descriptor() const { return m_descriptor; }

private:
    pid_t m_child = -1;
    int m_descriptor = -1;
};

template <typename Work>
void addCost(Durations & durations, Work const & work)
{
    std::int64_t const start = nanoseconds(CLOCK_THREAD_CPUTIME_ID);
    work();
    durations.add((nanoseconds(CLOCK_THREAD_CPUTIME_ID) - start) / (kRecords + 2));
}

void writeLines(int descriptor)
{
    for (unsigned int i = 0; i != kRecords + 2; ++i) {
        if (write(descriptor, kLine, sizeof kLine - 1) != static_cast<ssize_t>(sizeof kLine - 1)) {
            fail("write");
        }
    }
}

void measure(std::string const & name, int descriptor)
{
    Durations worker(kRounds);
    Durations line(kRounds);
    host::RecordTapOptions options;
    options.descriptor = descriptor;
    host::RecordTap const tap(options);
    DrainedHandler drained;
    trace::Log unit("axis.control", drained.handler());
    unit.setEnablingState(true);
    trace::LogParametersExtended const parameters = measuredParameters();

    for (unsigned int round = 0; round != kRounds; ++round) {
        for (unsigned int i = 0; i != kRecords; ++i) {
            if (unit.logRealTime(kWarning, parameters, 3, 12.125, -0.002, "moving") != trace::TRACE_OK) {
                fail("refused");
            }
        }
        addCost(worker, [&] { drained.drain(); });
        addCost(line, [&] { writeLines(descriptor); });
        (void)ftruncate(descriptor, 0); // only a file grows
    }
    std::uint64_t const written = tap.account().written;
    printRow(name + ", worker", worker);
    printRow(name + ", finished line", line);
    printRatio("worker / line", worker, line);
    std::printf("%-36s%11llu of %llu\n\n", "written by the tap", static_cast<unsigned long long>(written),
                static_cast<unsigned long long>(tap.account().records));
}

} // namespace

int main()
{
    // Otherwise the tap holds the signal off around each write, which a host spares itself as well.
    (void)std::signal(SIGPIPE, SIG_IGN);
    printHeader("worker_cost");
    std::printf("nanoseconds of processor time for a record of %zu bytes, by CLOCK_THREAD_CPUTIME_ID over blocks of "
                "%u\n\n%-36s%11s%11s%11s%11s\n",
                sizeof kLine - 1, kRecords + 2, "", "p50", "p99", "p99.9", "worst");
    int const null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    std::FILE * const file = std::tmpfile();
    if (null == -1 || file == nullptr) {
        fail("open");
    }
    measure("/dev/null", null);
    measure("file", fileno(file));
    {
        PipeReader const reader;
        measure("pipe", reader.descriptor());
    }
    return EXIT_SUCCESS;
}
