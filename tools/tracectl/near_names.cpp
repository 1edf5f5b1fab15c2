#include "near_names.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace tracectl {

namespace {

constexpr std::size_t kMostNames = 3;

/// How many characters to insert, to delete or to change make one text of the other.
std::size_t distance(std::string const & from, std::string const & to)
{
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t line = 0; line < from.size(); ++line) {
        std::size_t diagonal = std::exchange(row[0], line + 1);
        for (std::size_t column = 0; column < to.size(); ++column) {
            std::size_t const changed = diagonal + (from[line] == to[column] ? 0 : 1);
            diagonal = row[column + 1];
            row[column + 1] = std::min({changed, diagonal + 1, row[column] + 1});
        }
    }
    return row.back();
}

} // namespace

std::vector<std::string> nearNames(std::string const & pattern, std::vector<std::string> const & names)
{
    std::string written = pattern;
    auto const isWildcard = [](char character) { return character == '*' || character == '?'; };
    written.erase(std::remove_if(written.begin(), written.end(), isWildcard), written.end());
    std::vector<std::pair<std::size_t, std::string>> near;
    for (std::string const & name : names) {
        bool const isPart = !written.empty() && name.find(written) != std::string::npos;
        std::size_t const far = isPart ? 0 : distance(written, name);
        if (far <= std::max<std::size_t>(2, name.size() / 3)) {
            near.emplace_back(far, name);
        }
    }
    std::sort(near.begin(), near.end());
    std::vector<std::string> nearest;
    for (std::size_t index = 0; index < std::min(near.size(), kMostNames); ++index) {
        nearest.push_back(near[index].second);
    }
    return nearest;
}

} // namespace tracectl
