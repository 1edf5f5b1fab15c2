#pragma once

#include <comm/nodebus/nb_result.h>
#include <comm/nodebus/variant.h>

#include <string>

namespace common::log::trace {

/// What the library needs of the files that describe its types.
class MetadataHelper
{
public:
    /// Reads a whole file into `out`, an owned block of bytes with the tag of a flatbuffer. Read afresh each time, so
    /// that a file which was exchanged counts from the next call on.
    ///
    /// What comes short of the size that the file had when it was looked at reads as zeros: the block is for the
    /// persistence helper, and it is the helper that finds fault with it.
    ///
    /// @return NB_OK; NB_INVALID_ADDRESS for a file that cannot be opened, `out` is untouched then. Without memory
    ///         std::bad_alloc passes, and `out` is empty.
    static comm::nodebus::NbResult getFileContent(std::string const & path, comm::nodebus::Variant & out);
};

} // namespace common::log::trace
