#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace common::log::fuzz {

/// The first byte of an input, which loses it; 0 where there is none.
inline unsigned int takeByte(std::string_view & input)
{
    unsigned int const byte = input.empty() ? 0U : static_cast<unsigned char>(input.front());
    input.remove_prefix(input.empty() ? 0 : 1);
    return byte;
}

/// Up to the next separator, which is dropped, or all that is left.
inline std::string takeText(std::string_view & input, char separator)
{
    std::string const text(input.substr(0, input.find(separator)));
    input.remove_prefix(std::min(text.size() + 1, input.size()));
    return text;
}

/// Ends the process where a promise is broken, so that the fuzzer keeps the input.
inline void expect(bool isKept, char const * promise, std::string const & detail = {})
{
    if (!isKept) {
        (void)std::fprintf(stderr, "broken: %s\n%s\n", promise, detail.c_str());
        std::abort();
    }
}

} // namespace common::log::fuzz
