// A buffer of saved states. What the library takes from it stays the same on the way through the text of the store, which
// lets nothing pass that could not be read.

#include "fuzz_host.h"
#include "saved_type.h"
#include "store_failure.h"

#include <enablingstates_generated.h>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    using namespace common::log;
    using fuzz::expect;
    static fuzz::FuzzHost host;
    static host::SavedType type(host.persistence.typeData.data(), host.persistence.typeData.size());
    host.persistence.exists = true;
    // What all units have after a load, with its result.
    auto const loaded = [](void const * bytes, std::size_t length) {
        host.reset();
        host.persistence.saved.assign(static_cast<char const *>(bytes), length);
        trace::TraceResult const result = host.manager->loadEnablingStatesAllTraceUnits({});
        return std::to_string(result) + " " + host.states();
    };
    flatbuffers::Verifier verifier(data, size);
    bool const isSound = size >= 8 && verifier.VerifyBuffer<trace::fbs::EnablingStates>(nullptr);
    std::string const whole = isSound ? loaded(data, size) : "";
    try {
        std::string const text = type.textOf(data, size);
        std::vector<std::uint8_t> const again = type.bufferOf(text);
        std::string const wholeAgain = loaded(again.data(), again.size());
        expect(!isSound || wholeAgain == whole, "the text tells the same as the buffer", text);
    } catch (host::StoreFailure const & failure) {
        expect(failure.fault() == host::StoreFault::data, "the buffer is to blame", failure.what());
    }
    return 0;
}
