#include "input_line.h"

#include <algorithm>

namespace tracehost {

using namespace common::log::trace;

InputLine parseInputLine(std::string const & line)
{
    constexpr std::size_t kPrefixSize = 3;
    if (line.size() < kPrefixSize || line[0] != '<' || line[1] < '0' || line[1] > '7' || line[2] != '>') {
        return {CLASS_MESSAGE, line.c_str()};
    }
    DiagnosisClass const severity = line[1] <= '3' ? CLASS_ERROR : line[1] == '4' ? CLASS_WARNING : CLASS_MESSAGE;
    return {severity, line.c_str() + kPrefixSize};
}

std::string unitNameOfFile(std::string const & path)
{
    // A path without any '/' is its own name: npos + 1 is 0.
    std::string name = path.substr(path.rfind('/') + 1);
    std::replace(name.begin(), name.end(), '.', '_');
    return "input." + name;
}

} // namespace tracehost
