// What a call to the door costs, from the client's first byte to the last of the answer: on one connection, as
// a console has it, and with a new one each time, as a command has it.

#include "door_host.h"

#include <benchmark/benchmark.h>

#include <array>

namespace {

using namespace common::log::benchmarks;

struct Fixture
{
    Fixture() : host(folder.path()) {}

    DoorFolder folder;
    DoorHost host;
};

/// @return whether the answer was a good one
bool takeAnswer(int client)
{
    std::array<char, 4096> buffer{};
    std::string answer;
    while (answer.find("}\n") == std::string::npos) {
        ssize_t const size = ::recv(client, buffer.data(), buffer.size(), 0);
        if (size <= 0) {
            return false;
        }
        answer.append(buffer.data(), static_cast<std::size_t>(size));
    }
    return answer.rfind("HTTP/1.1 200", 0) == 0;
}

std::string requestTo(Fixture const & fixture, bool isOn)
{
    std::string const body = isOn ? "true " : "false";
    return "PUT /nodes/" + fixture.host.unitAddress() + " HTTP/1.1\r\nHost: h\r\nContent-Length: 5\r\n\r\n" + body;
}

void switchOnOneConnection(benchmark::State & state)
{
    Fixture const fixture;
    int const client = sendToDoor(fixture.folder.path(), requestTo(fixture, true));
    bool isGood = takeAnswer(client);
    bool isOn = false;
    for (auto _ : state) {
        std::string const request = requestTo(fixture, isOn);
        isGood = isGood && ::send(client, request.data(), request.size(), MSG_NOSIGNAL) > 0 && takeAnswer(client);
        isOn = !isOn;
    }
    (void)::close(client);
    state.counters["switches"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    if (!isGood) {
        state.SkipWithError("a switch failed");
    }
}
BENCHMARK(switchOnOneConnection)->UseRealTime();

void switchWithAConnectionEach(benchmark::State & state)
{
    Fixture const fixture;
    bool isGood = true;
    bool isOn = false;
    for (auto _ : state) {
        int const client = sendToDoor(fixture.folder.path(), requestTo(fixture, isOn));
        isGood = takeAnswer(client) && isGood;
        (void)::close(client);
        isOn = !isOn;
    }
    state.counters["switches"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    if (!isGood) {
        state.SkipWithError("a switch failed");
    }
}
BENCHMARK(switchWithAConnectionEach)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
