#pragma once

#include <string>

namespace tracectl {

/// Writes to the error stream, in the name of the program. Each line of the text stays one; what else it holds may stem
/// from anywhere and comes out printable.
void complain(std::string const & text);

} // namespace tracectl
