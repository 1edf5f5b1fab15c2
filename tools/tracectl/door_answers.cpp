#include "door_answers.h"

#include <common/log/host/state_text.h>

namespace tracectl {

namespace {

[[noreturn]] void throwMissing(char const * name, char const * kind)
{
    throw Failure(Status::refused,
                  std::string("the host's answer cannot be used: '") + name + "' is missing in it or is no " + kind);
}

Json const & field(Json const & object, char const * name, char const * kind)
{
    auto const found = object.find(name); // the end for what is no object
    if (found == object.end()) {
        throwMissing(name, kind);
    }
    return *found;
}

/// Null stands for none.
std::optional<EnablingState> optionalStateField(Json const & object, char const * name)
{
    Json const & value = field(object, name, "state");
    return value.is_null() ? std::nullopt : std::optional(stateField(object, name));
}

Unit unitOf(Json const & object)
{
    Unit unit;
    unit.name = textField(object, "name");
    unit.address = textField(object, "address");
    unit.current = optionalStateField(object, "current");
    unit.given = stateField(object, "default");
    unit.saved = optionalStateField(object, "saved");
    Json const & expiry = field(object, "switch", "switch");
    if (!expiry.is_null()) {
        unit.expiry = {textField(expiry, "until"), static_cast<std::int64_t>(countField(expiry, "seconds"))};
    }
    Json const & records = field(object, "records", "object");
    unit.messages = countField(records, "messages");
    unit.warnings = countField(records, "warnings");
    unit.errors = countField(records, "errors");
    return unit;
}

} // namespace

std::vector<Unit> unitsOf(DoorClient & door, std::string const & pattern)
{
    Json const answer = door.get(pattern.empty() ? "/units" : "/units?match=" + percentEncoded(pattern));
    std::vector<Unit> units;
    for (Json const & unit : arrayField(answer, "units")) {
        units.push_back(unitOf(unit));
    }
    return units;
}

std::string textField(Json const & object, char const * name)
{
    Json const & value = field(object, name, "text");
    if (!value.is_string()) {
        throwMissing(name, "text");
    }
    return value.get<std::string>();
}

std::uint64_t countField(Json const & object, char const * name)
{
    Json const & value = field(object, name, "count");
    if (!value.is_number_unsigned()) {
        throwMissing(name, "count");
    }
    return value.get<std::uint64_t>();
}

Json const & arrayField(Json const & object, char const * name)
{
    Json const & value = field(object, name, "array");
    if (!value.is_array()) {
        throwMissing(name, "array");
    }
    return value;
}

EnablingState stateField(Json const & object, char const * name)
{
    std::optional<EnablingState> const state = stateOf(field(object, name, "state"));
    if (!state) {
        throwMissing(name, "state");
    }
    return *state;
}

std::optional<EnablingState> stateOf(Json const & value)
{
    if (!value.is_array() || value.size() != 3 || !value[0].is_boolean() || !value[1].is_boolean() ||
        !value[2].is_boolean()) {
        return std::nullopt;
    }
    return EnablingState{value[0].get<bool>(), value[1].get<bool>(), value[2].get<bool>()};
}

std::string stateJson(EnablingState const & state) { return Json{state.messages, state.warnings, state.errors}.dump(); }

std::string lettersOf(std::optional<EnablingState> const & state, char const * without)
{
    return state ? common::log::host::flagsText(*state) : without;
}

} // namespace tracectl
