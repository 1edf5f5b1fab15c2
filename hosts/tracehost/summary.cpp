#include "summary.h"

#include "descriptor.h"

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <numeric>
#include <sys/stat.h>
#include <unistd.h>

namespace tracehost {

namespace {

constexpr std::chrono::seconds kWriteLimit(2);

bool isStandardOutputErrorStream()
{
    struct stat output
    {
    };
    struct stat error
    {
    };
    return ::fstat(STDOUT_FILENO, &output) == 0 && ::fstat(STDERR_FILENO, &error) == 0 &&
           output.st_dev == error.st_dev && output.st_ino == error.st_ino;
}

} // namespace

std::string summaryText(Cycle const & cycle, RecordCounts const & records,
                        common::log::host::RecordTapAccount const & output,
                        std::vector<Inputs::LineCount> const & lines)
{
    LatenessHistogram const & lateness = cycle.lateness();
    std::uint64_t const lost = std::accumulate(output.lost.begin(), output.lost.end(), std::uint64_t{0});
    std::array<char, 768> buffer{};
    (void)std::snprintf(buffer.data(), buffer.size(),
                        "cycles: %" PRIu64 ", missed: %" PRIu64 "\n"
                        "lateness in us: p50 %.1f, p99 %.1f, p99.9 %.1f, worst %.1f\n"
                        "records: messages %" PRIu64 ", warnings %" PRIu64 ", errors %" PRIu64 ", switched off %" PRIu64
                        ", cut %" PRIu64 ", refused %" PRIu64 "\n"
                        "output: written %" PRIu64 ", lost %" PRIu64 "\n",
                        lateness.count(), cycle.missed(), microseconds(lateness.percentile(500)),
                        microseconds(lateness.percentile(990)), microseconds(lateness.percentile(999)),
                        microseconds(lateness.worst()), records.messages, records.warnings, records.errors,
                        records.switchedOff, records.cut, records.refused, output.written, lost);
    std::string text = buffer.data();
    for (Inputs::LineCount const & source : lines) {
        text += "lines of " + source.unitName + ": " + std::to_string(source.lines) + "\n";
    }
    return text;
}

bool writeSummary(std::string const & text)
{
    return writeWithin(STDOUT_FILENO, isStandardOutputErrorStream() ? "\n" + text : text, kWriteLimit);
}

} // namespace tracehost
