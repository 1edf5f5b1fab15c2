#include "persistence_request.h"

#include <persistenceparam_generated.h>

#include <utility>

namespace common::log::trace {

using namespace comm::nodebus;

namespace {

constexpr flatbuffers::uoffset_t kMostNestedTables = 64;
constexpr flatbuffers::uoffset_t kMostTables = 1'000'000;

constexpr std::pair<std::string_view, PersistencePhase> kPhases[] = {
    {"save", PersistencePhase::save},         {"query", PersistencePhase::query},
    {"prepare", PersistencePhase::prepare},   {"load", PersistencePhase::load},
    {"validate", PersistencePhase::validate}, {"activate", PersistencePhase::activate},
    {"abort", PersistencePhase::abort},
};

PersistenceParam const & requestIn(Variant const & data) { return *GetPersistenceParam(data.dataPointer()); }

} // namespace

PersistenceParam const * verifiedRequest(Variant const & data)
{
    // What is larger is no flatbuffer, and the verifier asserts that it is not asked.
    if (data.size >= FLATBUFFERS_MAX_BUFFER_SIZE) {
        return nullptr;
    }
    flatbuffers::Verifier verifier(static_cast<std::uint8_t const *>(data.dataPointer()),
                                   static_cast<std::size_t>(data.size), kMostNestedTables, kMostTables, true);
    return VerifyPersistenceParamBuffer(verifier) ? &requestIn(data) : nullptr;
}

PersistencePhase phaseOf(std::string_view text) noexcept
{
    for (auto const & [known, phase] : kPhases) {
        if (text == known) {
            return phase;
        }
    }
    return PersistencePhase::unknown;
}

char const * phaseText(Variant const & data) { return flatbuffers::GetCstring(requestIn(data).phase()); }

std::string detailTextOf(Variant const & data, PersistencePhase phase)
{
    if (phase == PersistencePhase::none) {
        return {};
    }
    flatbuffers::String const * const id = requestIn(data).id();
    if (id == nullptr || id->size() == 0) {
        return {};
    }
    return std::string(" [") + id->c_str() + "]"; // an id ends at its first zero, as it does in every record
}

} // namespace common::log::trace
