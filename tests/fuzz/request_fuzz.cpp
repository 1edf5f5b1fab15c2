// A request to save or load, as any client of the node service may send it to the configuration node.

#include "fuzz_host.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    using namespace common::log;
    using namespace comm::nodebus;
    using fuzz::expect;
    static fuzz::FuzzHost host;
    static std::string const saved = host.persistence.saved;
    host.reset();
    std::string_view input(reinterpret_cast<char const *>(data), size);
    unsigned int const choice = fuzz::takeByte(input);
    bool const isSave = (choice & 1U) != 0;
    bool const exists = host.persistence.exists = (choice & 2U) != 0;
    host.persistence.result = (choice & 4U) != 0 ? -1 : 0;
    host.persistence.saved = saved;
    Variant request;
    (void)((choice & 8U) != 0 ? request.setRaw(input.data(), input.size())
                              : request.setFlatbuffersCopy(input.data(), input.size()));
    trace::PersistencePhase const phase = host.manager->getPersistencePhase(request);
    std::string const address = std::string(host.kConfig) + (isSave ? "/save" : "/load");
    NbResult const result = host.service.create(address, &request).result;

    bool const isRun = phase == (isSave ? trace::PersistencePhase::save : trace::PersistencePhase::load);
    bool const hasFailed = isRun && host.persistence.result < 0 && (isSave || exists);
    bool const isNone = phase == trace::PersistencePhase::none;
    expect((result == NB_TYPE_MISMATCH) == isNone, "what is no request is refused", result.toString());
    expect(isFailure(result) == (isNone || hasFailed), "a failure of the store is answered", result.toString());
    expect(host.persistence.calls.empty() != isRun, "only its own phase makes a leaf work", host.persistence.calls);
    bool const isLoaded = isRun && !isSave && !hasFailed;
    expect(host.states() == (!isLoaded ? "e e e "
                             : exists  ? "mw mw mw "
                                       : "we we we "),
           "a load alone changes states", host.states());
    return 0;
}
