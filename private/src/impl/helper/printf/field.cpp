#include "helper/printf/field.h"

namespace common::log::trace {

std::uint64_t beginField(BoundedText & out, Conversion const & conversion, NumberPrefix const & prefix,
                         std::uint64_t length, bool isZeroPadded) noexcept
{
    std::uint64_t const taken = prefix.length + length;
    auto const width = static_cast<std::uint64_t>(conversion.width);
    std::uint64_t const padding = width > taken ? width - taken : 0;
    bool const isInFront = !conversion.isLeft && padding != 0;
    if (isInFront && !isZeroPadded) {
        out.fill(' ', padding);
    }
    for (unsigned int i = 0; i != prefix.length; ++i) {
        out.put(prefix.text[i]);
    }
    if (isInFront && isZeroPadded) {
        out.fill('0', padding);
    }
    return isInFront ? 0 : padding;
}

} // namespace common::log::trace
