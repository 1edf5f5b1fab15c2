#pragma once

#include <common/log/file_base_name.h>
#include <common/log/function_name.h>

namespace common::log {

/// Where in the sources a record was written.
struct CallPlace
{
    char const * fileName;     ///< without its folders
    char const * functionName; ///< see FunctionName
    unsigned int line;
};

} // namespace common::log

/// Declares `name` as a constant, the CallPlace of the line in which this stands, all of it found by the compiler.
#define COMMON_LOG_CALL_PLACE(name)                                                                                    \
    static constexpr ::common::log::FunctionName name##Function(COMMON_LOG_FUNCTION_SIGNATURE);                        \
    static constexpr ::common::log::CallPlace name                                                                     \
    {                                                                                                                  \
        ::common::log::fileBaseName(__FILE__), name##Function.text(), __LINE__                                         \
    }
