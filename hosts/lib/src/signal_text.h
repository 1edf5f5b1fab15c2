#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace common::log::host {

/// A text of bounded length, made without a call that a signal handler may not make. What does not fit is cut off.
class SignalText
{
public:
    SignalText & text(std::string_view more)
    {
        for (char const character : more) {
            if (m_size < sizeof m_text) {
                m_text[m_size++] = character;
            }
        }
        return *this;
    }

    SignalText & number(std::int64_t value)
    {
        char digits[20];
        std::size_t count = 0;
        // Brought down on the negative side, which holds every number of both.
        std::int64_t rest = value < 0 ? value : -value;
        do {
            digits[count++] = static_cast<char>('0' - rest % 10);
            rest /= 10;
        } while (rest != 0);
        if (value < 0) {
            (void)text("-");
        }
        while (count > 0) {
            (void)text({&digits[--count], 1});
        }
        return *this;
    }

    SignalText & address(void const * place)
    {
        auto const value = reinterpret_cast<std::uintptr_t>(place);
        (void)text("0x");
        for (unsigned shift = 8 * sizeof value; shift > 0; shift -= 4) {
            (void)text({&"0123456789abcdef"[(value >> (shift - 4)) & 0xF], 1});
        }
        return *this;
    }

    std::string_view view() const { return {m_text, m_size}; }

private:
    char m_text[192] = {};
    std::size_t m_size = 0;
};

} // namespace common::log::host
