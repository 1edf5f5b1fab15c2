#include "peer.h"
#include "routes.h"
#include "values.h"

#include "../utc_text.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

namespace common::log::host {

using namespace comm::nodebus;

namespace {

constexpr std::uint64_t kLongestSwitchSeconds = std::uint64_t{31} * 24 * 3600;

std::string addressOf(Request const & request)
{
    std::string address;
    for (std::size_t i = 1; i < request.path.size(); ++i) {
        address += (i > 1 ? "/" : "") + request.path[i];
    }
    return address;
}

/// @throws Refusal  where the node failed
Answer answerWith(NbResult result, std::string const & address, Json const & json)
{
    expectDone(result, address);
    Answer answer = answerOf(json);
    answer.status = statusOf(result);
    if (answer.status == 204) {
        answer.body.clear();
    }
    return answer;
}

Answer browse(RouteContext & context, std::string const & address)
{
    NodeAnswer const answer = context.nodes.browse(address);
    return answerWith(
        answer.result, address,
        {{"address", address}, {"children", answer.value ? Json(answer.value->getStrings()) : Json::array()}});
}

Answer metadata(RouteContext & context, std::string const & address)
{
    NodeAnswer const answer = context.nodes.metadata(address);
    expectDone(answer.result, address);
    return answerOf(Json{{"address", address}, {"metadata", metadataJson(answer, address)}});
}

Answer read(RouteContext & context, std::string const & address)
{
    NodeAnswer const answer = context.nodes.read(address);
    return answerWith(answer.result, address,
                      {{"address", address}, {"value", jsonOf(answer.value ? &*answer.value : nullptr)}});
}

Answer look(RouteContext & context, Request & request, std::string const & address)
{
    bool const isBrowsing = request.parameters.flag("children");
    bool const isDescribing = request.parameters.flag("metadata");
    request.parameters.expectNoMore();
    if (isBrowsing && isDescribing) {
        throw Refusal(400, "bad_request", "Either children or metadata can be asked for.", "both");
    }
    if (isBrowsing) {
        return browse(context, address);
    }
    return isDescribing ? metadata(context, address) : read(context, address);
}

Answer write(RouteContext & context, Request & request, std::string const & address)
{
    std::optional<std::uint64_t> const seconds = request.parameters.number("for", 1, kLongestSwitchSeconds);
    request.parameters.expectNoMore();
    std::optional<std::chrono::seconds> duration;
    if (seconds) {
        duration = std::chrono::seconds(*seconds);
    }
    Variant const value = readValue(request.body);
    SwitchBoard::Outcome const outcome =
        context.switches.write(address, value, duration, authorOf(peerOf(request.socket)));
    Json units = Json::array();
    for (SwitchedUnit const & unit : outcome.units) {
        units.push_back({{"address", unit.address}, {"before", jsonOf(unit.before)}, {"now", jsonOf(unit.now)}});
    }
    return answerWith(outcome.result, address,
                      {{"address", address},
                       {"units", std::move(units)},
                       {"until", outcome.until ? Json(utcText(*outcome.until)) : Json()}});
}

std::string nameOf(std::string const & address, std::string const & units)
{
    std::string name = address.compare(0, units.size() + 1, units + "/") == 0 ? address.substr(units.size() + 1) : "";
    std::replace(name.begin(), name.end(), '/', '.');
    return name;
}

Answer save(RouteContext & context, std::string const & address, bool isForced, SwitchAuthor const & author)
{
    SwitchBoard::SaveOutcome const outcome = context.switches.save(isForced, author);
    if (!outcome.running.empty()) {
        Json running = Json::array();
        for (RunningSwitch const & one : outcome.running) {
            running.push_back({{"name", nameOf(one.address, context.switches.addresses().units)},
                               {"address", one.address},
                               {"current", jsonOf(one.now)},
                               {"switch", jsonOf(one)}});
        }
        throw Refusal(409, "switches_running", "Switches with an expiry run, and a save would make them permanent.",
                      std::move(running));
    }
    return answerWith(outcome.result, address, {{"done", "save"}});
}

Answer create(RouteContext & context, Request & request, std::string const & address)
{
    std::string const & configuration = context.switches.addresses().configuration;
    bool const isSave = address == configuration + "/save";
    if (!isSave && address != configuration + "/load") {
        throw Refusal(405, NB_UNSUPPORTED.toString(), "Only the configuration node takes requests.", address);
    }
    bool const isForced = isSave && request.parameters.flag("anyway");
    request.parameters.expectNoMore();
    SwitchAuthor const author = authorOf(peerOf(request.socket));
    return isSave ? save(context, address, isForced, author)
                  : answerWith(context.switches.load(author), address, {{"done", "load"}});
}

} // namespace

Reply useNode(RouteContext & context, Request & request)
{
    std::string const address = addressOf(request);
    if (request.method == "PUT") {
        return write(context, request, address);
    }
    return request.method == "POST" ? create(context, request, address) : look(context, request, address);
}

} // namespace common::log::host
