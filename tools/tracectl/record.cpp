#include "record.h"

#include "door_answers.h"

namespace tracectl {

using common::log::host::nameOf;
using common::log::host::RecordSeverity;

namespace {

RecordSeverity severityField(Json const & object)
{
    std::string const name = textField(object, "severity");
    for (RecordSeverity const severity : {RecordSeverity::message, RecordSeverity::warning, RecordSeverity::error}) {
        if (name == nameOf(severity)) {
            return severity;
        }
    }
    throw Failure(Status::refused, "the host's answer cannot be used: a record has a severity that there is not");
}

/// Where the record has no number of a line, there is none.
std::string lineField(Json const & object)
{
    auto const line = object.find("line");
    return line != object.end() && line->is_number_integer() ? line->dump() : "";
}

} // namespace

Record parseRecordJson(std::string_view json)
{
    Json const object = Json::parse(json, nullptr, false);
    if (object.is_discarded()) {
        throw Failure(Status::refused, "the host's answer cannot be used: a record is no JSON");
    }
    Record record;
    record.number = countField(object, "number");
    if (object.contains("text")) {
        record.message = textField(object, "text");
        if (!record.message.empty() && record.message.front() == '\n') {
            record.message.erase(0, 1); // the end of the line ahead
        }
        return record;
    }
    record.isRecord = true;
    record.time = textField(object, "time");
    record.severity = severityField(object);
    record.code = textField(object, "code");
    record.title = textField(object, "title");
    record.component = textField(object, "component");
    record.snap = textField(object, "snap");
    record.unit = textField(object, "unit");
    record.file = textField(object, "file");
    record.function = textField(object, "function");
    record.line = lineField(object);
    record.message = textField(object, "message");
    return record;
}

} // namespace tracectl
