#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace tracehost {

/// Takes one line, without its end. The text holds no zero byte and is valid during the call.
using LineFunction = std::function<void(std::string const & line)>;

/// Makes lines of a stream of bytes, however it is cut into pieces.
///
/// A line ends with a line feed; one carriage return directly ahead of that goes with it. A zero byte, which no C text
/// can hold, becomes the two characters \0; all other bytes pass as they are. Of a line of any length the first
/// `kMostBytes` are kept and the rest of it is dropped, so that memory has a bound.
class LineSplitter
{
public:
    /// Far above what a record takes.
    static constexpr std::size_t kMostBytes = 65'536;

    void feed(std::string_view bytes, LineFunction const & onLine);

    /// Gives out what has come without a line end, if anything has: nothing more follows.
    void finish(LineFunction const & onLine);

private:
    void append(std::string_view bytes);

    std::string m_line;
};

} // namespace tracehost
