// The formatter beside that of the C library, for formats and arguments that a fuzzer chooses.

#include "format/format_case.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    std::string const input(reinterpret_cast<char const *>(data), size);
    std::string const difference = common::log::test::differenceOfInput(input);
    if (!difference.empty()) {
        (void)std::fprintf(stderr, "%s\n", difference.c_str());
        std::abort();
    }
    return 0;
}
