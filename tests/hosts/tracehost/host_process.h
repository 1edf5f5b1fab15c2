#pragma once

#include "support/process.h"
#include "support/record.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tracehost::test {

using common::log::test::Process;
using common::log::test::Record;

using Arguments = std::vector<std::string>;

/// A place in which nothing is saved and nothing can be.
constexpr char const * kNoStates = "/no/states";

/// The command of the program, without a real-time priority, which would let the tests slow each other down, and without
/// an end, saved states, door and ring unless `arguments` give them.
inline Arguments hostCommand(Arguments const & arguments)
{
    Arguments command{TRACEHOST_PROGRAM, "--priority", "0"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    auto const isGiven = [&arguments](char const * option) {
        return std::find(arguments.begin(), arguments.end(), option) != arguments.end();
    };
    std::pair<char const *, char const *> const defaults[] = {
        {"--duration", "0"}, {"--state-dir", kNoStates}, {"--socket", "-"}, {"--ring", "0"}};
    for (auto const & [option, value] : defaults) {
        if (!isGiven(option)) {
            command.insert(command.end(), {option, value});
        }
    }
    return command;
}

/// The same behind a shell that redirects the streams first.
inline Arguments redirectedHost(std::string const & redirections, Arguments const & arguments)
{
    Arguments command{"/bin/sh", "-c", "exec \"$@\" " + redirections, "sh"};
    Arguments const host = hostCommand(arguments);
    command.insert(command.end(), host.begin(), host.end());
    return command;
}

/// Units that trace on their own, switched off, so that what is traced depends on the input alone.
inline Arguments inputsOnly(Arguments arguments = {})
{
    arguments.insert(arguments.end(), {"--state", "cycle.*=-"});
    return arguments;
}

/// The number behind `name`, with a colon or without, in the closing summary. Fails the test where there is none.
inline std::uint64_t summaryValue(std::string const & output, std::string const & name)
{
    for (std::string const & text : {name + " ", name + ": "}) {
        auto const at = output.find(text);
        if (at != std::string::npos && output.find_first_of("0123456789", at + text.size()) == at + text.size()) {
            return std::stoull(output.substr(at + text.size()));
        }
    }
    ADD_FAILURE() << "no " << name << " in: " << output;
    return ~std::uint64_t{0};
}

inline std::vector<Record> recordsOf(std::string const & errors, std::string const & unitName)
{
    std::vector<Record> records = common::log::test::parseRecords(errors);
    auto const isOther = [&](Record const & record) { return record.unitName != unitName; };
    records.erase(std::remove_if(records.begin(), records.end(), isOther), records.end());
    return records;
}

inline std::vector<std::string> messagesOf(std::string const & errors, std::string const & unitName)
{
    std::vector<std::string> messages;
    for (Record const & record : recordsOf(errors, unitName)) {
        messages.push_back(record.message);
    }
    return messages;
}

/// The records of the library's handler: its queue, the start and the end of its worker.
constexpr std::uint64_t kHandlerRecords = 3;

/// What stands in the last record of the start: from there on the inputs are read.
constexpr char const * kStarted = "Version ";

} // namespace tracehost::test
