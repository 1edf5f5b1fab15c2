#include "routes.h"
#include "values.h"

#include "../utc_text.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>

#include <unistd.h>

namespace common::log::host {

namespace {

std::vector<DoorFigure> allFigures(RouteContext const & context)
{
    std::vector<DoorFigure> figures = context.host.figures();
    std::vector<DoorFigure> const own = context.figuresOfDoor();
    figures.insert(figures.end(), own.begin(), own.end());
    return figures;
}

std::string escapedHelp(std::string const & help)
{
    std::string text;
    for (char const character : help) {
        text += character == '\n' ? "\\n" : character == '\\' ? "\\\\" : std::string(1, character);
    }
    return text;
}

bool isCounter(std::string const & name)
{
    constexpr std::string_view kEnd = "_total";
    return name.size() > kEnd.size() && name.compare(name.size() - kEnd.size(), kEnd.size(), kEnd) == 0;
}

std::optional<RingState> stateOf(EventFeed & feed)
{
    try {
        return feed.state();
    } catch (Refusal const &) { // no ring, which is no failure here
        return std::nullopt;
    }
}

Json ringJson(EventFeed const & feed, std::optional<RingState> const & ring)
{
    return ring ? Json{{"file", feed.path()}, {"first", ring->firstNumber}, {"last", ring->lastNumber}} : Json();
}

} // namespace

Reply showHealth(RouteContext & context, Request & /*request*/)
{
    Json figures = Json::array();
    for (DoorFigure const & figure : allFigures(context)) {
        figures.push_back(
            {{"name", figure.name}, {"labels", figure.labels}, {"help", figure.help}, {"value", figure.value}});
    }
    std::optional<RingState> const ring = stateOf(context.feed);
    auto const uptime = std::chrono::system_clock::now() - context.started;
    return answerOf(Json{{"program", context.host.program},
                         {"version", context.host.version},
                         {"process", ::getpid()},
                         {"started", utcText(context.started)},
                         {"uptimeSeconds", std::chrono::duration_cast<std::chrono::seconds>(uptime).count()},
                         {"run", ring ? Json(ring->run) : Json()},
                         {"units", context.switches.addresses().units},
                         {"configuration", context.switches.addresses().configuration},
                         {"ring", ringJson(context.feed, ring)},
                         {"figures", std::move(figures)}});
}

Reply showMetrics(RouteContext & context, Request & /*request*/)
{
    std::vector<DoorFigure> figures = allFigures(context);
    // Those of one name in a row, as the format asks for, otherwise as they came.
    std::stable_sort(figures.begin(), figures.end(),
                     [](DoorFigure const & left, DoorFigure const & right) { return left.name < right.name; });
    Answer answer;
    answer.type = "text/plain; version=0.0.4; charset=utf-8";
    std::string previous;
    for (DoorFigure const & figure : figures) {
        if (figure.name != previous) {
            answer.body += "# HELP " + figure.name + " " + escapedHelp(figure.help) + "\n# TYPE " + figure.name +
                           (isCounter(figure.name) ? " counter\n" : " gauge\n");
            previous = figure.name;
        }
        answer.body += figure.name + (figure.labels.empty() ? "" : "{" + figure.labels + "}") + " " +
                       std::to_string(figure.value) + "\n";
    }
    return answer;
}

} // namespace common::log::host
