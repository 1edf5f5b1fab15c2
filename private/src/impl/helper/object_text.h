#pragma once

#include <cstdint>
#include <string>

namespace common::log::trace {

/// What a formatter prints for a "%s" whose argument is a string object, handed over by value, and not its characters.
///
/// Some reports have always been written that way, and their readers know them: the text where it fits into the object
/// (up to 15 characters), otherwise the object's first field, the address of the text, as bytes up to a zero.
/// To be had without the undefined behaviour of the call itself: pass `ObjectText(name).text()`.
class ObjectText
{
public:
    explicit ObjectText(std::string const & object)
    {
        if (object.size() <= kMostInPlace) {
            object.copy(m_bytes, kMostInPlace);
        } else {
            auto address = reinterpret_cast<std::uintptr_t>(object.data());
            for (char * byte = m_bytes; address != 0; address >>= 8U) {
                *byte++ = static_cast<char>(address & 0xFFU);
            }
        }
    }

    char const * text() const noexcept { return m_bytes; }

private:
    static constexpr std::size_t kMostInPlace = 15;

    char m_bytes[kMostInPlace + 1] = {};
};

} // namespace common::log::trace
