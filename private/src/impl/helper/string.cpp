#include "helper/string.h"

#include "helper/self_trace.h"

#include <common/log/trace/check_and_set_string.h>

#include <algorithm>
#include <cstring>

namespace common::log::trace {

std::size_t copyTruncated(char * destination, std::size_t destinationSize, char const * source) noexcept
{
    std::size_t const length = std::strlen(source);
    if (destinationSize != 0) {
        std::size_t const copied = std::min(length, destinationSize - 1);
        std::memcpy(destination, source, copied);
        destination[copied] = '\0';
    }
    return length;
}

void checkAndSetString(char * destination, char const * source, unsigned short destinationSize, TraceResult & result)
{
    if (source == nullptr) {
        return;
    }
    std::size_t const length = copyTruncated(destination, destinationSize, source);
    if (length + 1 <= destinationSize) {
        return;
    }
    SELF_TRACE_ERROR("Message size (%d) of source string exceeded. String is truncated after %d characters.",
                     static_cast<int>(length), static_cast<int>(destinationSize) - 1);
    result = TRACE_TRUNCATED;
}

} // namespace common::log::trace
