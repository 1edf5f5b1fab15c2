#include "outward.h"

namespace tracehost {

using namespace common::log::host;

// Ring and door rest on what other systems have. Their absence is no refusal worth a record of each start: nobody asked.

std::shared_ptr<void> watchFatalSignals() { return nullptr; }

std::shared_ptr<RecordRing> openRing(Options const & /*options*/, Refusals & /*refusals*/) { return nullptr; }

RecordTapOptions tapOptions(RecordCensus & census, RecordRing * /*ring*/)
{
    RecordTapOptions options;
    options.sinks = {[&census](TappedRecord const & record) { census.see(record); }};
    return options;
}

std::shared_ptr<Door> openDoor(Options const & /*options*/, TraceSystem & /*system*/, Sights const & /*sights*/,
                               Refusals & /*refusals*/)
{
    return nullptr;
}

} // namespace tracehost
