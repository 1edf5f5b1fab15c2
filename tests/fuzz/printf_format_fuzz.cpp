// The formatter beside that of the C library, for formats and arguments that a fuzzer chooses.

#include "format/format_case.h"
#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    std::string const input(reinterpret_cast<char const *>(data), size);
    std::string const difference = common::log::test::differenceOfInput(input);
    common::log::fuzz::expect(difference.empty(), "both give the same", difference);
    return 0;
}
