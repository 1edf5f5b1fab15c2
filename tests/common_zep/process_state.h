#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace common_zep::test {

/// What the process holds of the system, counted by the system itself.
struct ProcessState
{
    static std::ptrdiff_t entriesOf(char const * folder)
    {
        return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
    }
    static std::ptrdiff_t threads() { return entriesOf("/proc/self/task"); }
    static std::ptrdiff_t descriptors() { return entriesOf("/proc/self/fd"); }
    static std::ptrdiff_t mappings()
    {
        std::ifstream file("/proc/self/maps");
        std::ptrdiff_t count = 0;
        for (std::string line; std::getline(file, line);) {
            ++count;
        }
        return count;
    }
};

/// Waits for a condition that is bound to come true. @return false after 20 s
template <class Condition>
bool waitUntil(Condition const & condition)
{
    auto const limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

} // namespace common_zep::test
