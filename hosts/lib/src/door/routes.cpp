#include "routes.h"

#include <string_view>

namespace common::log::host {

namespace {

struct Route
{
    std::string_view first; ///< segment of the path
    std::string_view methods;
    bool goesDeeper;    ///< takes further segments
    bool hasParameters; ///< and sees itself that no more are left
    Reply (*answer)(RouteContext & context, Request & request);
};

constexpr Route kRoutes[] = {
    {"units", "GET", false, true, listUnits},       {"nodes", "GET, PUT, POST", true, true, useNode},
    {"saved", "DELETE", false, false, forgetSaved}, {"records", "GET", false, true, showRecords},
    {"events", "GET", false, true, showEvents},     {"health", "GET", false, false, showHealth},
    {"metrics", "GET", false, false, showMetrics},
};

std::string textOf(std::vector<std::string> const & path)
{
    std::string text;
    for (std::string const & segment : path) {
        text += "/" + segment;
    }
    return text.empty() ? "/" : text;
}

bool takes(Route const & route, std::string const & method)
{
    return (", " + std::string(route.methods) + ",").find(", " + method + ",") != std::string::npos;
}

} // namespace

Reply answerRequest(RouteContext & context, Request & request)
{
    for (Route const & route : kRoutes) {
        if (request.path.empty() || request.path.front() != route.first ||
            (request.path.size() > 1 && !route.goesDeeper)) {
            continue;
        }
        if (!takes(route, request.method)) {
            Answer answer = Refusal(405, "bad_method", "The call does not take this method.", request.method).answer();
            answer.allow = route.methods;
            return answer;
        }
        if (request.method != "PUT" && !request.body.empty()) {
            throw Refusal(400, "bad_request", "The call takes no body.", std::to_string(request.body.size()));
        }
        if (!route.hasParameters) {
            request.parameters.expectNoMore();
        }
        return route.answer(context, request);
    }
    throw Refusal(404, "unknown_path", "There is nothing under this path.", textOf(request.path));
}

} // namespace common::log::host
