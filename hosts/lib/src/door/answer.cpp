#include "answer.h"

#include <utility>

namespace common::log::host {

using namespace comm::nodebus;

namespace {

struct StatusOfResult
{
    NbResult result;
    unsigned int status;
};

constexpr unsigned int kFailureBelow = 502;
constexpr StatusOfResult kStatuses[] = {
    {NB_OK, 200},
    {NB_OK_NO_CONTENT, 204},
    {NB_INVALID_ADDRESS, 404},
    {NB_UNSUPPORTED, 405},
    {NB_LIMIT_MIN, 422},
    {NB_LIMIT_MAX, 422},
    {NB_TYPE_MISMATCH, 422},
    {NB_SIZE_MISMATCH, 422},
    {NB_INVALID_FLOATINGPOINT, 422},
    {NB_INVALID_VALUE, 422},
    {NB_MISSING_ARGUMENT, 422},
    {NB_TOO_MANY_ARGUMENTS, 422},
};

char const * sentenceOf(unsigned int status)
{
    switch (status) {
    case 404:
        return "There is no such node.";
    case 405:
        return "The node does not take this.";
    case 422:
        return "The node refuses this value.";
    default:
        return "The node failed.";
    }
}

} // namespace

Refusal::Refusal(unsigned int status, std::string code, std::string const & text, Json detail)
    : std::runtime_error(text), m_status(status), m_code(std::move(code)), m_detail(std::move(detail))
{}

Answer Refusal::answer() const
{
    Answer answer = answerOf(Json{{"error", {{"code", m_code}, {"text", what()}, {"what", m_detail}}}});
    answer.status = m_status;
    return answer;
}

Answer answerOf(Json const & json)
{
    Answer answer;
    answer.body = textOf(json) + "\n";
    return answer;
}

std::string textOf(Json const & json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

unsigned int statusOf(NbResult result)
{
    for (StatusOfResult const & row : kStatuses) {
        if (row.result == result) {
            return row.status;
        }
    }
    return isFailure(result) ? kFailureBelow : 200;
}

void expectDone(NbResult result, std::string const & address)
{
    if (isFailure(result)) {
        unsigned int const status = statusOf(result);
        throw Refusal(status, result.toString(), sentenceOf(status), address);
    }
}

} // namespace common::log::host
