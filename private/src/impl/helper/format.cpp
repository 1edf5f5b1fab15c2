#include "helper/format.h"

#include "helper/printf/bounded_format.h"

#include <cstdarg>
#include <cstdio>
#include <type_traits>

namespace common::log::trace {

namespace {

// A template, so that only the branch of this platform is compiled.
template <typename List>
List & listOfPointer(char *& arguments)
{
    if constexpr (std::is_same_v<List, char *>) {
        return arguments;
    } else {
        return *reinterpret_cast<List *>(arguments);
    }
}

} // namespace

int formatArguments(char * buffer, std::size_t bufferSize, char const * format, char * arguments)
{
    int length = 0;
    ArgumentList copy;
    va_copy(copy.list, listOfPointer<std::va_list>(arguments));
    bool const isTaken = BoundedFormat(format).write(buffer, bufferSize, copy, length);
    va_end(copy.list);
    if (!isTaken) {
        va_copy(copy.list, listOfPointer<std::va_list>(arguments)); // from the first argument again
        length = std::vsnprintf(buffer, bufferSize, format, copy.list);
        va_end(copy.list);
    }
    return length;
}

} // namespace common::log::trace
