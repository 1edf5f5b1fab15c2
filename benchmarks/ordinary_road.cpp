// What a trace call on the ordinary road costs, and where: the whole call, its sink, its timestamp, and a call that is
// switched off, beside a plain fprintf of the same bytes. All of it goes to /dev/null, so that the figures are those of
// the program and not of a terminal.
//
// Then the whole call with the tap of the host library behind the stream, which writes each record at once or in batches,
// by what the stream is.

#include <common/log/host/record_tap.h>
#include <common/log/trace.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace common::log;
using namespace common::log::trace;

constexpr unsigned int kWarning = 0x080E0112;
constexpr char const * kFormat = "axis %d position %.3f deviation %.3f state %s";

void callEnabled(benchmark::State & state)
{
    Log unit("axis.control", nullptr);
    unit.setEnablingState(true);
    for (auto _ : state) {
        unit.log(kWarning, "axis", "machine", "axis_control.cpp", "AxisControl::cycle", 118, kFormat, 3, 12.125, -0.002,
                 "moving");
    }
}
BENCHMARK(callEnabled)->Name("Log::log, enabled");

void callDisabled(benchmark::State & state)
{
    Log unit("axis.control", nullptr);
    for (auto _ : state) {
        benchmark::DoNotOptimize(unit.log(kWarning, "axis", "machine", "axis_control.cpp", "AxisControl::cycle", 118,
                                          kFormat, 3, 12.125, -0.002, "moving"));
    }
}
BENCHMARK(callDisabled)->Name("Log::log, disabled");

void sinkOfFinishedText(benchmark::State & state)
{
    timespec const time = Clock(CLOCK_ID_WALL).getTimestamp();
    for (auto _ : state) {
        sendLogNoVaList("", PRIORITY_WARNING, time, "", "080E0112", "Trace warning axis.control", "", "", "axis",
                        "machine", "axis.control", "axis_control.cpp", "AxisControl::cycle", "118",
                        "axis 3 position 12.125 deviation -0.002 state moving");
    }
}
BENCHMARK(sinkOfFinishedText)->Name("sendLogNoVaList");

void timestampText(benchmark::State & state)
{
    timespec time = Clock(CLOCK_ID_WALL).getTimestamp();
    char text[28];
    for (auto _ : state) {
        ++time.tv_sec;
        convertTimestamp(time, nullptr, text, sizeof text);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(timestampText)->Name("convertTimestamp");

void clockRead(benchmark::State & state)
{
    Clock const clock(CLOCK_ID_WALL);
    for (auto _ : state) {
        benchmark::DoNotOptimize(clock.getTimestamp());
    }
}
BENCHMARK(clockRead)->Name("Clock::getTimestamp");

void plainPrint(benchmark::State & state)
{
    for (auto _ : state) {
        (void)std::fprintf(stderr,
                           "\n%s||%08X|Trace warning %s|||%s|%s|%s|%s|%s|%d|axis %d position %.3f deviation %.3f state "
                           "%s",
                           "2024-03-07T10:15:30.123456Z", kWarning, "axis.control", "axis", "machine", "axis.control",
                           "axis_control.cpp", "AxisControl::cycle", 118, 3, 12.125, -0.002, "moving");
    }
}
BENCHMARK(plainPrint)->Name("fprintf of the same text");

/// What the records go to.
class Stream
{
public:
    enum Kind
    {
        nullDevice,
        file,
        pipe,
        stalledPipe ///< whose reader takes nothing before the end
    };

    explicit Stream(Kind kind)
    {
        if (kind == nullDevice) {
            m_ends[1] = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        } else if (kind == file) {
            char name[] = "/tmp/ordinary_road.XXXXXX";
            m_ends[1] = ::mkostemp(name, O_CLOEXEC);
            (void)::unlink(name);
        } else if (::pipe2(m_ends, O_CLOEXEC) == 0 && kind == pipe) {
            startReader();
        }
    }
    Stream(Stream const &) = delete;
    Stream & operator=(Stream const &) = delete;
    ~Stream()
    {
        (void)::close(m_ends[1]);
        if (m_reader.joinable()) {
            m_reader.join();
        }
        (void)::close(m_ends[0]);
    }

    int descriptor() const { return m_ends[1]; }
    void startReader()
    {
        if (m_ends[0] < 0 || m_reader.joinable()) {
            return;
        }
        m_reader = std::thread([descriptor = m_ends[0]] {
            std::vector<char> part(1 << 16);
            while (::read(descriptor, part.data(), part.size()) > 0) {
            }
        });
    }

private:
    int m_ends[2] = {-1, -1}; // reader, writer
    std::thread m_reader;
};

void callWithTap(benchmark::State & state, std::chrono::milliseconds batchPeriod, Stream::Kind kind)
{
    Log unit("axis.control", nullptr);
    unit.setEnablingState(true);
    Stream stream(kind);
    host::RecordTapOptions options;
    options.descriptor = stream.descriptor();
    options.batchPeriod = batchPeriod;
    host::RecordTap const tap(std::move(options));
    for (auto _ : state) {
        unit.log(kWarning, "axis", "machine", "axis_control.cpp", "AxisControl::cycle", 118, kFormat, 3, 12.125, -0.002,
                 "moving");
    }
    // Above 0, the calls counted as lost had no record to copy.
    state.counters["lost"] = static_cast<double>(tap.account().lostAltogether());
    stream.startReader(); // lets the end go on
}

constexpr std::chrono::milliseconds kDirect(0);
constexpr std::chrono::milliseconds kBatches(2);
BENCHMARK_CAPTURE(callWithTap, direct, kDirect, Stream::nullDevice)->Name("tap, /dev/null");
BENCHMARK_CAPTURE(callWithTap, direct, kDirect, Stream::file)->Name("tap, file");
BENCHMARK_CAPTURE(callWithTap, direct, kDirect, Stream::pipe)->Name("tap, pipe");
BENCHMARK_CAPTURE(callWithTap, batches, kBatches, Stream::nullDevice)->Name("tap with batches, /dev/null");
BENCHMARK_CAPTURE(callWithTap, batches, kBatches, Stream::file)->Name("tap with batches, file");
BENCHMARK_CAPTURE(callWithTap, batches, kBatches, Stream::pipe)->Name("tap with batches, pipe");
BENCHMARK_CAPTURE(callWithTap, batches, kBatches, Stream::stalledPipe)->Name("tap with batches, stalled pipe");

/// What the thread of the batches costs a host that traces nothing: the processor time of one second.
void idleBatches(benchmark::State & state)
{
    Stream const stream(Stream::nullDevice);
    host::RecordTapOptions options;
    options.descriptor = stream.descriptor();
    options.batchPeriod = std::chrono::milliseconds(state.range(0));
    host::RecordTap const tap(std::move(options));
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}
BENCHMARK(idleBatches)
    ->Name("second with an idle tap, period in ms")
    ->Arg(0)
    ->Arg(2)
    ->Iterations(5)
    ->MeasureProcessCPUTime();

} // namespace

int main(int argc, char ** argv)
{
    if (std::freopen("/dev/null", "w", stderr) == nullptr || std::setvbuf(stderr, nullptr, _IONBF, 0) != 0) {
        std::puts("ordinary_road: /dev/null cannot take the place of standard error");
        return EXIT_FAILURE;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}
