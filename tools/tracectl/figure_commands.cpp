#include "unit_commands.h"

#include "door_answers.h"
#include "interruption.h"
#include "json_text.h"
#include "table.h"
#include "time_text.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>

namespace tracectl {

namespace {

constexpr char const * kClearScreen = "\x1b[H\x1b[2J";
constexpr std::size_t kMostRows = 20;

using Clock = std::chrono::steady_clock;

struct Look
{
    std::vector<Unit> units;
    Clock::time_point when;
};

Look lookAt(DoorClient & door, std::string const & pattern) { return {unitsOf(door, pattern), Clock::now()}; }

/// "1234.5", the point in the place for all.
std::string perSecond(double rate)
{
    auto const tenths = std::llround(rate * 10);
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

std::string loudestText(Look const & before, Look const & after, bool isAligned)
{
    std::map<std::string, std::uint64_t> known;
    for (Unit const & unit : before.units) {
        known[unit.name] = unit.records();
    }
    std::vector<std::pair<std::uint64_t, Unit const *>> grown;
    for (Unit const & unit : after.units) {
        auto const found = known.find(unit.name);
        // A unit that came meanwhile has counted since then. Less than before is another run of the host.
        std::uint64_t const start = found == known.end() || found->second > unit.records() ? 0 : found->second;
        grown.emplace_back(unit.records() - start, &unit);
    }
    std::stable_sort(grown.begin(), grown.end(), [](auto const & a, auto const & b) { return a.first > b.first; });
    using Side = Table::Side;
    Table table({{"RECORDS/s", Side::right}, {"ALTOGETHER", Side::right}, {"NOW"}, {"UNIT"}});
    double const seconds = std::chrono::duration<double>(after.when - before.when).count();
    for (std::size_t index = 0; index < std::min(grown.size(), kMostRows); ++index) {
        auto const & [count, unit] = grown[index];
        table.add({perSecond(static_cast<double>(count) / seconds), std::to_string(unit->records()),
                   lettersOf(unit->current, "?"), unit->name});
    }
    return table.text(isAligned);
}

std::string figureText(Json const & figure)
{
    auto const value = figure.find("value");
    if (value == figure.end() || !value->is_number()) {
        throw Failure(Status::refused, "the host's answer cannot be used: a figure has no number");
    }
    return value->dump();
}

} // namespace

void showFigures(DoorClient & door, Options const & options, Output & output)
{
    Json const health = door.get("/health");
    if (options.isJson) {
        output.write(safeJson(health) + "\n");
        return;
    }
    Table host({{"HOST"}, {textField(health, "program")}});
    host.add({"version", textField(health, "version")});
    host.add({"process", std::to_string(countField(health, "process"))});
    host.add({"started", textField(health, "started")});
    host.add({"up", secondsText(static_cast<std::int64_t>(countField(health, "uptimeSeconds")))});
    host.add({"socket", door.socketPath()});
    auto const ring = health.find("ring");
    if (ring != health.end() && ring->is_object()) {
        host.add({"ring", textField(*ring, "file")});
        host.add({"ring holds",
                  std::to_string(countField(*ring, "first")) + " to " + std::to_string(countField(*ring, "last"))});
    }
    Table figures({{"FIGURE"}, {"VALUE", Table::Side::right}, {"IS"}});
    for (Json const & figure : arrayField(health, "figures")) {
        std::string const labels = textField(figure, "labels");
        figures.add({textField(figure, "name") + (labels.empty() ? "" : "{" + labels + "}"), figureText(figure),
                     textField(figure, "help")});
    }
    output.write(host.text(output.isTerminal()) + "\n" + figures.text(output.isTerminal()));
}

void showLoudest(DoorClient & door, Options const & options, Output & output)
{
    Interruption interruption;
    Look before = lookAt(door, options.pattern);
    std::uint64_t const looks = options.looks.value_or(output.isTerminal() ? ~std::uint64_t{0} : 1);
    for (std::uint64_t look = 1; look <= looks && !interruption.isAheadOf(options.interval); ++look) {
        Look after = lookAt(door, options.pattern);
        output.write((output.isTerminal() ? kClearScreen : "") + loudestText(before, after, output.isTerminal()));
        output.flush();
        before = std::move(after);
    }
}

} // namespace tracectl
