#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>

namespace tracehost {

// What this program asks of the system in small.

bool isTerminal(int descriptor);

/// Whether two descriptors lead to the same file, pipe or terminal.
bool isSameFile(int left, int right);

/// @return empty where a file that may come and go can be followed by this name; else why not
std::string hindranceOfFollowing(std::string const & path);

/// Whether there is a ring of the newest records here, and a door to the running program.
bool hasRingAndDoor();

/// @return empty where the system does not tell
std::filesystem::path programFile();

/// The folder below which programs keep what is to survive a restart.
std::filesystem::path stateFolder();

/// 0 where users have no number.
std::uint32_t userId();

/// On the clock that nobody sets.
std::chrono::nanoseconds monotonicTime();

/// May come back early.
void sleepUntilMonotonicTime(std::chrono::nanoseconds time);

} // namespace tracehost
