#pragma once

#include "support/scoped_environment.h"
#include "support/stream_capture.h"

#include <common/log/trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace common::log::test {

constexpr unsigned int kMessage = 0x080A0112;
constexpr unsigned int kWarning = 0x080E0112;
constexpr unsigned int kError = 0x080F0112;
constexpr unsigned int kInvalid = 0x080C0112;

/// The three severities, and some of the codes that are none.
struct CodeClass
{
    unsigned int code;
    unsigned int writtenCode;
    bool trace::EnablingState::*flag; ///< null for an invalid code
};
constexpr CodeClass kCodeClasses[] = {{0xFFFAFFFF, 0xFFFAFFFF, &trace::EnablingState::messages},
                                      {0x000E0000, 0x000E0000, &trace::EnablingState::warnings},
                                      {kError, kError, &trace::EnablingState::errors},
                                      {kInvalid, kError, nullptr},
                                      {0xAEF0FEAF, kError, nullptr}};

/// All eight states of a unit, by number: bit 0 for messages, bit 1 for warnings, bit 2 for errors.
inline trace::EnablingState stateOf(unsigned int number)
{
    return {(number & 1U) != 0, (number & 2U) != 0, (number & 4U) != 0};
}

/// Of two numbers, and cannot be formatted: its length is no `int`.
constexpr char const * kUnwritable = "%d%2147483647d";

/// What a call of the unit "axis.control" gives beside its code.
inline trace::LogParametersExtended parametersOf(char const * format)
{
    trace::LogParametersExtended parameters;
    parameters.componentName = "axis";
    parameters.snapName = "machine";
    parameters.fileName = "axis.cpp";
    parameters.functionName = "Axis::start";
    parameters.line = 118;
    parameters.format = format;
    return parameters;
}

/// The records of a stream as texts that can be compared: a whole timestamp stands as T, and in what the library says
/// of itself a line number as L.
inline std::vector<std::string> comparable(std::string const & stream)
{
    std::vector<std::string> lines = splitLines(stream);
    for (std::string & line : lines) {
        if (line.find('|') == 27) {
            line.replace(0, 27, "T");
        }
        auto const replaceNumber = [&line](char const * mark, char before, char behind) {
            if (auto const marked = line.find(mark); marked != std::string::npos) {
                auto const start = line.find(before, marked + 1) + 1;
                auto const end = line.find_first_not_of("0123456789", start);
                if (end != start && line[end] == behind) {
                    line.replace(start, end - start, "L");
                }
            }
        };
        replaceNumber("(line ", ' ', ')');
        // By the library's own unit, or by a unit that is not registered yet, with its whole path.
        if (line.find("|common.log.trace|") != std::string::npos || line.find("|private/src/") != std::string::npos) {
            replaceNumber("|common::log::", '|', '|');
        }
    }
    return lines;
}

/// The fields from the timestamp to the title's first words, in that form.
inline std::string recordStart(unsigned int code)
{
    char text[16];
    (void)std::snprintf(text, sizeof text, "%08X", code);
    unsigned int const codeClass = code >> 16U & 0xFU;
    char const * const severity = codeClass == 0xA ? "message" : codeClass == 0xE ? "warning" : "error";
    return std::string("T||") + text + "|Trace " + severity + " ";
}

/// A record of the unit "axis.control", in that form.
inline std::string unitRecord(unsigned int code, std::string const & message)
{
    return recordStart(code) + "axis.control|||axis|machine|axis.control|axis.cpp|Axis::start|118|" + message;
}

/// A record of the library about itself, in that form. The function's name goes without its first two namespaces.
inline std::string ownRecord(unsigned int code, std::string const & file, std::string const & function,
                             std::string const & message, std::string const & snapName = "machine")
{
    return recordStart(code) + "common.log.trace|||trace|" + snapName + "|common.log.trace|" + file +
           "|common::log::" + function + "|L|" + message;
}

/// What checkAndSetString has to say of a cut.
inline std::string cutReport(std::size_t length, long kept, std::string const & snapName = "machine")
{
    return ownRecord(kError, "string.cpp", "trace::checkAndSetString",
                     "Message size (" + std::to_string(length) +
                         ") of source string exceeded. String is truncated after " + std::to_string(kept) +
                         " characters.",
                     snapName);
}

/// What is said of an invalid code.
inline std::string invalidCodeText(unsigned int code)
{
    char text[128];
    (void)std::snprintf(text, sizeof text,
                        "Invalid main diagnosis code 0x%08X: treat as trace error, using 0x080F0112 instead.", code);
    return text;
}

/// A stream of the test's own, and the snap name "machine".
class TraceTest : public testing::Test
{
protected:
    /// What was written since the last call.
    std::vector<std::string> takeLines()
    {
        std::vector<std::string> lines = comparable(stream.text());
        stream.clear();
        return lines;
    }

    ScopedEnvironment environment{"SNAP_NAME", "machine"};
    StreamCapture stream;
};

} // namespace common::log::test
