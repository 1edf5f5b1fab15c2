#pragma once

#include <cstdarg>

namespace common::log {

namespace detail {

inline char * pointerOfList(char *& list) noexcept { return list; }

template <typename List>
char * pointerOfList(List & list) noexcept
{
    return reinterpret_cast<char *>(&list);
}

} // namespace detail

/// The form in which the library passes a started variable argument list on: one `char *` on every platform.
///
/// Ownership  The pointer is valid as long as `arguments` is. Who receives it reads a copy: `arguments` is unread
///            afterwards, and who started it ends it.
/// Real time  Safe: no work at all.
inline char * argumentPointer(std::va_list & arguments) noexcept
{
    // A platform whose list is itself a `char *` takes the overload, any other the template.
    return detail::pointerOfList(arguments);
}

} // namespace common::log
