#pragma once

#include <common/log/file_base_name.h>
#include <common/log/function_name.h>

#include <cstddef>
#include <limits>

namespace common::log {

/// A length that every name keeps to.
constexpr std::size_t kAnyLength = std::numeric_limits<std::size_t>::max();

/// Where in the sources a record was written.
struct CallPlace
{
    char const * fileName; ///< without its folders
    char const * functionName;
    unsigned int line;
};

} // namespace common::log

/// Declares `name` as a constant, the CallPlace of the line in which this stands, all of it found by the compiler. Its
/// function name loses its outermost scopes where it has more than `functionNameLength` characters.
#define COMMON_LOG_CALL_PLACE(name, functionNameLength)                                                                \
    static constexpr ::common::log::FunctionName name##Function(COMMON_LOG_FUNCTION_SIGNATURE);                        \
    static constexpr ::common::log::CallPlace name                                                                     \
    {                                                                                                                  \
        ::common::log::fileBaseName(__FILE__), name##Function.innermost(functionNameLength), __LINE__                  \
    }
