#include "routes.h"
#include "values.h"

#include <common/log/host/name_pattern.h>

#include <algorithm>
#include <map>
#include <utility>

namespace common::log::host {

namespace {

std::string addressOf(std::string const & units, std::string name)
{
    std::replace(name.begin(), name.end(), '.', '/');
    return units + "/" + name;
}

Json currentState(NodeService & nodes, std::string const & address)
{
    NodeAnswer const answer = nodes.read(address);
    return isFailure(answer.result) || !answer.value ? Json() : jsonOf(&*answer.value);
}

} // namespace

Reply listUnits(RouteContext & context, Request & request)
{
    std::string const pattern = request.parameters.text("match").value_or("*");
    request.parameters.expectNoMore();
    std::map<std::string, RunningSwitch> running;
    for (RunningSwitch & one : context.switches.running()) {
        std::string const address = one.address;
        running.emplace(address, std::move(one));
    }
    std::vector<DoorUnit> units = context.host.units();
    std::sort(units.begin(), units.end(),
              [](DoorUnit const & left, DoorUnit const & right) { return left.name < right.name; });
    Json list = Json::array();
    for (DoorUnit const & unit : units) {
        if (!matchesPattern(pattern, unit.name)) {
            continue;
        }
        std::string const address = addressOf(context.switches.addresses().units, unit.name);
        auto const found = running.find(address);
        RecordCounts const records = context.census.of(unit.name);
        list.push_back(
            {{"name", unit.name},
             {"address", address},
             {"current", currentState(context.nodes, address)},
             {"default", jsonOf(unit.given)},
             {"saved", unit.saved ? jsonOf(*unit.saved) : Json()},
             {"switch", found != running.end() ? jsonOf(found->second) : Json()},
             {"records",
              {{"messages", records.messages}, {"warnings", records.warnings}, {"errors", records.errors}}}});
    }
    return answerOf(Json{{"units", std::move(list)}});
}

Reply forgetSaved(RouteContext & context, Request & /*request*/)
{
    if (!context.host.forget()) {
        throw Refusal(404, "nothing_saved", "Nothing is saved.");
    }
    return answerOf(Json{{"done", "forget"}});
}

} // namespace common::log::host
