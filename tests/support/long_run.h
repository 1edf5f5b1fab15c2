#pragma once

#include <cstdlib>

namespace common::log::test {

/// How much of its work a test does: `usual`, or what the environment variable says, by which ./check --long asks for
/// more. What such a test has seen it writes to standard output, on a line that begins with "seen: ".
inline unsigned long amountOf(char const * variable, unsigned long usual)
{
    char const * const wanted = std::getenv(variable);
    return wanted != nullptr ? std::strtoul(wanted, nullptr, 10) : usual;
}

} // namespace common::log::test
