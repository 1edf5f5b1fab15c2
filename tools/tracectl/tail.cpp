#include "tail.h"

#include "backlog.h"
#include "complaint.h"
#include "door_answers.h"
#include "event_stream.h"
#include "interruption.h"
#include "record_format.h"
#include "socket_search.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <exception>
#include <optional>
#include <unistd.h>
#include <utility>

namespace tracectl {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMostPendingBytes = std::size_t{16} * 1024; ///< made ready for the output at a time
constexpr auto kWhile = 20ms;
constexpr auto kBetweenAttempts = 250ms;
constexpr auto kBetweenLooks = 500ms; ///< at the output, whose reader may go without a word

std::uint64_t numberOf(std::string const & id)
{
    std::uint64_t number = 0;
    auto const [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
    if (error != std::errc() || end != id.data() + id.size()) {
        throw Failure(Status::refused, "the host's answer cannot be used: the id of an event is no number");
    }
    return number;
}

class Tail
{
public:
    Tail(Options const & options, RecordFilter const & filter, Output & output)
        : m_filter(filter), m_output(output), m_formatter(options.format, output), m_socket(options.socketPath)
    {}

    void run()
    {
        for (;;) {
            End const end = attempt();
            if (end == End::interrupted || (end == End::gone && m_interruption.isAheadOf(kBetweenAttempts))) {
                m_output.writeWithoutWaiting();
                return;
            }
        }
    }

private:
    /// What a connection came to.
    enum class End
    {
        gone,
        countsAnew, ///< with numbers below those that were seen
        interrupted
    };

    End attempt()
    {
        try {
            std::string const socket = m_socket.empty() ? socketOfTheHost() : m_socket;
            End const end = follow(socket);
            if (end == End::gone) {
                sayWaiting("no host answers at " + socket);
            }
            return end;
        } catch (Refusal const & refusal) {
            if (refusal.code() != "busy") {
                throw;
            }
            sayWaiting(refusal.what());
        } catch (Failure const & failure) {
            if (failure.status() != Status::noHost) {
                throw;
            }
            sayWaiting(failure.what());
        }
        return End::gone;
    }

    End follow(std::string const & socket)
    {
        EventStream stream(socket, target(), m_position && *m_position > 0 ? std::to_string(*m_position) : "");
        m_countsAnew = false;
        auto const take = [this, &socket](Event && event) { takeEvent(std::move(event), socket); };
        bool isConnected = true;
        std::exception_ptr unusable; // an event, told once what came ahead of it is out
        for (;;) {
            try {
                isConnected = isConnected && stream.receive(take) && !m_countsAnew;
            } catch (Failure const &) {
                unusable = std::current_exception();
                isConnected = false;
            }
            m_backlog.limit(Backlog::Clock::now());
            writeLines();
            bool const isAllWritten = m_output.pending() == 0;
            if (!isConnected && isAllWritten && m_backlog.isEmpty()) {
                if (unusable != nullptr) {
                    std::rethrow_exception(unusable);
                }
                return m_countsAnew ? End::countsAnew : End::gone;
            }
            bool const hasMore = isAllWritten && !m_backlog.isEmpty();
            stream.wait(m_interruption.descriptor(), isAllWritten ? -1 : STDOUT_FILENO, hasMore ? 0ms : kBetweenLooks);
            if (m_interruption.isAheadOf(0ms)) {
                return End::interrupted;
            }
        }
    }

    /// Of the next connection.
    std::string target() const
    {
        if (!m_position) {
            return "/events?last=10" + m_filter.query();
        }
        if (*m_position == 0) {
            return "/events?after=0" + m_filter.query();
        }
        return m_filter.query().empty() ? "/events" : "/events?" + m_filter.query().substr(1);
    }

    void takeEvent(Event && event, std::string const & socket)
    {
        if (m_countsAnew) {
            return;
        }
        if (event.type == "run") {
            takeRun(Json::parse(event.data, nullptr, false));
            m_socket = socket; // its next run comes there too
        } else if (event.type.empty() || event.type == "gap") {
            if (!event.id.empty()) {
                m_position = numberOf(event.id);
            }
            m_backlog.add(std::move(event), Backlog::Clock::now());
        }
    }

    void takeRun(Json const & data)
    {
        std::string const run = textField(data, "run");
        std::string const process = "process " + std::to_string(countField(data, "process"));
        std::uint64_t const next = countField(data, "next");
        if (!m_run.empty() && run != m_run) {
            complain("the host was started again: " + process);
        } else if (m_isWaiting) {
            complain("the host is there: " + process);
        }
        m_run = run;
        m_isWaiting = false;
        if (m_position && next <= *m_position) {
            // Records of another numbering, which would be held back up to a number that they may never reach.
            m_position = 0;
            m_countsAnew = true;
        } else if (!m_position) {
            m_position = next - std::min<std::uint64_t>(next, 1);
        }
    }

    void sayWaiting(std::string const & why)
    {
        if (!std::exchange(m_isWaiting, true)) {
            complain(why + "; waiting for one");
        }
    }

    /// Writes what the reader takes at once, for a while that lets about as many records out as came in.
    void writeLines()
    {
        auto const end = Backlog::Clock::now() + kWhile;
        do {
            makeLines();
            m_output.writeWithoutWaiting();
        } while (m_output.pending() == 0 && !m_backlog.isEmpty() && Backlog::Clock::now() < end);
    }

    void makeLines()
    {
        while (m_output.pending() < kMostPendingBytes && !m_backlog.isEmpty()) {
            std::uint64_t const missing = m_backlog.takeGap();
            if (missing > 0) {
                m_output.add(m_formatter.gapLine(missing, "passed over"));
            }
            if (m_backlog.hasRecord()) {
                Event const event = m_backlog.takeRecord();
                Record const record = parseRecordJson(event.data);
                if (m_filter.passes(record)) {
                    m_output.add(m_formatter.lineOf(record, event.data));
                }
            }
        }
    }

    RecordFilter const & m_filter;
    Output & m_output;
    RecordFormatter m_formatter;
    Interruption m_interruption;
    Backlog m_backlog;
    std::string m_socket;                    ///< of the host that is followed; empty until there is one
    std::string m_run;                       ///< of the host that the numbers belong to
    std::optional<std::uint64_t> m_position; ///< the last number that has come; 0 for all of a new numbering
    bool m_countsAnew = false;
    bool m_isWaiting = false;
};

} // namespace

void followRecords(Options const & options, RecordFilter const & filter, Output & output)
{
    Tail(options, filter, output).run();
}

} // namespace tracectl
