#pragma once

#include <common/log/export.h>

#include <cstdint>

namespace common::log::trace {

/// Base of the records that a real-time call takes. `classType` says which record it is.
class COMMON_LOG_EXPORT LogParameters
{
public:
    LogParameters() = default;
    LogParameters(LogParameters const &) = default;
    LogParameters & operator=(LogParameters const &) = default;
    virtual ~LogParameters() = default;

    std::uint32_t classType = 0;
};

/// What a real-time call says beside its code and arguments. The one record that the library accepts.
///
/// Ownership  Only points at its texts, any of which may be null. Nothing keeps a pointer beyond the call.
/// Real time  Safe to build on the stack.
class COMMON_LOG_EXPORT LogParametersExtended : public LogParameters
{
public:
    /// The `classType` of this record.
    static constexpr std::uint32_t kClassType = 1;

    LogParametersExtended() { classType = kClassType; }

    char const * componentName = nullptr; ///< at most 127 characters reach the record
    char const * snapName = nullptr;      ///< 63
    char const * fileName = nullptr;      ///< 63; the base name of the source file
    char const * functionName = nullptr;  ///< 63; namespaces, class and name
    std::uint32_t line = 0;               ///< 0 means none
    char const * format = nullptr;        ///< as for printf; 255 characters of the result reach the record
};

} // namespace common::log::trace
