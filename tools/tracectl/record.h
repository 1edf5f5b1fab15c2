#pragma once

#include <common/log/host/record_text.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace tracectl {

/// One record as the door tells it. Its texts may hold any characters.
struct Record
{
    std::uint64_t number = 0;
    bool isRecord = false; ///< otherwise a line of the stream that is none: only `message`
    std::string time;
    common::log::host::RecordSeverity severity = common::log::host::RecordSeverity::message;
    std::string code;
    std::string title;
    std::string component;
    std::string snap;
    std::string unit;
    std::string file;
    std::string function;
    std::string line;
    std::string message;
};

/// @throws Failure  where it is no record as docs/door.md has it
Record parseRecordJson(std::string_view json);

} // namespace tracectl
