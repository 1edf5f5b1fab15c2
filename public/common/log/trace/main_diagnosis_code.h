#pragma once

namespace common::log::trace {

/// A main diagnosis code says by its class, bits 16 to 19, whether a record is a message, a warning or an error. The
/// library passes the other 28 bits along and never interprets them.
enum DiagnosisClass : unsigned int
{
    CLASS_MESSAGE = 0xA,
    CLASS_WARNING = 0xE,
    CLASS_ERROR = 0xF,
};

/// The codes of records without one of their own, such as the library's about itself. That of an error also stands in
/// for an invalid code.
constexpr unsigned int kMessageCode = 0x080A0112;
constexpr unsigned int kWarningCode = 0x080E0112;
constexpr unsigned int kErrorCode = 0x080F0112;

/// The class of `mainDiagnosisCode`, which may be none of the three above: such a code is invalid.
constexpr unsigned int diagnosisClass(unsigned int mainDiagnosisCode) noexcept
{
    return (mainDiagnosisCode >> 16U) & 0xFU;
}

} // namespace common::log::trace
