#include "helper/format.h"

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
    std::va_list copy;
    va_copy(copy, listOfPointer<std::va_list>(arguments));
    int const length = std::vsnprintf(buffer, bufferSize, format, copy);
    va_end(copy);
    return length;
}

} // namespace common::log::trace
