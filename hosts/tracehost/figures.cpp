#include "figures.h"

namespace tracehost {

using common::log::host::DoorFigure;
using common::log::host::Loss;

std::vector<DoorFigure> figuresOf(common::log::trace::CallCounts const & calls,
                                  common::log::host::RecordTapAccount const & output)
{
    constexpr char const * kCalls = "trace_calls_total";
    constexpr char const * kCallsHelp = "Calls of the units that were let through, by severity.";
    constexpr char const * kLost = "trace_records_lost_total";
    constexpr char const * kLostHelp = "Records that the error stream did not take, by reason.";
    return {
        {kCalls, kCallsHelp, "severity=\"message\"", calls.messages},
        {kCalls, kCallsHelp, "severity=\"warning\"", calls.warnings},
        {kCalls, kCallsHelp, "severity=\"error\"", calls.errors},
        {"trace_calls_switched_off_total", "Calls whose severity was switched off.", "", calls.switchedOff},
        {"trace_calls_refused_total", "Calls that left no record, since the queue was full.", "", calls.refused},
        {"trace_records_cut_total", "Records whose text did not fit.", "", calls.cut},
        {"trace_records_total", "Records, and pieces of long ones, that came to the error stream.", "", output.records},
        {"trace_records_written_total", "Of these, what the error stream took whole.", "", output.written},
        {kLost, kLostHelp, "reason=\"reader gone\"", output.lostFor(Loss::readerGone)},
        {kLost, kLostHelp, "reason=\"no space\"", output.lostFor(Loss::noSpace)},
        {kLost, kLostHelp, "reason=\"device error\"", output.lostFor(Loss::inputOutput)},
        {kLost, kLostHelp, "reason=\"bad descriptor\"", output.lostFor(Loss::badDescriptor)},
        {kLost, kLostHelp, "reason=\"reader stalled\"", output.lostFor(Loss::readerStalled)},
        {kLost, kLostHelp, "reason=\"other\"", output.lostFor(Loss::other)},
        {"trace_bytes_total", "Bytes that the error stream took.", "", output.bytes},
        {"trace_sink_failures_total", "Records that a sink beside the error stream could not take.", "",
         output.sinkFailures},
        {"trace_dropped_texts_total", "Pieces of text that were dropped without memory.", "", output.droppedTexts},
    };
}

} // namespace tracehost
