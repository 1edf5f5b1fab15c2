// FUZZ_TARGET FOLDER: runs each input that lies in the folder through a target, without a fuzzer.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size);

int main(int argumentCount, char ** arguments)
{
    int count = 0;
    for (auto const & entry : std::filesystem::directory_iterator(arguments[argumentCount - 1])) {
        std::ifstream stream(entry.path(), std::ios::binary);
        std::vector<std::uint8_t> const bytes((std::istreambuf_iterator<char>(stream)), {});
        std::vector<std::uint8_t> const input(
            bytes); // without room behind it, so that a sanitizer sees who reads there
        (void)std::printf("%d: %s\n", ++count, entry.path().c_str());
        (void)std::fflush(stdout);
        (void)LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    return count != 0 ? 0 : 1;
}
