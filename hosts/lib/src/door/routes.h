#pragma once

#include "answer.h"
#include "event_feed.h"
#include "request.h"
#include "stream.h"

#include <common/log/host/door.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace common::log::host {

/// What a route comes to: an answer as a whole, or one that is made while it is sent.
using Reply = std::variant<Answer, std::unique_ptr<Stream>>;

/// What the routes work on. All of it outlives them.
struct RouteContext
{
    DoorHost const & host;
    NodeService & nodes;
    SwitchBoard & switches;
    RecordCensus const & census;
    EventFeed & feed;
    std::function<std::vector<DoorFigure>()> figuresOfDoor;
    std::chrono::system_clock::time_point started; ///< of the door
};

/// Finds the route of a request and has it answered.
///
/// @throws Refusal         where there is none, or it refuses
/// @throws std::exception  whatever the functions of the host throw
Reply answerRequest(RouteContext & context, Request & request);

// --- the routes, one source for each subject

Reply listUnits(RouteContext & context, Request & request);
Reply useNode(RouteContext & context, Request & request);
Reply forgetSaved(RouteContext & context, Request & request);
Reply showHealth(RouteContext & context, Request & request);
Reply showMetrics(RouteContext & context, Request & request);
Reply showRecords(RouteContext & context, Request & request);
Reply showEvents(RouteContext & context, Request & request);

} // namespace common::log::host
