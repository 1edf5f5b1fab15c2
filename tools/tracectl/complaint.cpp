#include "complaint.h"

#include <common/log/host/record_text.h>

#include <cstddef>
#include <cstdio>

namespace tracectl {

using common::log::host::printable;

void complain(std::string const & text)
{
    std::string lines = "tracectl: ";
    std::size_t start = 0;
    for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        lines += printable(text.substr(start, end - start)) + "\n";
        start = end + 1;
    }
    lines += printable(text.substr(start)) + "\n";
    (void)std::fputs(lines.c_str(), stderr); // nobody else could be told
}

} // namespace tracectl
