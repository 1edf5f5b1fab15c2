#include "input_line.h"

#include <algorithm>

namespace tracehost {

InputLine parseInputLine(std::string const & line)
{
    constexpr std::size_t kPrefixSize = 3;
    if (line.size() < kPrefixSize || line[0] != '<' || line[1] < '0' || line[1] > '7' || line[2] != '>') {
        return {Severity::message, line.c_str()};
    }
    Severity const severity = line[1] <= '3' ? Severity::error : line[1] == '4' ? Severity::warning : Severity::message;
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
