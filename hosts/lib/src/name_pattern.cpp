#include <common/log/host/name_pattern.h>

namespace common::log::host {

bool matchesPattern(std::string_view pattern, std::string_view name)
{
    // Only the last star is ever tried again: what an earlier one could take more, the last one can take as well. So
    // the work is at most the product of the two lengths.
    std::size_t position = 0;
    std::size_t inName = 0;
    std::size_t behindStar = std::string_view::npos;
    std::size_t takenByStar = 0;
    while (inName < name.size()) {
        if (position < pattern.size() && pattern[position] == '*') {
            behindStar = ++position;
            takenByStar = inName;
        } else if (position < pattern.size() && (pattern[position] == '?' || pattern[position] == name[inName])) {
            ++position;
            ++inName;
        } else if (behindStar != std::string_view::npos) {
            position = behindStar;
            inName = ++takenByStar;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', position) == std::string_view::npos;
}

} // namespace common::log::host
