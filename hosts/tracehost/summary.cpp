#include "summary.h"

#include "descriptor.h"
#include "system.h"

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>

namespace tracehost {

namespace {

constexpr std::chrono::seconds kWriteLimit(2);

} // namespace

bool Account::addsUp() const
{
    std::uint64_t const made = calls.messages + calls.warnings + calls.errors - calls.refused;
    return made == recordsOfUnits && output.records == output.written + output.lostAltogether();
}

std::string summaryText(Cycle const & cycle, Account const & account, std::vector<Inputs::LineCount> const & lines)
{
    LatenessHistogram const & lateness = cycle.lateness();
    common::log::trace::CallCounts const & calls = account.calls;
    std::array<char, 1024> buffer{};
    (void)std::snprintf(
        buffer.data(), buffer.size(),
        "cycles: %" PRIu64 ", missed: %" PRIu64 "\n"
        "lateness in us: p50 %.1f, p99 %.1f, p99.9 %.1f, worst %.1f\n"
        "records: messages %" PRIu64 ", warnings %" PRIu64 ", errors %" PRIu64 ", switched off %" PRIu64
        ", cut %" PRIu64 ", refused %" PRIu64 "\n"
        "output: written %" PRIu64 ", lost %" PRIu64 ", of these by the library of itself %" PRIu64 "\n",
        lateness.count(), cycle.missed(), microseconds(lateness.percentile(500)),
        microseconds(lateness.percentile(990)), microseconds(lateness.percentile(999)), microseconds(lateness.worst()),
        calls.messages, calls.warnings, calls.errors, calls.switchedOff, calls.cut, calls.refused,
        account.output.written, account.output.lostAltogether(), account.recordsOfLibrary);
    std::string text = buffer.data();
    for (Inputs::LineCount const & source : lines) {
        text += "lines of " + source.unitName + ": " + std::to_string(source.lines) + "\n";
    }
    if (!account.addsUp()) {
        text += "The account does not add up: the units made other records than the " +
                std::to_string(account.recordsOfUnits) + " that came to the error stream.\n";
    }
    return text;
}

bool writeSummary(std::string const & text)
{
    return writeWithin(1, isSameFile(1, 2) ? "\n" + text : text, kWriteLimit);
}

} // namespace tracehost
