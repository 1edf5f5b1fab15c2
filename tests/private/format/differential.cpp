// differential SEED COUNT: so many formats with arguments, made by a generator, through the library's formatter and
// through the C library. Status 1 with the first one for which they are not the same.

#include "format/format_case.h"

#include <cstdio>
#include <cstdlib>

int main(int argumentCount, char ** arguments)
{
    using namespace common::log::test;
    if (argumentCount != 3) {
        (void)std::fprintf(stderr, "usage: %s SEED COUNT\n", arguments[0]);
        return 2;
    }
    ChoicesOfSeed choices(std::strtoull(arguments[1], nullptr, 10));
    unsigned long long const count = std::strtoull(arguments[2], nullptr, 10);
    for (unsigned long long i = 0; i != count; ++i) {
        if (std::string const difference = differenceOf(FormatCase(choices)); !difference.empty()) {
            (void)std::printf("format %llu: %s\n", i, difference.c_str());
            return EXIT_FAILURE;
        }
    }
    (void)std::printf("seen: %llu formats, no difference\n", count);
    return EXIT_SUCCESS;
}
