#pragma once

#include "support/scoped_environment.h"
#include "support/stream_capture.h"

#include <common/log/trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace common::log::test {

/// A class of main diagnosis codes. `flag` is null for those that are invalid.
struct CodeClass
{
    char const * name;
    unsigned int code;
    char const * titleStart;
    char const * writtenCode;
    bool trace::EnablingState::*flag;
};

/// The three severities, and some of the codes that are none.
inline CodeClass const kCodeClasses[] = {
    {"Message", 0xFFFAFFFF, "Trace message ", "FFFAFFFF", &trace::EnablingState::messages},
    {"Warning", 0x000E0000, "Trace warning ", "000E0000", &trace::EnablingState::warnings},
    {"Error", 0x080F0112, "Trace error ", "080F0112", &trace::EnablingState::errors},
    {"InvalidC", 0x080C0112, "Trace error ", "080F0112", nullptr},
    {"InvalidWithClassesBesideTheNibble", 0xAEF0FEAF, "Trace error ", "080F0112", nullptr},
};
constexpr unsigned int kMessage = 0x080A0112;
constexpr unsigned int kWarning = 0x080E0112;
constexpr unsigned int kInvalid = 0x080C0112;

/// A text that cannot be formatted: no encoding has such a character.
constexpr wchar_t kUnwritable[2] = {wchar_t{0xD800}, L'\0'};

/// Where a call comes from.
struct Origin
{
    char const * componentName = "axis";
    char const * snapName = "machine";
    char const * fileName = "axis.cpp";
    char const * functionName = "Axis::start";
    unsigned int line = 118;
};

/// Calls `log` past the compiler's check of the format, which may be null here.
template <typename... Arguments>
trace::TraceResult callLog(trace::ILog & unit, unsigned int code, Origin const & origin, char const * format,
                           Arguments... arguments)
{
    using Operation = trace::TraceResult (trace::ILog::*)(unsigned int, char const *, char const *, char const *,
                                                          char const *, unsigned int, char const *, ...);
    Operation const operation = &trace::ILog::log;
    return (unit.*operation)(code, origin.componentName, origin.snapName, origin.fileName, origin.functionName,
                             origin.line, format, arguments...);
}

/// The same call as a real-time caller passes it.
inline trace::LogParametersExtended parametersOf(Origin const & origin, char const * format)
{
    trace::LogParametersExtended parameters;
    parameters.componentName = origin.componentName;
    parameters.snapName = origin.snapName;
    parameters.fileName = origin.fileName;
    parameters.functionName = origin.functionName;
    parameters.line = origin.line;
    parameters.format = format;
    return parameters;
}

/// A stream, and the default snap name whatever the environment says.
class UnitTest : public testing::Test
{
protected:
    /// What was written since the last call. What differs from run to run is replaced: a whole timestamp by T, the line
    /// number of a report of the library by L.
    std::vector<std::string> takeLines()
    {
        std::vector<std::string> lines = stream.lines();
        for (std::string & line : lines) {
            if (line.find('|') == 27) {
                line.replace(0, 27, "T");
            }
            replaceNumber(line, "|common::log::", '|', '|');
            replaceNumber(line, "(line ", ' ', ')');
        }
        stream.clear();
        return lines;
    }

    ScopedEnvironment environment{"SNAP_NAME", std::nullopt};
    StreamCapture stream;

private:
    static void replaceNumber(std::string & line, char const * mark, char before, char behind)
    {
        auto const marked = line.find(mark);
        if (marked != std::string::npos) {
            auto const start = line.find(before, marked + 1) + 1;
            auto const end = line.find_first_not_of("0123456789", start);
            if (end != start && line[end] == behind) {
                line.replace(start, end - start, "L");
            }
        }
    }
};

/// A record of the library about itself, in that form.
inline std::string ownError(std::string const & file, std::string const & function, std::string const & message,
                            std::string const & snapName = "unknownSnap")
{
    return "T||080F0112|Trace error common.log.trace|||trace|" + snapName + "|common.log.trace|" + file +
           "|common::log::" + function + "|L|" + message;
}

/// What checkAndSetString has to say of a cut.
inline std::string cutReport(std::size_t sourceLength, int kept, std::string const & snapName = "unknownSnap")
{
    return ownError("string.cpp", "trace::checkAndSetString",
                    "Message size (" + std::to_string(sourceLength) +
                        ") of source string exceeded. String is truncated after " + std::to_string(kept) +
                        " characters.",
                    snapName);
}

} // namespace common::log::test
