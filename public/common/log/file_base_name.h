#pragma once

namespace common::log {

/// The part of a source path behind its last '/' or '\'.
///
/// A path whose only separator is its first character is its own base name, separator included; so is one without any.
///
/// @param path  not null; the result points into it
/// Real time  Safe.
constexpr char const * fileBaseName(char const * path) noexcept
{
    char const * separator = path;
    for (char const * position = path; *position != '\0'; ++position) {
        if (*position == '/' || *position == '\\') {
            separator = position;
        }
    }
    return separator == path ? path : separator + 1;
}

} // namespace common::log
