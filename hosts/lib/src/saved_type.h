#pragma once

#include <flatbuffers/idl.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace reflection {
struct Schema;
}

namespace common::log::host {

/// The type of saved states, as their type file gives it: makes text of a buffer and, with all checks, a buffer of a text.
///
/// Of the type file is asked that it has the fields that the library reads, at the places where the library looks for
/// them, and that it holds nothing but tables, scalars, strings and vectors; other fields may come along.
///
/// Threads  One at a time.
/// Errors   StoreFailure.
class SavedType
{
public:
    SavedType(void const * bytes, std::size_t size);

    /// The text that stands for a buffer, which has been read back.
    std::string textOf(void const * bytes, std::size_t size);

    /// The buffer that a text stands for: well-formed, with all that the library reads.
    std::vector<std::uint8_t> bufferOf(std::string const & text);

private:
    bool isSound(void const * bytes, std::size_t size) const;

    std::vector<std::uint8_t> m_bytes;
    reflection::Schema const * m_schema = nullptr; ///< in them
    flatbuffers::Parser m_parser;
};

} // namespace common::log::host
