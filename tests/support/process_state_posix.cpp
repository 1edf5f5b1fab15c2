#include "support/process_state.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace common::log::test {
namespace {

std::ptrdiff_t entriesOf(char const * folder)
{
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

} // namespace

std::ptrdiff_t ProcessState::countThreads() { return entriesOf("/proc/self/task"); }

std::ptrdiff_t ProcessState::countDescriptors() { return entriesOf("/proc/self/fd"); }

std::ptrdiff_t ProcessState::countMappings()
{
    std::ifstream file("/proc/self/maps");
    return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
}

} // namespace common::log::test
