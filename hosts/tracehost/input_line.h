#pragma once

#include <common/log/trace/main_diagnosis_code.h>

#include <string>

namespace tracehost {

/// A line of an input, as it is traced.
struct InputLine
{
    common::log::trace::DiagnosisClass severity;
    char const * text; ///< points into the line
};

/// Takes a leading <0> to <7> off a line, by which programs tell the system journal a severity: 0 to 3 is an error, 4 a
/// warning, all else, and a line without it, a message.
InputLine parseInputLine(std::string const & line);

/// The unit of a followed file: "input." and the file's name, its dots as underscores.
std::string unitNameOfFile(std::string const & path);

} // namespace tracehost
