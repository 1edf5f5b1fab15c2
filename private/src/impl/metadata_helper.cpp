#include "metadata_helper.h"

#include <fstream>

namespace common::log::trace {

using namespace comm::nodebus;

NbResult MetadataHelper::getFileContent(std::string const & path, Variant & out)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::streamoff const size = file.is_open() ? std::streamoff(file.tellg()) : -1;
    if (size < 0) {
        return NB_INVALID_ADDRESS;
    }
    file.close(); // nothing was written, so that a failure means nothing
    file.open(path, std::ios::binary);
    if (!file.is_open()) {
        return NB_INVALID_ADDRESS;
    }
    out.reset();
    out.type = VariantType::flatbuffers;
    if (size != 0) {
        auto const bytes = static_cast<std::size_t>(size);
        out.data = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(new std::uint8_t[bytes]()));
        out.size = bytes;
        file.read(static_cast<char *>(out.dataPointer()), size); // what is missing stays zero
    }
    return NB_OK;
}

} // namespace common::log::trace
