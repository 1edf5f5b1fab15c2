// What lies in the file of saved states passes the gate of the store as a buffer that can be read and saved, or is
// refused for a reason.

#include "fuzz_input.h"
#include "hosts/lib/store_support.h"
#include "saved_type.h"
#include "store_failure.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    using namespace common::log::host;
    using common::log::fuzz::expect;
    static test::Variant const typeFile = test::typeData();
    static SavedType type(typeFile.dataPointer(), typeFile.getSize());
    auto const unitsIn = [](std::vector<std::uint8_t> const & buffer) {
        test::Variant copy;
        (void)copy.setFlatbuffersCopy(buffer.data(), buffer.size());
        return test::unitsOf(copy);
    };
    try {
        std::vector<std::uint8_t> const loaded = type.bufferOf({reinterpret_cast<char const *>(data), size});
        std::vector<std::string> const units = unitsIn(loaded);
        expect(units != std::vector<std::string>{"unsound"}, "what is loaded can be read");
        std::string const saved = type.textOf(loaded.data(), loaded.size());
        expect(unitsIn(type.bufferOf(saved)) == units, "what is saved again is the same", saved);
    } catch (StoreFailure const & failure) {
        expect(failure.isOfContent() && *failure.what() != '\0', "the file is to blame, and told why", failure.what());
    }
    return 0;
}
