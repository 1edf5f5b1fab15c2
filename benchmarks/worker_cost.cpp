// What a record costs the worker in processor time, from the queue to the descriptor, beside a program part that writes
// the same bytes, finished, by one write. Both run in blocks that alternate.
//
// The worker writes each record at once, or leaves that to the batches of the tap, with a ring ahead of them. There the
// whole process counts as well, in which the thread of the batches has its share.

#include "drained_handler.h"
#include "figures.h"
#include "measured_call.h"
#include "stream.h"

#include <common/log/host/record_tap.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

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
void addCost(Durations & durations, Work const & work, clockid_t clock = CLOCK_THREAD_CPUTIME_ID)
{
    std::int64_t const start = nanoseconds(clock);
    work();
    durations.add((nanoseconds(clock) - start) / (kRecords + 2));
}

void waitUntilWritten(host::RecordTap const & tap)
{
    for (auto account = tap.account(); account.records != account.written; account = tap.account()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void writeLines(int descriptor)
{
    for (unsigned int i = 0; i != kRecords + 2; ++i) {
        if (write(descriptor, kLine, sizeof kLine - 1) != static_cast<ssize_t>(sizeof kLine - 1)) {
            fail("write");
        }
    }
}

void measure(std::string const & name, int descriptor, bool hasRingAndBatches)
{
    Durations worker(kRounds);
    Durations process(kRounds);
    Durations line(kRounds);
    host::RecordTapOptions options;
    options.descriptor = descriptor;
    std::optional<TemporaryRing> ring;
    if (hasRingAndBatches) {
        options.sinks.push_back(ring.emplace().sink());
        options.batchPeriod = std::chrono::milliseconds(2);
    }
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
        auto const outgoing = [&] {
            addCost(worker, [&] { drained.drain(); });
            waitUntilWritten(tap);
        };
        addCost(process, outgoing, CLOCK_PROCESS_CPUTIME_ID);
        addCost(line, [&] { writeLines(descriptor); });
        (void)ftruncate(descriptor, 0); // only a file grows
    }
    std::uint64_t const written = tap.account().written;
    printRow(name + ", worker", worker);
    printRow(name + ", finished line", line);
    printRatio("worker / line", worker, line);
    if (hasRingAndBatches) {
        printRow(name + ", process", process);
        printRatio("process / line", process, line);
    }
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
    for (bool const hasRingAndBatches : {false, true}) {
        std::printf("%s\n", hasRingAndBatches ? "ring and batches" : "each record at once");
        measure("/dev/null", null, hasRingAndBatches);
        measure("file", fileno(file), hasRingAndBatches);
        PipeReader const reader;
        measure("pipe", reader.descriptor(), hasRingAndBatches);
    }
    return EXIT_SUCCESS;
}
