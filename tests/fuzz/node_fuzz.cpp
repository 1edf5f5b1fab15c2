// Any request for any address with any value.

#include "fuzz_host.h"

#include <metadata_generated.h>

namespace {

using namespace common::log;
using namespace comm::nodebus;
using fuzz::expect;

/// A value of one of all types, and of some that there are not.
Variant valueOf(unsigned int type, std::string const & bytes)
{
    Variant value;
    auto const tag = static_cast<VariantType>(type);
    if (tag == VariantType::arrayOfString) {
        (void)value.setValue(Address(bytes).parts);
    } else if (isBuffer(tag)) {
        (void)value.setRaw(bytes.data(), bytes.size());
    } else {
        (void)bytes.copy(reinterpret_cast<char *>(&value.data), sizeof value.data);
    }
    value.type = tag;
    return value;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size)
{
    static fuzz::FuzzHost host;
    static trace::ConfigProviderNode node(host.manager);
    host.reset();
    std::string_view input(reinterpret_cast<char const *>(data), size);
    unsigned int const operation = fuzz::takeByte(input) % 32;
    unsigned int const type = fuzz::takeByte(input);
    constexpr char const * kRoots[] = {"", host.kUnits, "trace/machine/units/", "trace/machine/admin/cfg/"};
    std::string const address = kRoots[operation / 8] + fuzz::takeText(input, '\n');
    Variant const value = valueOf(type, std::string(input));
    Variant const * const given = type == 0xFF ? nullptr : &value;
    expect(Address(Address(address).normalized).parts == Address(address).parts, "a path stays the same", address);

    std::string const before = host.states();
    host::NodeService & service = host.service;
    host::NodeAnswer const answer = operation % 8 == 0   ? service.create(address, given)
                                    : operation % 8 == 1 ? service.remove(address)
                                    : operation % 8 == 2 ? service.browse(address)
                                    : operation % 8 == 3 ? service.read(address, given)
                                    : operation % 8 == 4 ? service.metadata(address)
                                                         : service.write(address, given);
    for (std::string const & child :
         operation % 8 == 2 && answer.value ? answer.value->getStrings() : std::vector<std::string>()) {
        std::string const below = address.empty() ? child : address + "/" + child;
        expect(!isFailure(service.browse(below).result) || !isFailure(service.metadata(below).result),
               "what is shown is there", below);
    }
    if (operation % 8 == 4 && answer.value) {
        flatbuffers::Verifier verifier(static_cast<std::uint8_t const *>(answer.value->dataPointer()),
                                       answer.value->getSize());
        expect(VerifyMetadataBuffer(verifier), "metadata can be read");
    }
    if (operation % 8 <= 4 || isFailure(answer.result)) {
        expect(host.states() == before, "only a write that is taken changes states", host.states());
    } else {
        host::NodeAnswer const read = service.read(address);
        std::vector<bool> const flags =
            type == 1 ? std::vector<bool>(3, value.getValue<bool>()) : value.getArray<bool>();
        expect(read.value && read.value->getArray<bool>() == flags, "what was written is in force", host.states());
    }

    std::unique_ptr<IProvider> const other = service.makeProvider();
    bool const isAdded = !isFailure(other->registerNode(address, &node));
    expect(isFailure(other->registerNode(address, &node)), "an address has one node", address);
    expect(isFailure(other->unregisterNode(address)) != isAdded, "what was added can be taken back", address);
    return 0;
}
