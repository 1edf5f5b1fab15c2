#include "record_commands.h"

#include "door_answers.h"
#include "record_format.h"
#include "socket_search.h"

#include <common/log/host/record_ring_reader.h>

#include <deque>
#include <functional>
#include <limits>
#include <utility>

namespace tracectl {

using common::log::host::RecordRingReader;

namespace {

constexpr std::uint64_t kMostOfACall = 100'000; ///< that the door gives

using TakeJson = std::function<void(std::string_view json)>;

/// Writes records as they come, or the last of them at the end.
class Writer
{
public:
    Writer(Options const & options, RecordFilter const & filter, Output & output)
        : m_filter(filter), m_output(output), m_formatter(options.format, output),
          m_last(options.command == Command::dump ? options.last : std::numeric_limits<std::uint64_t>::max())
    {
        m_output.write(m_formatter.heading());
    }

    std::uint64_t lastNumber() const { return m_lastNumber; }

    /// @throws Failure  where it is no record, or the numbers do not grow
    void take(std::string_view json)
    {
        Record record = parseRecordJson(json);
        if (record.number <= m_lastNumber) {
            throw Failure(Status::refused, "the host's answer cannot be used: its records are not in order");
        }
        m_lastNumber = record.number;
        if (!m_filter.passes(record)) {
            return;
        }
        if (m_last == std::numeric_limits<std::uint64_t>::max()) {
            write(record, json);
            return;
        }
        if (m_kept.size() == m_last) {
            m_kept.pop_front();
        }
        m_kept.emplace_back(std::move(record), json);
    }

    void finish()
    {
        for (auto const & [record, json] : m_kept) {
            write(record, json);
        }
    }

private:
    void write(Record const & record, std::string_view json)
    {
        if (m_filter.isForAll() && m_lastWritten != 0 && record.number > m_lastWritten + 1) {
            m_output.write(m_formatter.gapLine(record.number - m_lastWritten - 1, "missing"));
        }
        m_lastWritten = record.number;
        m_output.write(m_formatter.lineOf(record, json));
    }

    RecordFilter const & m_filter;
    Output & m_output;
    RecordFormatter m_formatter;
    std::uint64_t m_last;
    std::deque<std::pair<Record, std::string>> m_kept;
    std::uint64_t m_lastNumber = 0;
    std::uint64_t m_lastWritten = 0;
};

void readRing(std::string const & path, Writer & writer)
{
    RecordRingReader reader = [&path] {
        try {
            return RecordRingReader(path);
        } catch (std::runtime_error const & failure) { // that of the system too
            throw Failure(Status::refused, failure.what());
        }
    }();
    // A ring that is being written is read up to where it stands now.
    std::uint64_t const last = reader.state().lastNumber;
    while (writer.lastNumber() < last) {
        auto const record = reader.next();
        if (!record) {
            return;
        }
        writer.take(common::log::host::recordJson(record->number, record->text));
    }
}

/// The newest record of the ring now, so that a host that traces all the time is not read without end.
std::uint64_t newestNumber(DoorClient & door)
{
    Json const health = door.get("/health");
    auto const ring = health.find("ring");
    return ring != health.end() && ring->is_object() ? countField(*ring, "last")
                                                     : std::numeric_limits<std::uint64_t>::max();
}

void readDoor(Options const & options, RecordFilter const & filter, Writer & writer)
{
    DoorClient door(options.socketPath.empty() ? socketOfTheHost() : options.socketPath);
    TakeJson const take = [&writer](std::string_view json) { writer.take(json); };
    std::string const target = "/records?limit=";
    if (options.command == Command::dump && !filter.hasExpression() && options.last <= kMostOfACall) {
        std::string const count = std::to_string(options.last);
        door.getLines(target + count + "&last=" + count + filter.query(), take);
        return;
    }
    std::uint64_t const newest = newestNumber(door);
    std::uint64_t taken = kMostOfACall;
    while (taken == kMostOfACall && writer.lastNumber() < newest) {
        taken = 0;
        door.getLines(target + std::to_string(kMostOfACall) + "&after=" + std::to_string(writer.lastNumber()) +
                          filter.query(),
                      [&taken, &take](std::string_view json) {
                          taken += 1;
                          take(json);
                      });
    }
}

} // namespace

void writeRecords(Options const & options, RecordFilter const & filter, Output & output)
{
    Writer writer(options, filter, output);
    if (options.ringPath.empty()) {
        readDoor(options, filter, writer);
    } else {
        readRing(options.ringPath, writer);
    }
    writer.finish();
}

} // namespace tracectl
