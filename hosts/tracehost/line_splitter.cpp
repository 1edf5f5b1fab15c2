#include "line_splitter.h"

namespace tracehost {

void LineSplitter::feed(std::string_view bytes, LineFunction const & onLine)
{
    while (!bytes.empty()) {
        auto const end = bytes.find('\n');
        append(bytes.substr(0, end));
        if (end == std::string_view::npos) {
            return;
        }
        if (!m_line.empty() && m_line.back() == '\r') {
            m_line.pop_back();
        }
        onLine(m_line);
        m_line.clear();
        bytes.remove_prefix(end + 1);
    }
}

void LineSplitter::finish(LineFunction const & onLine)
{
    if (!m_line.empty()) {
        onLine(m_line);
        m_line.clear();
    }
}

void LineSplitter::append(std::string_view bytes)
{
    while (!bytes.empty() && m_line.size() < kMostBytes) {
        auto const zero = bytes.find('\0');
        m_line.append(bytes.substr(0, zero), 0, kMostBytes - m_line.size());
        if (zero == std::string_view::npos) {
            return;
        }
        m_line.append("\\0");
        bytes.remove_prefix(zero + 1);
    }
}

} // namespace tracehost
