#pragma once

#include <string>
#include <vector>

namespace tracectl {

/// Those of `names`, at most three and the nearest first, that somebody may have meant who wrote `pattern`.
std::vector<std::string> nearNames(std::string const & pattern, std::vector<std::string> const & names);

} // namespace tracectl
