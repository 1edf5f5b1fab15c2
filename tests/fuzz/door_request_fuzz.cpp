// A request at the door: method, path with query, Last-Event-ID, each in a line of its own, and the body.

#include "fuzz_host.h"
#include "hosts/tracehost/temporary_folder.h"

#include "door/routes.h"

#include <common/log/host/record_ring.h>

namespace {

using namespace common::log;
using namespace common::log::host;
using fuzz::expect;

/// What a door leads to.
struct House : fuzz::FuzzHost
{
    House()
    {
        persistence.exists = true;
        for (char const * const start : {"A0112|Trace message ", "E0112|Trace warning ", "F0112|Trace error ", ""}) {
            ring.add({0,
                      std::string("\n2024-03-07T10:15:30.123456Z||080") + start +
                          "axis.control|||axis|machine|axis.control|main.cpp|main|11|\xff moved",
                      RecordEnd::flush});
        }
    }

    tracehost::test::TemporaryFolder folder;
    RecordRing ring{folder.pathOf("ring"), {1U << 16U}};
    RecordCensus census;
    SwitchBoard board{service, {kUnits, kConfig}, {}, [] { return std::chrono::steady_clock::time_point(); }};
    EventFeed feed{ring.path()};
    std::vector<DoorUnit> const listed{{"axis.control", {}}, {"axis.gone", {}}};
    std::vector<DoorFigure> const figures{{"lost_total", "Lost.", R"(reason="full")", 3}};
    DoorHost doorHost{"fuzzed", "1", [this] { return listed; }, [this] { return figures; }, [] { return true; }};
    RouteContext context{doorHost, service, board, census, feed, doorHost.figures, {}};
};

Answer answerOf(House & house, Request & request, std::string const & target)
{
    try {
        readTarget(target, request);
        Reply reply = answerRequest(house.context, request);
        if (auto const * const answer = std::get_if<Answer>(&reply)) {
            return *answer;
        }
        Stream & stream = *std::get<std::unique_ptr<Stream>>(reply);
        house.feed.update();
        Answer answer{200, "", stream.type()};
        for (Stream::State state = Stream::State::hasMore; state == Stream::State::hasMore;) {
            char room[256];
            Output output(room, sizeof room, stream.leftOver());
            state = stream.fill(output);
            state = stream.leftOver().empty() ? state : Stream::State::hasMore;
            answer.body.append(room, output.used());
            expect(answer.body.size() < 100'000, "a stream comes to its end, or waits", target);
        }
        return answer;
    } catch (Refusal const & refusal) {
        return refusal.answer();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    static House house;
    house.reset();
    std::string_view input(reinterpret_cast<char const *>(data), size);
    Request request;
    request.method = fuzz::takeText(input, '\n');
    std::string const target = fuzz::takeText(input, '\n');
    std::string const lastEventId = fuzz::takeText(input, '\n');
    request.lastEventId = lastEventId.empty() ? std::nullopt : std::optional(lastEventId);
    request.body = input;
    std::string const before = house.states();
    Answer const answer = answerOf(house, request, target);

    expect(answer.status >= 200 && answer.status < 500, "nothing fails within the host", answer.body);
    std::string const type = answer.type;
    std::string_view lines = answer.body;
    while (type.find("json") != std::string::npos && !lines.empty()) {
        Json const json = Json::parse(fuzz::takeText(lines, '\n'));
        expect((answer.status >= 400) == json.contains("error"), "a refusal says why", answer.body);
    }
    bool const mayChange = answer.status < 400 && request.method != "GET";
    expect(mayChange || house.states() == before, "only a switch changes states", target);
    house.board.endAll();
    return 0;
}
