#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace common::log::test {

/// How much of something a test does: what the environment says, for a longer run, or the usual.
inline std::uint64_t roundsOf(char const * variable, std::uint64_t usual)
{
    char const * const wanted = std::getenv(variable);
    return wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : usual;
}

/// Tells what a test has seen, in one line, for the table of a long run.
inline void printSeen(std::string const & what) { (void)std::printf("seen: %s\n", what.c_str()); }

} // namespace common::log::test
