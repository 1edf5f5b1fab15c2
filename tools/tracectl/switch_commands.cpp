#include "switch_commands.h"

#include "door_answers.h"
#include "near_names.h"
#include "time_text.h"

#include <common/log/host/record_text.h>

#include <algorithm>
#include <chrono>

namespace tracectl {

using common::log::host::printable;

namespace {

constexpr std::chrono::seconds kMessagesEnd = std::chrono::minutes(10);

std::vector<Unit> unitsToSwitch(DoorClient & door, std::string const & pattern)
{
    std::vector<Unit> units = unitsOf(door, pattern);
    if (units.empty()) {
        std::vector<std::string> names;
        for (Unit const & unit : unitsOf(door, {})) {
            names.push_back(unit.name);
        }
        std::string text = "no unit matches '" + printable(pattern) + "'";
        std::string separator = "; did you mean ";
        for (std::string const & name : nearNames(pattern, names)) {
            text += separator + printable(name);
            separator = ", ";
        }
        throw Failure(Status::wrongUse, text);
    }
    return units;
}

EnablingState wantedState(Unit const & unit, Options const & options)
{
    if (options.command == Command::giveDefault) {
        return unit.given;
    }
    if (!unit.current && options.change.isPartial()) {
        throw Failure(Status::refused, "its state cannot be read");
    }
    return options.change.appliedTo(unit.current.value_or(EnablingState{}));
}

/// How long a switch lasts; none for ever.
std::optional<std::chrono::seconds> durationFor(Unit const & unit, EnablingState const & wanted,
                                                Options const & options)
{
    if (options.duration || options.isForEver || options.command == Command::giveDefault) {
        return options.duration;
    }
    // Where a switch with an expiry runs, the messages are on by hand, and one without would keep them for ever.
    bool const areByHand = !unit.current || !unit.current->messages || unit.expiry;
    return wanted.messages && areByHand ? std::optional(kMessagesEnd) : std::nullopt;
}

std::string changeText(Unit const & unit, EnablingState const & now)
{
    return printable(unit.name) + ": " + lettersOf(unit.current, "?") + " -> " + lettersOf(now, "");
}

/// @return what the host says to have done, in one line
std::string switchUnit(DoorClient & door, Unit const & unit, Options const & options)
{
    EnablingState const wanted = wantedState(unit, options);
    std::optional<std::chrono::seconds> const duration = durationFor(unit, wanted, options);
    std::string const length = duration ? secondsText(duration->count()) : "";
    if (options.isDryRun) {
        return changeText(unit, wanted) + (duration ? " for " + length : "") + ", not done";
    }
    std::string target = nodeTarget(unit.address);
    if (duration) {
        target += "?for=" + std::to_string(duration->count());
    }
    Json const answer = door.put(target, stateJson(wanted));
    Unit switched = unit;
    EnablingState now = wanted;
    for (Json const & entry : arrayField(answer, "units")) {
        switched.current = stateField(entry, "before");
        now = stateField(entry, "now");
    }
    std::string text = changeText(switched, now);
    if (duration) {
        text += " until " + printable(clockText(textField(answer, "until"))) + " (" + length + ")";
    }
    return text;
}

/// The address of the configuration node, as a target.
std::string configurationTarget(DoorClient & door)
{
    return nodeTarget(textField(door.get("/health"), "configuration"));
}

/// @throws Failure  where the host tells of something else than what it was asked for
void expectDone(Json const & answer, char const * what)
{
    if (textField(answer, "done") != what) {
        throw Failure(Status::refused,
                      std::string("the host's answer does not say that it did what was asked: ") + what);
    }
}

std::string runningSwitchesText(Json const & switches)
{
    std::string text;
    for (Json const & entry : switches) {
        // Of units as in the list of them; addresses where there are no names.
        bool const hasName = entry.is_object() && entry.contains("name");
        text += "\n  " + printable(textField(entry, hasName ? "name" : "address"));
        auto const expiry = entry.find("switch");
        Json const & ending = expiry != entry.end() && expiry->is_object() ? *expiry : entry;
        text += " until " + printable(clockText(textField(ending, "until")));
    }
    return text;
}

} // namespace

void switchUnits(DoorClient & door, Options const & options, Output & output)
{
    std::string refused;
    for (Unit const & unit : unitsToSwitch(door, options.pattern)) {
        try {
            output.write(switchUnit(door, unit, options) + "\n");
        } catch (Failure const & failure) {
            if (failure.status() != Status::refused) {
                throw;
            }
            refused += (refused.empty() ? "" : "\n") + printable(unit.name) + " not switched: " + failure.what();
        }
    }
    if (!refused.empty()) {
        output.flush();
        throw Failure(Status::refused, refused);
    }
}

void saveStates(DoorClient & door, Options const & options, Output & output)
{
    std::string const target = configurationTarget(door) + "/save" + (options.isAnyway ? "?anyway" : "");
    try {
        expectDone(door.post(target), "save");
    } catch (Refusal const & refusal) {
        if (refusal.code() != "switches_running" || !refusal.details().is_array()) {
            throw;
        }
        throw Failure(Status::refused, "not saved, since these switches run, which would be saved as they are now:" +
                                           runningSwitchesText(refusal.details()) +
                                           "\nWait for their end, put the units back by tracectl default, or save all "
                                           "the same by tracectl save --anyway.");
    }
    output.write("saved\n");
}

void loadStates(DoorClient & door, Output & output)
{
    expectDone(door.post(configurationTarget(door) + "/load"), "load");
    output.write("loaded\n");
}

void forgetStates(DoorClient & door, Output & output)
{
    expectDone(door.remove("/saved"), "forget");
    output.write("forgotten\n");
}

} // namespace tracectl
