#pragma once

#include <comm/nodebus/nb_result.h>

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>

namespace common::log::host {

/// In the order in which the fields were put in, which is that of docs/door.md.
using Json = nlohmann::ordered_json;

/// What goes back to the client.
struct Answer
{
    unsigned int status = 200;
    std::string body{};
    char const * type = "application/json";
    std::string allow{}; ///< methods, with status 405
};

/// Says to the client why there is nothing else to be said.
class Refusal : public std::runtime_error
{
public:
    /// @param code    for programs
    /// @param text    a sentence
    /// @param detail  what was wrong: a text, or a list
    Refusal(unsigned int status, std::string code, std::string const & text, Json detail = "");

    Answer answer() const;

private:
    unsigned int m_status;
    std::string m_code;
    Json m_detail;
};

/// Bytes that are no UTF-8 are replaced, so that any text may stand in it.
Answer answerOf(Json const & json);

/// One line, with the same replacement.
std::string textOf(Json const & json);

/// The one table from results of nodes to statuses.
unsigned int statusOf(comm::nodebus::NbResult result);

/// @throws Refusal  where the result is a failure
void expectDone(comm::nodebus::NbResult result, std::string const & address);

} // namespace common::log::host
