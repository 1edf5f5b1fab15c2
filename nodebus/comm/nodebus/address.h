#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace comm::nodebus {

/// The path of a node, taken apart. Empty segments vanish wherever they stand.
///
/// Errors  None: every text is a path, though perhaps one without parts.
class Address
{
public:
    explicit Address(std::string const & path) : separator("/") { parse(path); }

    std::string separator;
    std::string normalized; ///< each part and a separator behind it, the last one too; empty without parts
    std::vector<std::string> parts;

private:
    void parse(std::string const & path)
    {
        normalized.clear();
        parts.clear();
        std::size_t start = 0;
        while (start <= path.size()) {
            std::size_t const end = std::min(path.find(separator, start), path.size());
            if (end != start) {
                parts.push_back(path.substr(start, end - start));
            }
            start = end + separator.size();
        }
        for (std::string const & part : parts) {
            normalized += part + separator;
        }
    }
};

} // namespace comm::nodebus
