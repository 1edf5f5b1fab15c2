// A record as it comes from the stream, on its way through an event of the door to an output of the client.

#include "door_client.h"
#include "event_parser.h"
#include "fuzz_input.h"
#include "record_format.h"

#include <common/log/host/record_census.h>
#include <common/log/host/record_text.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    using namespace common::log;
    using fuzz::expect;
    using tracectl::RecordFormat;
    std::string record(reinterpret_cast<char const *>(data), size);
    record.erase(0, std::min(record.find_first_not_of('\n'), size)); // the end of the line ahead
    auto const read = host::parseRecord(record);
    host::RecordCensus census;
    census.see({0, record, host::RecordEnd::flush});
    expect(census.sum().altogether() == 1, "each record counts once");
    expect(!read || census.of(std::string(read->unit)).altogether() == 1, "a record counts for its unit", record);

    std::string const json = host::recordJson(7, record);
    std::string event;
    tracectl::EventParser().feed("id: 7\ndata: " + json + "\n\n", [&](auto && taken) { event += taken.data; });
    expect(event == json, "an event holds one record", json);
    static tracectl::Output const output(-1);
    auto const format = static_cast<RecordFormat>(size % 4);
    std::string line = tracectl::RecordFormatter(format, output).lineOf(tracectl::parseRecordJson(json), json);
    line.erase(line.find_last_not_of("\r\n") + 1);
    if (format == RecordFormat::json) {
        expect(tracectl::Json::parse(line) == tracectl::Json::parse(json), "JSON stays the same", line);
    }
    bool const isPlain =
        std::none_of(line.begin(), line.end(), [](unsigned char byte) { return byte < ' ' || byte == 127; });
    expect(isPlain, "no control character reaches an output", line);
    if (format == RecordFormat::lnav && host::printable(record) == record) {
        expect(host::recordJson(7, line) == json, "what is exported can be read again", line);
    }
    return 0;
}
